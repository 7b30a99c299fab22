#!/bin/bash
# Who builds tables or converts knows neither OpenMP nor standard output: these are brought by the
# table classes, the engine and the fixed interface. Looks at what the members of the rooms' archives
# need.
# usage: check_archives.sh NM UNITS_ARCHIVE ARCHIVE...
set -euo pipefail
nm="$1" units="$2"
shift 2

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
exit "$failed"
