#!/bin/bash
# Compares the exported interface (layouts, signatures, virtual slots, enumerators), as a library's
# debug information tells it, with the checked-in baseline of its name. --regen writes a new baseline:
# its difference is a change that breaks programs, and to be reviewed as one.
# usage: check_interface.sh [--regen] LIBRARY
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"

regen=false
if [[ "${1:-}" == --regen ]]; then
  regen=true
  shift
fi
library="$1"
name="$(basename "$library")"
baseline="$here/${name%%.*}.abi"
opaque=(--suppressions "$here/opaque_types.abignore")
for tool in abidw abidiff readelf; do
  [[ -n "$(type -P "$tool")" ]] || { echo "$tool (abigail-tools) is missing" >&2; exit 1; }
done

# Without debug information only names would be compared.
if ! readelf -SW "$library" | grep ' \.debug_info ' >/dev/null; then
  echo "$library has no debug information" >&2
  exit 1
fi

if $regen; then
  # Neither paths nor places in sources, nor the names of parameters, are interface. What the library
  # depends on has a check of its own.
  abidw --exported-interfaces-only --no-comp-dir-path --no-corpus-path --no-show-locs \
    --no-parameter-names --no-elf-needed "${opaque[@]}" --out-file "$baseline" "$library"
  exit
fi
# Any difference counts, those that abidiff calls harmless too.
status=0
abidiff --exported-interfaces-only --leaf-changes-only --harmless --no-show-locs "${opaque[@]}" \
  "$baseline" "$library" || status=$?
if ((status != 0)); then
  echo "The exported interface differs from $(basename "$baseline") (abidiff: status $status)."
  exit 1
fi
echo "The exported interface is that of $(basename "$baseline")."
