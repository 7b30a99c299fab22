#!/bin/bash
# The wheel of the Python package: what is in it, and in an environment of its own, without anything
# that tells of the build, the package's tests and the example.
# usage: wheel.sh LIBRARY
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/check_examples.sh"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
unset PYTHONPATH KXCMS_LIBRARY LD_LIBRARY_PATH
export PYTHONDONTWRITEBYTECODE=1
fail() {
  echo "$*" >&2
  exit 1
}

KXCMS_INSTALL=no "$KXCMS_SOURCE/scripts/wheel" "$work/wheel" "$1"
platform="$(/usr/bin/python3 -c \
  'import sysconfig; print(sysconfig.get_platform().replace("-", "_").replace(".", "_"))')"
wheel="$work/wheel/kxcms-$KXCMS_VERSION-py3-none-$platform.whl"
[[ -f "$wheel" ]] || fail "the wheel is called otherwise"
/usr/bin/python3 -m zipfile -l "$wheel" >"$work/contents"
cat "$work/contents"
for name in __init__.py py.typed libKXPipeline.so.1; do
  grep -q "^kxcms/$name " "$work/contents" || fail "it has no $name"
done
if grep -E 'pycache|data/purelib' "$work/contents"; then fail "it has these"; fi
left="$(find "$KXCMS_SOURCE/bindings" -name '*.egg-info' -o -name build -o -name '*.so*')"
[[ -z "$left" ]] || fail "the build left in the tree: $left"

# Debian's pip is seen from there.
/usr/bin/python3 -m venv --system-site-packages --without-pip "$work/environment"
python="$work/environment/bin/python3"
"$python" -m pip install --quiet --disable-pip-version-check --no-index --no-deps "$wheel"
export KXCMS_STAGE="$work/stage"
mkdir "$KXCMS_STAGE"
"$KXCMS_SAMPLE" make "$KXCMS_STAGE"
cd "$work"
"$python" - <<'END'
import pathlib
import sys
import kxcms
folder = pathlib.Path(kxcms.__file__).parent
assert folder.is_relative_to(sys.prefix), folder
maps = pathlib.Path("/proc/self/maps").read_text() if pathlib.Path("/proc/self/maps").exists() else ""
assert not maps or str(folder / "libKXPipeline.so.1") in maps, "another library is used"
END
run_example() { "$python" "$KXCMS_SOURCE/examples/convert_array.py" "$1"; }
check_convert_image run_example
"$python" -m pytest -q -p no:cacheprovider "$KXCMS_SOURCE"/tests/python/{arrays,profiles,threads}_test.py

# Without its library the package looks for the loader's, and says what it wants.
rm "$work"/environment/lib/python3*/site-packages/kxcms/libKXPipeline.so.1
if "$python" -c 'import kxcms' 2>"$work/why"; then
  echo "A library of the system serves."
else
  grep -q 'ImportError: kxcms cannot load its library, libKXPipeline.so.1: .*KXCMS_LIBRARY' \
    "$work/why" || { cat "$work/why"; exit 1; }
fi
KXCMS_LIBRARY="$1" "$python" -c 'import kxcms; print(kxcms.library_version())'
if KXCMS_LIBRARY="$work/absent.so" "$python" -c 'import kxcms' 2>"$work/why"; then
  fail "a library that is none passes"
fi
grep -q "ImportError: .*$work/absent.so" "$work/why" || { cat "$work/why"; exit 1; }
