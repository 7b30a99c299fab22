#!/bin/sh
# Checks a library's SONAME and that it depends on the named libraries and nothing else.
# usage: check_needed.sh LIBRARY READELF SONAME NEEDED...   (NEEDED in alphabetical order)
set -eu
export LC_ALL=C

library=$1
readelf=$2
expected_soname=$3
shift 3
expected="$* "

dynamic=$("$readelf" -dW "$library")
needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
soname=$(echo "$dynamic" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')

failed=0
if [ "$needed" != "$expected" ]; then
  printf 'NEEDED:   %s\nexpected: %s\n' "$needed" "$expected"
  failed=1
fi
if [ "$soname" != "$expected_soname" ]; then
  echo "SONAME: $soname, expected $expected_soname"
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
