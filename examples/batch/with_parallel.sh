#!/bin/bash
# Converts the images of a folder by GNU parallel, one process a file, here or on other computers.
#
#   with_parallel.sh IN OUT [OPTION OF kxcms convert]...
#
# A result appears under its name only when it is complete, so the same command again does what is left.
# PARALLEL_OPTIONS goes to parallel: "--sshloginfile hosts", say, on computers that share the folders.
set -euo pipefail
out="$(realpath -m "$2")"
cd "$1"
convert="kxcms convert --quiet --threads 1 --exists skip"
for option in "${@:3}"; do convert+=" $(printf %q "$option")"; done

# A process that is killed is tried again; a file that is refused, too, which costs little.
find . -type f \( -iname '*.tif' -o -iname '*.tiff' -o -iname '*.jpg' -o -iname '*.jpeg' \
  -o -iname '*.png' \) -printf '%P\0' |
  parallel -0 --retries 3 ${PARALLEL_OPTIONS:-} \
    "mkdir -p $(printf %q "$out")/{//} && $convert ./{} $(printf %q "$out")/{}"
