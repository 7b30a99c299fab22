#!/bin/bash
# Who builds tables or converts knows neither OpenMP nor standard output.
# usage: check_symbols.sh NM READELF PROGRAM UNITS_ARCHIVE ARCHIVE...
# The program is made of the archives. In that of units, only the table classes open parallel
# regions and only the run state reports.
set -euo pipefail
nm="$1" readelf="$2" program="$3" units="$4"
shift 4

failed=0
complain() {
  echo "$*"
  failed=1
}

parallel='GOMP_\w+|omp_\w+|__kmpc_\w+'
printing='_ZSt4cout|_ZSt4cerr|_ZSt4clog|stdout|stderr|printf|puts|putchar'
# Members of an archive that need one of the symbols.
needing() {
  "$nm" --undefined-only --print-file-name "$2" |
    sed -nE "s/^.*[:/]([A-Za-z0-9_]+)\.cpp\.o: +U +($1)(@.*)?$/\1/p" | sort -u | tr '\n' ' '
}

for archive in "$@"; do
  found="$(needing "$parallel|$printing" "$archive")"
  [[ -z "$found" ]] || complain "${archive##*/}: $found"
done
found="$(needing "$parallel" "$units")"
[[ "$found" == "ColorTable33 ColorTable34 ColorTable36 ColorTable37 OutputTable33 " ]] ||
  complain "parallel regions in units: $found"
found="$(needing "$printing" "$units")"
[[ "$found" == "Info " ]] || complain "printing in units: $found"

needed="$("$readelf" --dynamic --wide "$program" | grep NEEDED)"
grep -q 'libstdc++' <<<"$needed" || complain "no list of what the program needs: $needed"
grep -qE 'libg?omp' <<<"$needed" && complain "the program needs OpenMP: $needed"
"$nm" --dynamic "$program" | grep -E " U ($parallel)(@.*)?$" && complain "in the program"
exit "$failed"
