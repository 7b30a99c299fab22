#!/bin/bash
# Builds the libraries with another compiler, and compares what they give with the digests, at every
# level: the fixed conversions by the command's self-test, the precise ones by their test.
# other_compiler.sh SOURCE BUILD CMAKE CXX CC
set -euo pipefail
source_dir="$1" build="$2" cmake="$3" cxx="$4" cc="$5"

"$cmake" -G Ninja -S "$source_dir" -B "$build" -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_COMPILER="$cc" -DKXCMS_WERROR=ON >"$build.log"
"$cmake" --build "$build" --target kxcms pipeline_test >>"$build.log" || {
  tail -50 "$build.log"
  exit 1
}
for level in scalar portable avx2 avx512; do
  KXCMS_LEVEL="$level" "$build/tools/kxcms" selftest --threads 3
  KXCMS_LEVEL="$level" "$build/tests/pipeline_test" --gtest_brief=1 --gtest_filter='PreciseGolden.*'
done
