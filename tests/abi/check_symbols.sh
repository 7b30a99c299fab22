#!/bin/sh
# Compares the symbols that a library exports with a checked-in list, and the sizes of exported
# objects with theirs (programs that are not position-independent hold copies of exported data, so
# that a size is interface too).
# usage: check_symbols.sh LIBRARY NM SYMBOLS [SIZES]
set -eu
export LC_ALL=C

library=$1
nm=$2
symbols=$3
sizes=${4:-/dev/null}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Absolute symbols are kept: a named version node shows up as one, and as @VERSION at every name.
"$nm" -D --defined-only "$library" | awk '{print $NF}' | sort -u > "$work/exported"
sort -u "$symbols" > "$work/expected"
test -s "$work/exported" || { echo "$library exports nothing"; exit 1; }

failed=0
comm -13 "$work/expected" "$work/exported" > "$work/extra"
comm -23 "$work/expected" "$work/exported" > "$work/missing"
for kind in extra missing; do
  if [ -s "$work/$kind" ]; then
    echo "$kind symbols ($(wc -l < "$work/$kind")):"
    while read -r symbol; do
      printf '  %s   %s\n' "$symbol" "$(c++filt "$symbol" 2>/dev/null || true)"
    done < "$work/$kind"
    failed=1
  fi
done

# The second column of nm -S is the size in hexadecimal.
"$nm" -D -S --defined-only "$library" | awk 'NF >= 4 {print $NF, $2}' > "$work/sizes"
while read -r bytes symbol; do
  case $bytes in '' | '#'*) continue ;; esac
  hex=$(awk -v name="$symbol" '$1 == name {print $2}' "$work/sizes")
  actual=$((0x${hex:-0}))
  if [ "$actual" -ne "$bytes" ]; then
    echo "size of $symbol: $actual bytes, expected $bytes"
    failed=1
  fi
done < "$sizes"

[ "$failed" -eq 0 ] && echo "$(wc -l < "$work/expected") symbols as expected"
exit "$failed"
