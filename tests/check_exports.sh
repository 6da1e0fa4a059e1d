#!/bin/sh
# Compares the names the library exports (a shared object's dynamic symbols, or with an objdump as
# third argument a DLL's export table) with those the public headers under $2 declare QUELT_API.
lib=$1 dir=$2 objdump=${3:-}
have=$(mktemp) want=$(mktemp)
trap 'rm -f "$have" "$want"' EXIT
if [ -n "$objdump" ]; then
  "$objdump" -p "$lib" | awk '
    /^\[Ordinal\/Name Pointer\] Table/ { table = 1; next }
    table && /^[ \t]*\[ *[0-9]+\] / { print $NF; next }
    table { table = 0 }' | sort -u > "$have"
  [ -s "$have" ] || { echo "no export table in $lib"; exit 1; }
else  # AddressSanitizer's __odr_asan.* beside exported data are not interface
  nm -D --defined-only "$lib" | awk '$2 ~ /^[TDBRVW]$/ {print $3}' |
    grep -v -x -E '__bss_start|_edata|_end|_init|_fini|__odr_asan\..*' | sort -u > "$have"
fi
# A declaration's name is the last word before its "(", "[" or ";" on the line of QUELT_API.
find "$dir" -name '*.h' ! -name '*_p.h' -exec grep -h 'QUELT_API' {} + | grep -v '^[[:space:]]*#' |
  sed -E 's/[(;[].*//' | awk '{print $NF}' | tr -d '*' | grep -x -E '[a-z][a-z0-9_]*' | sort -u > "$want"
[ -s "$want" ] || { echo "no QUELT_API declarations under $dir"; exit 1; }
diff -u "$want" "$have" || { echo "exported symbols differ from the headers' declarations (- declared, + exported)"; exit 1; }
echo "$(wc -l < "$have") symbols, as listed"
