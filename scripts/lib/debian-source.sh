# Debian's source packages for the dependencies that scripts build themselves. Sourced by a
# script that sets $prefix (sources go to $prefix/src) and $sudo.

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
      echo "debian-source: no Debian apt source to copy for deb-src" >&2
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
        echo "debian-source: $package $version" >&2
        break
      fi
    done
    dir=$(find "$prefix/src" -maxdepth 1 -type d -name "$2-*" | sort | tail -n 1)
  fi
  [ -n "$dir" ] || { echo "debian-source: no source for $package" >&2; return 1; }
  echo "$dir"
}
