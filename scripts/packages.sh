# Sourced by the other scripts: their --no-install option, and Debian packages that are missing.

# take_no_install "$@": takes --no-install out of the arguments; the others are in `arguments` afterwards. Scripts
# that are called from here see the choice too.
export VEKR_NO_INSTALL=${VEKR_NO_INSTALL:-}
take_no_install() {
  local argument
  arguments=()
  for argument in "$@"; do
    if [ "$argument" = --no-install ]; then VEKR_NO_INSTALL=yes; else arguments+=("$argument"); fi
  done
}

# install_missing PACKAGE...: installs those that are missing, as root or with sudo, and says so first.
install_missing() {
  local missing=() package
  command -v dpkg-query >/dev/null || { echo "no Debian here: needs the like of $*"; return 0; }
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ -n "$VEKR_NO_INSTALL" ]; then
    echo "not installed, as --no-install asks: ${missing[*]}"
    return 0
  fi
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "these packages are missing and there is no sudo: ${missing[*]}" >&2; return 1; }
    as_root=(sudo)
  fi
  echo "These Debian packages are missing and will be installed now (--no-install goes on without them):"
  printf '  %s\n' "${missing[@]}"
  "${as_root[@]}" apt-get update -q >/dev/null
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" >/dev/null
}

build_packages=(g++ cmake ninja-build pkg-config libgomp1)
docs_packages=(python3-sphinx furo python3-myst-parser python3-breathe doxygen)
example_packages=(libassimp-dev libcli11-dev libpng-dev libjpeg-dev libopenexr-dev nlohmann-json3-dev libnifti-dev zlib1g-dev)
# What lets vekr-volume read and write more than NIfTI: 130 MB with all that it needs, so that only tests ask for it.
volume_formats_packages=(libinsighttoolkit5-dev)
test_packages=("${volume_formats_packages[@]}" clang clang-format clang-tidy libomp-14-dev libclang-rt-14-dev libgtest-dev libbenchmark-dev binutils abigail-tools)
cross_packages=(g++-aarch64-linux-gnu qemu-user googletest)
demo_data=(assimp-testmodels mricron-data)
python_demo_packages=(python3-cffi python3-numpy python3-matplotlib)
python_packages=(pypy3 python3-cffi python3-numpy python3-setuptools python3-wheel python3-build python3-venv python3-pytest
  python3-hypothesis mypy python3-matplotlib python3-scipy python3-nibabel python3-tqdm mricron-data
  python3-dask python3-distributed python3-zarr)
