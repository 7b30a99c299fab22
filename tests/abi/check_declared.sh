#!/bin/bash
# Compares the functions that a header declares with the list of those that its library exports.
# usage: check_declared.sh HEADER SYMBOLS   (SYMBOLS as check_symbols.sh takes it)
set -euo pipefail
export LC_ALL=C
declared="$(sed -n 's/^KXP_API [^(]*\(kxp_[a-z0-9_]*\)(.*/\1/p' "$1" | sort)"
exported="$(sed -n 's/@@.*//p' "$2" | sort)"
[[ -n "$declared" ]] || { echo "$1 declares nothing"; exit 1; }
diff <(echo "$declared") <(echo "$exported") || { echo "^ declared (<) and exported (>)"; exit 1; }
echo "$(wc -l <<<"$declared") functions, declared and exported"
