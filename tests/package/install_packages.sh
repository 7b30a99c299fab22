#!/bin/bash
# install_packages of scripts/packages.sh, by the real apt and dpkg in a root of their own: it waits
# for another package manager's locks, names who holds them, and gives up in time.
# usage: install_packages.sh SOURCE
set -euo pipefail
source_dir="$1"
command -v apt-get >/dev/null || { echo "SKIP: there is no apt-get here"; exit 77; }
root="$(mktemp -d)"
holder=""
release() {
  if [[ -n "$holder" ]]; then
    kill "$holder" 2>/dev/null || true
    wait "$holder" 2>/dev/null || true
  fi
  holder=""
}
trap 'release; rm -rf "$root"' EXIT

# A repository of one package.
mkdir -p "$root"/{bin,package/DEBIAN,repository,etc/apt/{apt.conf.d,preferences.d},var/log/apt} \
  "$root"/var/{lib/apt/lists/partial,cache/apt/archives/partial,lib/dpkg/{info,updates,triggers}}
touch "$root/var/lib/dpkg/status"
description="Package: kxcms-probe
Version: 1
Architecture: all
Maintainer: KXCMS maintainers <maintainers@kxcms.example>
Description: nothing"
echo "$description" >"$root/package/DEBIAN/control"
probe="$root/repository/kxcms-probe.deb"
dpkg-deb --root-owner-group --build "$root/package" "$probe" >/dev/null
echo "$description
Filename: ./kxcms-probe.deb
Size: $(stat -c %s "$probe")
SHA256: $(sha256sum "$probe" | cut -d' ' -f1)" >"$root/repository/Packages"

# What makes apt and dpkg work in there, whoever runs them.
echo "deb [trusted=yes] file:$root/repository ./" >"$root/etc/apt/sources.list"
cat >"$root/apt.conf" <<END
Dir "$root";
Dir::Bin::dpkg "$(type -P dpkg)";
Dir::Bin::methods "/usr/lib/apt/methods";
Dir::Etc::trustedparts "/etc/apt/trusted.gpg.d";
APT::Sandbox::User "root";
DPkg::Options { "--root=$root"; "--force-not-root"; "--log=$root/dpkg.log"; };
END
printf '#!/bin/sh\nexec "$@"\n' >"$root/bin/sudo"
chmod +x "$root/bin/sudo"
export APT_CONFIG="$root/apt.conf" DPKG_ADMINDIR="$root/var/lib/dpkg"
export PATH="$root/bin:$PATH:/usr/sbin:/sbin"

fail() {
  echo "$*; it said:" >&2
  cat "$root/said" >&2
  exit 1
}
# install [PACKAGE]: what a script does that needs it, with pauses a tenth as long. Leaves what was
# said in a file.
install() {
  bash -euo pipefail -c 'source "$1/scripts/packages.sh"
sleep() { command sleep "0.$1"; }
install_packages "$2"' - "$source_dir" "${1:-kxcms-probe}" >"$root/said" 2>&1
}
is_installed() {
  [[ "$(dpkg-query -W -f '${db:Status-Status}' kxcms-probe 2>/dev/null)" == installed ]]
}
remove() {
  dpkg --root="$root" --force-not-root --log=/dev/null --purge kxcms-probe >/dev/null
}
says() { grep -q "$1" "$root/said" || fail "It does not say: $1"; }
is_silent_about() { if grep -q "$1" "$root/said"; then fail "It says: $1"; fi; }

# hold LOCK: until `release`, as package managers do, by a process that is called python3.
hold() {
  rm -f "$root/held"
  python3 -c 'import fcntl, sys, time
lock = open(sys.argv[1], "w")
fcntl.lockf(lock, fcntl.LOCK_EX)
open(sys.argv[2], "w").close()
time.sleep(60)' "$root/$1" "$root/held" &
  holder=$!
  until [[ -e "$root/held" ]]; do sleep 0.05; done
}

install || fail "nobody is there, and it fails"
is_installed || fail "not installed"
is_silent_about 'package manager'

for lock in var/lib/apt/lists/lock var/cache/apt/archives/lock var/lib/dpkg/lock-frontend \
  var/lib/dpkg/lock; do
  remove
  hold "$lock"
  : >"$root/said"
  install &
  waiting=$!
  until grep -q '^Waiting' "$root/said" || ! kill -0 "$waiting" 2>/dev/null; do sleep 0.05; done
  says "^Waiting for another package manager: Could not get lock $root/$lock\. .*process $holder"
  # It tries again in this time, and says nothing more.
  sleep 0.8
  if is_installed; then fail "installed in spite of $lock"; fi
  release
  wait "$waiting" || fail "it does not wait for $lock"
  is_installed || fail "not installed after $lock"
  [[ "$(grep -c '^Waiting' "$root/said")" == 1 ]] || fail "it says so more than once"
done

remove
hold var/lib/dpkg/lock-frontend
if KXCMS_LOCK_SECONDS=1 install; then fail "installed in spite of the lock"; fi
says "^Another package manager is still at work after 1 seconds: .*process $holder"
says '^These packages are missing; please install them and try again:$'
says '^  kxcms-probe$'
release

# Nothing is missing, and nobody is asked.
install
hold var/lib/dpkg/lock-frontend
install || fail "what is installed needs a lock"
[[ ! -s "$root/said" ]] || fail "it says something"
release

if install kxcms-absent; then fail "installed what does not exist"; fi
says 'Unable to locate package kxcms-absent'
is_silent_about 'package manager'
says '^  kxcms-absent$'

remove
if KXCMS_INSTALL=no install; then fail "installed against the word"; fi
says '^  kxcms-probe$'
if is_installed; then fail "installed against the word"; fi
echo "Locks are waited for."
