#!/bin/bash
# Programs that know of the libraries only what pkg-config says.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/check_examples.sh"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

export PKG_CONFIG_PATH="$KXCMS_STAGE/usr/$KXCMS_LIBDIR/pkgconfig"
export LD_LIBRARY_PATH="$KXCMS_STAGE/usr/$KXCMS_LIBDIR"
# build PACKAGE LIBRARY SOURCE PROGRAM: an example with what pkg-config says of the package.
build() {
  local flags
  [[ "$(pkg-config --modversion "$1")" == "$KXCMS_VERSION" ]]
  # The library's own needs are not its users'.
  [[ "$(pkg-config --libs "$1")" =~ ^-L[^\ ]+\ -l$2\ ?$ ]]
  read -ra flags <<<"$(pkg-config --cflags --libs "$1")"
  local compile=("$CC" -std=c99)
  [[ "$3" != *.cpp ]] || compile=("$CXX" -std=c++17 -Wconversion)
  "${compile[@]}" -Wall -Wextra -Wpedantic -Wshadow -Werror -o "$work/$4" \
    "$KXCMS_SOURCE/examples/$3" "${flags[@]}"
  ldd "$work/$4" | grep -F "=> $LD_LIBRARY_PATH/lib$2.so.1 "
}
build kxcms KXCMS convert_buffer.c convert_buffer
check_convert_buffer "$work/convert_buffer"
build kxcms-pipeline KXPipeline convert_image.c convert_image
check_convert_image "$work/convert_image"
build kxcms-pipeline KXPipeline convert_image.cpp convert_image_cpp
check_convert_image "$work/convert_image_cpp"
# Neither library brings the other along.
if ldd "$work/convert_image" | grep libKXCMS; then exit 1; fi
