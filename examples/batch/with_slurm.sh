#!/bin/bash
#SBATCH --job-name=kxcms
#SBATCH --requeue
# Converts the images of a folder by a Slurm array, each task a part of them with a journal of its own.
#
#   sbatch --array=0-15 with_slurm.sh IN OUT [OPTION OF kxcms batch]...
#
# Indices begin at 0 and leave none out. The same command again does what is left. Afterwards:
#
#   kxcms verify OUT/kxcms-journal-*-of-16.jsonl
set -euo pipefail
exec kxcms batch --from "$1" --to-dir "$2" --shard "$SLURM_ARRAY_TASK_ID/$SLURM_ARRAY_TASK_COUNT" \
  --jobs "${SLURM_CPUS_PER_TASK:-1}" --progress plain "${@:3}"
