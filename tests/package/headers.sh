#!/bin/bash
# The installed headers are those that declare the exported interface, the lists of codes that two of
# them are made from, and those that forward to one of them; each compiles alone, as C++17, and
# kxcms.h as C99 too.
set -euo pipefail

failed=0
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$KXCMS_SOURCE"
expected="$( (
  grep -lwE 'KX_API|Forwards to' -- {base,codes,colormath,engine,iccfile,interface,tiff,units}/*.h
  echo kxcms.h
  echo pipeline.h
  echo pipeline.hpp
  echo codes/CodeLists.h
) | sort)"
installed="$(cd "$KXCMS_STAGE/usr/include/kxcms" && find . -type f -printf '%P\n' | sort)"
echo "$expected" >"$work/expected"
if ! echo "$installed" | diff "$work/expected" -; then
  echo "^ headers: expected and installed differ"
  failed=1
fi

warnings=(-Wall -Wextra -Wpedantic -Wshadow -Werror)
while read -r header; do
  echo "#include <kxcms/$header>" |
    "$CXX" -std=c++17 "${warnings[@]}" "-I$KXCMS_STAGE/usr/include" -fsyntax-only -x c++ - || {
    echo "$header does not compile alone"
    failed=1
  }
done <<<"$installed"
for header in kxcms.h pipeline.h; do
  echo "#include <kxcms/$header>" |
    "$CC" -std=c99 "${warnings[@]}" "-I$KXCMS_STAGE/usr/include" -fsyntax-only -x c - || {
    echo "$header does not compile as C99"
    failed=1
  }
done
echo "$(wc -l <<<"$installed") headers"
exit "$failed"
