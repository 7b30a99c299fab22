#!/bin/bash
# The self-test on a processor of another age: old_processor.sh QEMU CPU LEVEL KXCMS
set -euo pipefail
qemu="$1" cpu="$2" level="$3" kxcms="$4"

unset KXCMS_LEVEL
if ! refusal="$("$qemu" -cpu "$cpu" "$(type -P true)" 2>&1)"; then
  echo "SKIP: $qemu runs no program here: $(tail -n 1 <<<"$refusal")"
  exit 77
fi
# qemu itself tells on standard error what it leaves out of a processor.
shown="$("$qemu" -cpu "$cpu" "$kxcms" selftest --threads 2)"
echo "$shown"
grep -qx "level: $level" <<<"$shown"
grep -qE '^ok: [0-9]+ digests$' <<<"$shown"
