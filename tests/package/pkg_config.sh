#!/bin/bash
# A C program that knows of the library only what pkg-config says.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/check_examples.sh"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

export PKG_CONFIG_PATH="$KXCMS_STAGE/usr/$KXCMS_LIBDIR/pkgconfig"
export LD_LIBRARY_PATH="$KXCMS_STAGE/usr/$KXCMS_LIBDIR"
[[ "$(pkg-config --modversion kxcms)" == "$KXCMS_VERSION" ]]
# The library's own needs are not its users'.
[[ "$(pkg-config --libs kxcms)" == "-L"*" -lKXCMS"* ]]

read -ra flags <<<"$(pkg-config --cflags --libs kxcms)"
"$CC" -std=c99 -Wall -Wextra -Wpedantic -Wshadow -Werror -o "$work/convert_buffer" \
  "$KXCMS_SOURCE/examples/convert_buffer.c" "${flags[@]}"
ldd "$work/convert_buffer" | grep -F "=> $LD_LIBRARY_PATH/libKXCMS.so.1 "
check_convert_buffer "$work/convert_buffer"
