#!/bin/sh
# Checks the library's SONAME and that it depends on the five system libraries and nothing else.
# usage: check_needed.sh LIBRARY [READELF]
set -eu
export LC_ALL=C

library=$1
readelf=${2:-readelf}

dynamic=$("$readelf" -dW "$library")
needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
soname=$(echo "$dynamic" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')

failed=0
expected='libc.so.6 libgcc_s.so.1 libgomp.so.1 libm.so.6 libstdc++.so.6 '
if [ "$needed" != "$expected" ]; then
  printf 'NEEDED:   %s\nexpected: %s\n' "$needed" "$expected"
  failed=1
fi
if [ "$soname" != libKXCMS.so.1 ]; then
  echo "SONAME: $soname, expected libKXCMS.so.1"
  failed=1
fi
# Search paths, text relocations and early symbol binding within the library would break programs
# that replace a hook or hold copies of exported data.
for flag in RPATH RUNPATH TEXTREL SYMBOLIC; do
  if echo "$dynamic" | grep -q "[( ]$flag\\b"; then
    echo "$flag is set"
    failed=1
  fi
done
[ "$failed" -eq 0 ] && echo "SONAME and dependencies as expected"
exit "$failed"
