# Debian packages, and how to get them. Sourced by the scripts beside it.

build_packages=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev)
# Manual pages, Debian packages, and their checks.
packaging_packages=(scdoc dpkg-dev file fakeroot lintian man-db pkg-config)
# Peers and readers to compare with, and material that nobody here made.
test_packages=(libgtest-dev abigail-tools "${packaging_packages[@]}"
  doxygen colord-data icc-profiles-free liblcms2-dev
  argyll argyll-ref liblcms2-utils libtiff-tools netpbm
  python3 python3-numpy python3-tifffile python-matplotlib-data)
# Large ones: another compiler, emulators, a compiler for another processor.
integration_packages=(clang libomp-dev qemu-user g++-aarch64-linux-gnu)

# The sanitizers of clang, OpenMP for them, and the fuzzer.
clang_packages=(clang clang-14 libclang-rt-14-dev libomp-14-dev llvm-14)

# Installs what is missing of the named packages, as root or with sudo; where neither is there,
# names them and stops.
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
  if [[ "$(id -u)" != 0 ]]; then
    command -v sudo >/dev/null || stop_without "${missing[@]}"
    as_root=(sudo)
  fi
  echo "Installing ${missing[*]}"
  if ! "${as_root[@]}" apt-get update -q ||
    ! "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -q -y --no-install-recommends "${missing[@]}"; then
    stop_without "${missing[@]}"
  fi
}

stop_without() {
  echo "These packages are missing; please install them and try again:" >&2
  echo "  $*" >&2
  exit 1
}
