#!/usr/bin/env bash
# Runs every check: formatting, clang-tidy, both compilers without warnings, all tests, and all tests again under the sanitizers,
# the interface against the record of it, and of 64-bit ARM, under emulation, what tells it from x86. Only the packages have a check of their own, scripts/deb.sh.
#   scripts/test.sh            everything
#   scripts/test.sh release    only the named presets (release debug clang asan tsan cross-aarch64), without the other checks
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" "${example_packages[@]}" "${test_packages[@]}" "${cross_packages[@]}"

# build cmake-arguments...: one line when all is well, otherwise what the compilers said.
build() {
  local log
  log=$(mktemp)
  if ! cmake --build "$@" >"$log" 2>&1; then
    grep -v '^\[[0-9]*/[0-9]*\]' "$log" | head -n 100
    rm -f "$log"
    return 1
  fi
  tail -n 1 "$log"
  rm -f "$log"
}

# run_preset preset target ctest-arguments...
run_preset() {
  local preset=$1 target=$2
  shift 2
  echo "== $preset"
  cmake --preset "$preset" -DVEKR_WERROR=ON >/dev/null
  build --preset "$preset" --target "$target"
  ctest --preset "$preset" -j "$(nproc)" "$@"
}

check_format() {
  echo "== format"
  git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format-14 --dry-run -Werror
}

# The library by itself must need no more than a compiler, CMake and OpenMP.
check_library_alone() {
  echo "== library alone"
  cmake --preset release -B build/alone -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF >/dev/null
  build build/alone
}

# Emulation is slow, so that these stand for all tests: every lane operation, the estimates, and the hashes of what every
# function writes in every form.
check_arm() {
  command -v aarch64-linux-gnu-g++ qemu-aarch64 >/dev/null || { echo "== cross-aarch64: left out, its packages are missing"; return 0; }
  run_preset cross-aarch64 vekr_arm_tests -L arm
}

if [ ${#arguments[@]} -gt 0 ]; then
  for preset in "${arguments[@]}"; do run_preset "$preset" all; done
  exit 0
fi

check_format
check_library_alone
echo "== clang-tidy"
scripts/tidy.sh
scripts/docs.sh --look
# The tests whose threads matter; the other presets run everything.
run_preset tsan vekr_thread_tests -L threads
run_preset asan all
run_preset clang all
run_preset debug all -E "_test[.]sse41"
echo "== interface"
scripts/interface.sh
run_preset release all
check_arm
for library in asan release; do scripts/python.sh "$library"; done
