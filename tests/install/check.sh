#!/bin/sh
# Installs the built library into a scratch prefix, then builds and runs a small application
# against it twice (the C interface test): through find_package(quelt) and through pkg-config.
set -eu
build=$1 src=$(cd "$(dirname "$0")" && pwd)
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" > /dev/null
libdir=$(dirname "$(find "$prefix" -name 'libquelt.so' | head -n 1)")
cmake -S "$src" -B "$prefix/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$prefix/consumer" > /dev/null
LD_LIBRARY_PATH="$libdir" "$prefix/consumer/consumer"
cc -std=c11 "$src/../c_api.c" $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs quelt) -o "$prefix/with-pkg-config"
LD_LIBRARY_PATH="$libdir" "$prefix/with-pkg-config"
