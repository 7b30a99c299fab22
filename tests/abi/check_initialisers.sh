#!/bin/bash
# Checks that loading a library runs nothing of its own: every entry of its initialiser array is one
# that the compilers bring along.
# usage: check_initialisers.sh LIBRARY READELF NM
set -euo pipefail
export LC_ALL=C
library="$1" readelf="$2" nm="$3"
# frame_dummy: crtbegin. __cpu_indicator_init, init_cpu_features, init_have_lse_atomics: libgcc or
# compiler-rt, which ask the processor what it can do.
allowed=' frame_dummy __cpu_indicator_init init_cpu_features init_have_lse_atomics '

fail() {
  echo "$*"
  exit 1
}
section="$("$readelf" -SW "$library" | sed -n 's/.*] \.init_array *//p')"
[[ -n "$section" ]] || fail "no initialiser array, not even the compilers' own"
read -r _ address _ size _ <<<"$section"
first=$((16#$address))
last=$((first + 16#$size))

# Where the entries point to, from the relocations that fill them in.
targets=()
while read -r offset _ type target _; do
  [[ "$type" == R_*_RELATIVE ]] || continue
  at=$((16#$offset))
  ((at >= first && at < last)) && targets+=("$((16#$target))")
done < <("$readelf" -rW "$library" | grep _RELATIVE)
((${#targets[@]} * 8 == last - first)) || fail "entries that are not understood"

symbols="$("$nm" "$library")"
failed=0
for target in "${targets[@]}"; do
  name="$(awk -v at="$(printf '%016x' "$target")" '$1 == at && $2 ~ /[tT]/ {print $3; exit}' \
    <<<"$symbols")"
  if [[ "$allowed" != *" ${name:-?} "* ]]; then
    echo "initialiser ${name:-without a name}"
    failed=1
  fi
done
((failed == 0)) && echo "${#targets[@]} initialisers, all of them the compilers'"
exit "$failed"
