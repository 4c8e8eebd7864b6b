# Sourced by the other scripts: installs Debian packages that are missing, as root or with sudo.

install_missing() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "these packages are missing and there is no sudo: ${missing[*]}" >&2; return 1; }
    as_root=(sudo)
  fi
  echo "installing ${missing[*]}"
  "${as_root[@]}" apt-get update -q >/dev/null
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" >/dev/null
}

build_packages=(g++ cmake ninja-build pkg-config libgomp1)
example_packages=(libassimp-dev libcli11-dev libpng-dev libnifti-dev zlib1g-dev)
test_packages=(clang clang-format clang-tidy libomp-14-dev libclang-rt-14-dev libgtest-dev libbenchmark-dev binutils)
demo_data=(assimp-testmodels mricron-data)
python_demo_packages=(python3-cffi python3-numpy python3-matplotlib)
python_packages=(python3-cffi python3-numpy python3-setuptools python3-wheel python3-build python3-venv python3-pytest
  python3-hypothesis mypy python3-matplotlib python3-scipy python3-nibabel python3-tqdm mricron-data)
