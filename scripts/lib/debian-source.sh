# Shared by the scripts that build libraries from Debian's source packages into a prefix of
# their own (scripts/windows-deps, scripts/fuzz-deps). Set `prefix` (the install prefix, with
# src/ and stamps/ below it) and `sudo` (empty when root) before sourcing; messages start with
# the script's name. build_cmake configures with the array `common` and builds with `jobs`.
deps_name=$(basename "$0")

# True when NAME was built with exactly this RECIPE (a string of versions and options).
built() { [ -f "$prefix/stamps/$1" ] && [ "$(cat "$prefix/stamps/$1")" = "$2" ]; }
done_with() { printf '%s' "$2" > "$prefix/stamps/$1"; }

# Debian's source packages need a deb-src entry: a copy of the machine's Debian source list
# with the source type, added once, then the package lists are refreshed.
ensure_deb_src() {
  if apt-cache showsrc "$1" 2> /dev/null | grep "^Package:" > /dev/null; then return 0; fi
  local list=/etc/apt/sources.list.d/quelt-deb-src.sources
  if [ ! -f "$list" ]; then
    if [ -f /etc/apt/sources.list.d/debian.sources ]; then
      sed 's/^Types:.*/Types: deb-src/' /etc/apt/sources.list.d/debian.sources | $sudo tee "$list" > /dev/null
    elif [ -f /etc/apt/sources.list ]; then
      grep -E '^deb ' /etc/apt/sources.list | sed 's/^deb /deb-src /' |
        $sudo tee "${list%.sources}.list" > /dev/null
    else
      echo "$deps_name: no Debian apt source to copy for deb-src" >&2
      return 1
    fi
  fi
  $sudo apt-get update -q
}

# Unpacks Debian's source package PACKAGE into $prefix/src and prints its directory. The newest
# version whose files the mirror serves wins: a security update may be listed before its files
# are reachable, so older versions of the list are tried in turn.
debian_source() {
  local package=$1 dir version
  dir=$(find "$prefix/src" -maxdepth 1 -type d -name "$2-*" | sort | tail -n 1)
  if [ -z "$dir" ]; then
    ensure_deb_src "$package" >&2
    for version in $(apt-cache showsrc "$package" | awk '/^Version:/ {print $2}' | sort -V -r -u); do
      if (cd "$prefix/src" && apt-get source -q "$package=$version" > "$prefix/src/$package.log" 2>&1); then
        echo "$deps_name: $package $version" >&2
        break
      fi
    done
    dir=$(find "$prefix/src" -maxdepth 1 -type d -name "$2-*" | sort | tail -n 1)
  fi
  [ -n "$dir" ] || { echo "$deps_name: no source for $package" >&2; return 1; }
  echo "$dir"
}

step() {  # name, recipe, function...
  local name=$1 recipe=$2; shift 2
  if built "$name" "$recipe"; then return 0; fi
  local start=$SECONDS
  echo "$deps_name: building $name"
  "$@"
  done_with "$name" "$recipe"
  echo "$deps_name: $name built in $((SECONDS - start)) s"
}

build_cmake() {  # name, source directory, extra cmake arguments...
  local name=$1 src=$2; shift 2
  local dir=$prefix/build/$name
  rm -rf "$dir"
  cmake -S "$src" -B "$dir" "${common[@]}" "$@" > "$dir.configure.log" 2>&1 ||
    { mkdir -p "$dir"; cat "$dir.configure.log" >&2; return 1; }
  cmake --build "$dir" -j "$jobs" > "$dir.build.log" 2>&1 || { cat "$dir.build.log" >&2; return 1; }
  cmake --install "$dir" > /dev/null
}
