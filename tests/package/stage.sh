#!/bin/bash
# Installs the build into a staging folder, and moves it, so that no path within it can be meant to
# be absolute. Leaves the sample profile beside it for the programs of the other tests.
set -euo pipefail

rm -rf "$KXCMS_STAGE" "$KXCMS_STAGE.first"
mkdir -p "$KXCMS_STAGE"
"$CMAKE" --install "$KXCMS_BUILD" --prefix "$KXCMS_STAGE.first" >/dev/null
mv "$KXCMS_STAGE.first" "$KXCMS_STAGE/usr"
"$KXCMS_SAMPLE" make "$KXCMS_STAGE"

cd "$KXCMS_STAGE/usr"
fail() {
  echo "$*" >&2
  exit 1
}
major="${KXCMS_VERSION%%.*}"
for path in bin/kxcms include/kxcms/{kxcms,pipeline}.h share/man/man1/kxcms.1.gz \
  share/bash-completion/completions/kxcms \
  share/kxcms/journal.schema.json \
  share/man/man3/{kxcms,kxcms-pipeline}.3.gz \
  "$KXCMS_LIBDIR"/{libKXCMS.so,libKXPipeline.so,cmake/KXCMS/KXCMSConfig.cmake} \
  "$KXCMS_LIBDIR"/pkgconfig/{kxcms,kxcms-pipeline}.pc; do
  [[ -e "$path" ]] || fail "$path is not installed"
done
for page in "$KXCMS_SOURCE"/man/*.1.scd; do
  page="$(basename "$page" .scd)"
  [[ -e "share/man/man1/$page.gz" ]] || fail "$page is not installed"
done
# zsh looks elsewhere for what packages bring than for what people install.
[[ -e share/zsh/site-functions/_kxcms || -e share/zsh/vendor-completions/_kxcms ]] ||
  fail "no completion for zsh"
for library in libKXCMS libKXPipeline; do
  [[ "$(readlink "$KXCMS_LIBDIR/$library.so")" == "$library.so.$major" ]] ||
    fail "development link of $library"
  [[ "$(readlink "$KXCMS_LIBDIR/$library.so.$major")" == "$library.so.$KXCMS_VERSION" ]] ||
    fail "SONAME link of $library"
done
for folder in "$KXCMS_SOURCE" "$KXCMS_BUILD" "$KXCMS_STAGE"; do
  if grep -rlF "$folder" .; then fail "these name $folder"; fi
done
for binary in bin/kxcms "$KXCMS_LIBDIR"/{libKXCMS,libKXPipeline}.so; do
  if readelf -d "$binary" | grep -E 'RPATH|RUNPATH'; then fail "$binary has a search path"; fi
done
[[ "$(LD_LIBRARY_PATH="$KXCMS_LIBDIR" bin/kxcms --version)" == "kxcms $KXCMS_VERSION" ]] ||
  fail "kxcms --version"
