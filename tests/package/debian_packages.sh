# shellcheck shell=bash
# What the Debian packages of a folder have to be like before anybody installs them. Sourced, by the
# test that installs them into a root of their own and by scripts/package-check, which installs them
# into the system.

names=(libkxcms1 libkxpipeline1 libkxcms-dev kxcms-tools python3-kxcms)

fail() {
  echo "packages: $*" >&2
  exit 1
}

# need TOOL...: stops where one is missing.
need() {
  local tool
  for tool in "$@"; do
    [[ -n "$(type -P "$tool")" ]] || fail "$tool is missing; see scripts/packages.sh"
  done
}

# find_packages FOLDER: sets `packages`, the files, `multiarch`, the name of Debian's library folder,
# and `version`.
find_packages() {
  local name found
  package_folder="$1"
  packages=()
  for name in "${names[@]}"; do
    found=("$package_folder/${name}"_*.deb)
    [[ ${#found[@]} == 1 && -f "${found[0]}" ]] || fail "no single package $name in $package_folder"
    packages+=("${found[0]}")
  done
  multiarch="$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
  version="$(field libkxcms1 Version)"
}

field() { dpkg-deb -f "$package_folder/$1"_*.deb "$2"; }

# Paths of everything but folders, relative to the root.
contents() {
  dpkg-deb --fsys-tarfile "$package_folder/$1"_*.deb | tar t | grep -v '/$' | sed 's|^\./||'
}
all_contents() {
  local name
  for name in "${names[@]}"; do contents "$name"; done
}

has() { contents "$1" | grep -x "$2" >/dev/null || fail "$1 has no $2"; }

check_lint() {
  local options=(--fail-on "error,warning")
  (($(id -u) != 0)) || options+=(--allow-root)
  lintian "${options[@]}" "${packages[@]}"
}

check_contents() {
  local package dependency name library lib="usr/lib/$multiarch" control
  [[ "$(field libkxcms-dev Depends)" == "libkxcms1 (= $version), libkxpipeline1 (= $version)" ]] ||
    fail "libkxcms-dev depends on: $(field libkxcms-dev Depends)"
  for package in libkxcms1 kxcms-tools; do
    for dependency in libc6 libgomp1 libstdc++6; do
      [[ ", $(field "$package" Depends)" == *", $dependency (>= "* ]] ||
        fail "$package does not depend on $dependency"
    done
  done
  for dependency in libc6 libgcc-s1 libstdc++6; do
    [[ ", $(field libkxpipeline1 Depends)" == *", $dependency (>= "* ]] ||
      fail "libkxpipeline1 does not depend on $dependency"
  done
  [[ "$(field libkxpipeline1 Depends)" != *@(libgomp|libkxcms)* ]] ||
    fail "libkxpipeline1 depends on: $(field libkxpipeline1 Depends)"
  for library in libkxcms1 libkxpipeline1; do
    [[ "$(field kxcms-tools Depends)" == *"$library (>= "* ]] || fail "kxcms-tools without $library"
  done
  [[ "$(field kxcms-tools Depends)" == *"libnettle8"* ]] || fail "kxcms-tools without libnettle8"
  [[ "$(field python3-kxcms Depends)" == \
    "libkxpipeline1 (= $version), python3 (>= 3.8), python3-numpy" ]] ||
    fail "python3-kxcms depends on: $(field python3-kxcms Depends)"
  [[ "$(field python3-kxcms Architecture)" == all ]] || fail "python3-kxcms is of one machine only"
  for name in __init__.py py.typed; do has python3-kxcms "usr/lib/python3/dist-packages/kxcms/$name"; done
  if contents python3-kxcms | grep -E 'pycache|\.so'; then fail "python3-kxcms has these"; fi
  has libkxcms1 "$lib/libKXCMS.so.1"
  has libkxpipeline1 "$lib/libKXPipeline.so.1"
  for library in KXCMS KXPipeline; do has libkxcms-dev "$lib/lib$library.so"; done
  for name in kxcms kxcms-pipeline; do has libkxcms-dev "$lib/pkgconfig/$name.pc"; done
  has libkxcms-dev "$lib/cmake/KXCMS/KXCMSConfig.cmake"
  has libkxcms-dev usr/include/kxcms/kxcms.h
  has libkxcms-dev usr/include/kxcms/pipeline.h
  has libkxcms-dev usr/include/kxcms/pipeline.hpp
  for name in convert_image.c convert_image.cpp; do
    has libkxcms-dev "usr/share/doc/libkxcms-dev/examples/$name"
  done
  has python3-kxcms usr/share/doc/python3-kxcms/examples/convert_array.py
  has libkxcms-dev usr/share/man/man3/kxp_convert.3.gz
  has libkxcms-dev usr/share/man/man3/KX_Icc_SetProfile.3.gz
  has kxcms-tools usr/bin/kxcms
  for name in "$(dirname "${BASH_SOURCE[0]}")"/../../man/*.1.scd; do
    has kxcms-tools "usr/share/man/man1/$(basename "$name" .scd).gz"
  done
  has kxcms-tools usr/share/bash-completion/completions/kxcms
  has kxcms-tools usr/share/zsh/vendor-completions/_kxcms
  has kxcms-tools usr/share/kxcms/journal.schema.json
  for name in "${names[@]}"; do
    has "$name" "usr/share/doc/$name/copyright"
    has "$name" "usr/share/doc/$name/changelog.Debian.gz"
    dpkg-deb --fsys-tarfile "$package_folder/$name"_*.deb | tar tv |
      awk '$2 != "root/root" || ($1 !~ /^l/ && $1 !~ /^(drwxr-xr-x|-rwxr-xr-x|-rw-r--r--)/) {
             print "owner or permissions: " $0; failed = 1 } END { exit failed }'
  done
  while read -r package library; do
    control="$(mktemp -d)"
    dpkg-deb -e "$package_folder/${package}"_*.deb "$control"
    [[ "$(cat "$control/shlibs")" == "$library 1 $package (>= $version)" ]] ||
      fail "shlibs of $package"
    [[ "$(cat "$control/triggers")" == "activate-noawait ldconfig" ]] ||
      fail "triggers of $package"
    rm -r "$control"
  done <<<"libkxcms1 libKXCMS
libkxpipeline1 libKXPipeline"
}

# are_installed DPKG...: whether the database of this dpkg says so of each.
are_installed() {
  local name
  for name in "${names[@]}"; do
    [[ "$("$@" -s "$name" 2>/dev/null)" == *"Status: install ok installed"* ]] || return 1
  done
}

# check_command KXCMS SAMPLE WORK: the installed command converts the sample scan that lies in WORK.
check_command() {
  [[ "$("$1" --version)" == "kxcms ${version%-*}" ]] || fail "kxcms --version"
  "$1" convert "$3/scan-8.tif" "$3/converted.tif"
  "$2" compare "$3/converted.tif"
}

# check_removal LOG ROOT: nothing of it is left, and dpkg had nothing to say.
check_removal() {
  local path
  if grep -i 'warning\|not empty' "$1" | grep -v 'ignoring request to remove'; then
    fail "removal was not clean"
  fi
  while read -r path; do
    [[ ! -e "$2/$path" && ! -L "$2/$path" ]] || fail "/$path is left"
  done < <(all_contents)
}
