# Debian packages, and how to get them. Sourced by the scripts beside it.

build_packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev libtiff-dev
  libjpeg62-turbo-dev libpng-dev libwebp-dev nettle-dev)
# Manual pages, Debian packages, and their checks.
packaging_packages=(scdoc dpkg-dev file lintian man-db pkg-config)
# Wheels of the Python package.
wheel_packages=(binutils python3-pip python3-setuptools python3-wheel)
# Peers and readers to compare with, and material that nobody here made.
test_packages=(libgtest-dev abigail-tools "${packaging_packages[@]}"
  doxygen colord-data icc-profiles-free liblcms2-dev locales
  argyll argyll-ref libgs-common rawtherapee-data liblcms2-utils libtiff-tools netpbm
  librsvg2-bin libxml2-utils time
  git python3 python3-jsonschema python3-numpy python3-tifffile python3-pytest python3-pil python3-venv
  mypy python-matplotlib-data libvips-tools libimage-exiftool-perl zsh "${wheel_packages[@]}")
# Large ones: another compiler, emulators, a compiler for another processor, a browser and what reads
# its pages, engines that spread work over computers, another reader of profiles.
integration_packages=(clang libomp-dev qemu-user g++-aarch64-linux-gnu chromium poppler-utils
  parallel munge slurm-wlm python3-distributed colord)

# The sanitizers of clang, OpenMP for them, and the fuzzer.
clang_packages=(clang clang-14 libclang-rt-14-dev libomp-14-dev llvm-14)

# Installs what is missing of the named packages, as root or with sudo; where neither is there, or
# where KXCMS_INSTALL is "no", names them and stops.
install_packages() {
  local package missing=()
  for package in "$@"; do
    if [[ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
      missing+=("$package")
    fi
  done
  if ((${#missing[@]} == 0)); then
    return
  fi
  local as_root=()
  if [[ "${KXCMS_INSTALL:-yes}" == no ]]; then
    stop_without "${missing[@]}"
  fi
  if [[ "$(id -u)" != 0 ]]; then
    command -v sudo >/dev/null || stop_without "${missing[@]}"
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  if ! apt_get update || ! apt_get install -y --no-install-recommends "${missing[@]}"; then
    stop_without "${missing[@]}"
  fi
}

# Runs apt-get by the caller's `as_root`. While another package manager holds one of the locks (apt's
# own waiting knows but one of them), says so and tries again, for KXCMS_LOCK_SECONDS.
apt_get() {
  local messages lock told="" seconds="${KXCMS_LOCK_SECONDS:-600}" start=$SECONDS
  messages="$(mktemp)"
  until "${as_root[@]}" env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -q "$@" \
    2>"$messages"; do
    lock="$(grep -m1 -o 'Could not get lock .*' "$messages" || true)"
    if [[ -z "$lock" ]] || ((SECONDS - start >= seconds)); then
      cat "$messages" >&2
      rm -f "$messages"
      if [[ -n "$lock" ]]; then
        echo "Another package manager is still at work after $seconds seconds: $lock" >&2
      fi
      return 1
    fi
    if [[ "$lock" != "$told" ]]; then
      echo "Waiting for another package manager: $lock" >&2
      told="$lock"
    fi
    sleep 1
  done
  cat "$messages" >&2
  rm -f "$messages"
}

stop_without() {
  echo "These packages are missing; please install them and try again:" >&2
  echo "  $*" >&2
  exit 1
}
