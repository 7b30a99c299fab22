#!/bin/bash
# The Debian packages in a root of their own, where dpkg knows of nothing but what they depend on:
# lintian, contents, installation, all that the staged tree is asked, removal. Nothing of the system
# changes, and it may be anybody's work.
# usage: debian.sh FOLDER
set -euo pipefail
here="$(dirname "${BASH_SOURCE[0]}")"
source "$here/debian_packages.sh"
[[ -e /proc/self/fd ]] || {
  echo "SKIP: there is no /proc, by which the command hands profiles to the library"
  exit 77
}
need lintian dpkg-deb dpkg-architecture
find_packages "$1"
root="$(mktemp -d)"
log="$root.removal"
trap 'rm -rf "$root" "$log"' EXIT

echo "== lintian"
check_lint
echo "== Contents"
check_contents

echo "== Installation"
mkdir -p "$root/var/lib/dpkg"/{info,updates,triggers}
touch "$root/var/lib/dpkg/available"
# What they depend on counts as installed as it is in this system, so that dpkg weighs the versions.
dependencies=(libc6 libgcc-s1 libgomp1 libjpeg62-turbo libpng16-16 libnettle8 libstdc++6 libtiff6
  libwebp7 python3 python3-numpy zlib1g)
dpkg-query -s "${dependencies[@]}" >"$root/var/lib/dpkg/status"
for name in "${dependencies[@]}"; do
  # Of packages that may be there for several machines, dpkg names the machine.
  machine=""
  [[ "$(dpkg-query -W -f '${Multi-Arch}' "$name")" != same ]] ||
    machine=":$(dpkg --print-architecture)"
  touch "$root/var/lib/dpkg/info/$name$machine.list"
done
# dpkg looks for programs that an ordinary user's path need not have. What this system keeps out of
# its own installations, manual pages perhaps, is not kept out here.
export PATH="$PATH:/usr/sbin:/sbin"
dpkg=(dpkg "--root=$root" --log=/dev/null --force-not-root --force-script-chrootless
  "--path-include=*")
"${dpkg[@]}" -i "${packages[@]}"
are_installed dpkg-query "--admindir=$root/var/lib/dpkg" || fail "not all of them are installed"
diff <(all_contents | sort) \
  <(cd "$root" && find . -not -type d -not -path './var/lib/dpkg/*' -printf '%P\n' | sort) ||
  fail "packages (<) and root (>) differ"

echo "== Use"
export KXCMS_STAGE="$root" KXCMS_LIBDIR="lib/$multiarch"
"$KXCMS_SAMPLE" make "$root"
(
  export LD_LIBRARY_PATH="$root/usr/$KXCMS_LIBDIR"
  ldd "$root/usr/bin/kxcms" | grep -F "=> $root/usr/$KXCMS_LIBDIR/libKXCMS.so.1 " ||
    fail "another library is used"
  check_command "$root/usr/bin/kxcms" "$KXCMS_SAMPLE" "$root"
)
# The Python package finds the library as the loader does.
(
  source "$here/check_examples.sh"
  work="$(mktemp -d)"
  trap 'rm -rf "$work"' EXIT
  unset KXCMS_LIBRARY
  export PYTHONPATH="$root/usr/lib/python3/dist-packages"
  export LD_LIBRARY_PATH="$root/usr/$KXCMS_LIBDIR"
  check_convert_image convert_array
)
for test in headers pkg_config find_package manual; do
  echo "-- $test"
  "$here/$test.sh"
done
find "$root" -maxdepth 1 -type f -delete  # the sample's files

echo "== Removal"
"${dpkg[@]}" -r "${names[@]}" >"$log" 2>&1 || { cat "$log" >&2; fail "removal failed"; }
check_removal "$log" "$root"
left="$(cd "$root" && find . -mindepth 1 -not -path './var' -not -path './var/*')"
[[ -z "$left" ]] || fail "these are left: $left"
# The packages that it never had are all that it still has.
[[ "$(dpkg-query "--admindir=$root/var/lib/dpkg" -W -f '${Package}\n' | sort)" == \
  "$(printf '%s\n' "${dependencies[@]}" | sort)" ]] || fail "they are still known"
echo "Packages are fine."
