#!/bin/bash
# The examples as a CMake project that finds the library as a package, and projects that must and
# must not find it.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/check_examples.sh"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

export CMAKE_PREFIX_PATH="$KXCMS_STAGE/usr"
cp -r "$KXCMS_SOURCE/examples" "$work/examples"
"$CMAKE" -S "$work/examples" -B "$work/build" \
  -DCMAKE_C_FLAGS="-Wall -Wextra -Wpedantic -Wshadow -Werror" \
  -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Wshadow -Werror"
"$CMAKE" --build "$work/build"
while read -r program library; do
  ldd "$work/build/$program" | grep -F "=> $KXCMS_STAGE/usr/$KXCMS_LIBDIR/lib$library.so.1 "
  # OpenMP is the library's own affair.
  if readelf -d "$work/build/$program" | grep NEEDED | grep omp; then exit 1; fi
done <<<"convert_buffer KXCMS
explore_profile KXCMS
convert_image KXPipeline
convert_image_cpp KXPipeline"
check_convert_buffer "$work/build/convert_buffer"
check_explore_profile "$work/build/explore_profile"
check_convert_image "$work/build/convert_image"
check_convert_image "$work/build/convert_image_cpp"

# configure LANGUAGES VERSION: whether a project in these languages finds this version.
configure() {
  mkdir "$work/$1-$2"
  cat >"$work/$1-$2/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.16)
project(Consumer LANGUAGES $1)
find_package(KXCMS $2 REQUIRED)
file(WRITE main.c "#include <kxcms/kxcms.h>\nint main(void) { return KX_Icc_Initial(0) != KX_RESULT_NOT_SET; }")
add_executable(consumer main.c)
target_link_libraries(consumer PRIVATE KXCMS::KXCMS)
END
  "$CMAKE" -S "$work/$1-$2" -B "$work/$1-$2/build" >"$work/log" 2>&1
}
configure C 1.0 || { cat "$work/log"; exit 1; }
"$CMAKE" --build "$work/C-1.0/build"
"$work/C-1.0/build/consumer"
for version in 0.9 2.0; do
  if configure C "$version"; then
    echo "version $version was found"
    exit 1
  fi
  grep -q 'KXCMSConfig.cmake, version: ' "$work/log" || { cat "$work/log"; exit 1; }
done
