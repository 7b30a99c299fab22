#!/bin/bash
# The C++ header compiled by another compiler, in both standards and with all its warnings, and its
# tests run as built by that one.
# usage: other_compiler.sh COMPILER SOURCE LIBRARY
set -euo pipefail
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
warnings=(-Wall -Wextra -Wpedantic -Wshadow -Werror)
for standard in 17 20; do
  "$1" -std=c++$standard "${warnings[@]}" -Wconversion -fsyntax-only -x c++ "$2/api/pipeline.hpp"
  "$1" -std=c++$standard "${warnings[@]}" "-I$2" -o "$work/test" "$2/tests/api/cpp/Header_test.cpp" \
    "$2/tests/api/main.cpp" "$3" "-Wl,-rpath,$(dirname "$3")" -lgtest -lpthread
  "$work/test" --gtest_brief=1
done
