#!/bin/sh
# Compares the dynamic symbols that the library defines with the list of its interface.
# AddressSanitizer adds an __odr_asan.<name> indicator beside each exported datum: not interface.
lib=$1
dir=$2
have=$(mktemp)
want=$(mktemp)
trap 'rm -f "$have" "$want"' EXIT
nm -D --defined-only "$lib" | awk '$2 ~ /^[TDBRVW]$/ {print $3}' |
  grep -v -x -E '__bss_start|_edata|_end|_init|_fini|__odr_asan\..*' | sort -u > "$have"
cat "$dir"/*.txt | grep -v '^#' | grep -v '^$' | sort -u > "$want"
if ! diff -u "$want" "$have"; then
  echo "exported symbols differ from the interface list (- listed, + exported)"
  exit 1
fi
echo "$(wc -l < "$have") symbols, as listed"
