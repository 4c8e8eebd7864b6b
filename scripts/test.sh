#!/usr/bin/env bash
# Runs every check: formatting, clang-tidy, no warnings, all tests as shipped, and of them under the sanitizers, by clang, without
# optimisation and, under emulation, for 64-bit ARM those that are marked for it (vekr_mark in tests/); the interface against the
# record of it. Only the packages have a check of their own, scripts/deb.sh.
#   scripts/test.sh            everything
#   scripts/test.sh asan       all tests of the named presets (release debug clang asan tsan halves cross-aarch64), without the other checks
# Each stage tells its seconds at the end. Long runs have scripts of their own: hashes.sh, fuzz.sh, memory.sh, coverage.sh,
# mutate.py, load.sh, models.sh.
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

# stage title command...: a title, the command, and the seconds that it took.
stage() {
  local title=$1 start=$SECONDS
  shift
  echo "== $title"
  "$@"
  echo "== $title: $((SECONDS - start)) s, $SECONDS s in all"
}

# run_preset preset target ctest-arguments...
run_preset() {
  local preset=$1 target=$2
  shift 2
  cmake --preset "$preset" -DVEKR_WERROR=ON >/dev/null
  build --preset "$preset" --target "$target"
  ctest --preset "$preset" -j "$(nproc)" "$@"
}

check_format() {
  git ls-files '*.h' '*.c' '*.cpp' | xargs clang-format-14 --dry-run -Werror
}

# The library by itself must need no more than a compiler, CMake and OpenMP. What stands around it comes to the same build later.
check_library_alone() {
  cmake --preset release -DVEKR_WERROR=ON -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF >/dev/null
  build --preset release
}

# Emulation is slow, so that these stand for all tests: every lane operation, the estimates, the hashes of what every function
# writes in every form, and one short test of most folders.
check_arm() {
  command -v aarch64-linux-gnu-g++ qemu-aarch64 >/dev/null || { echo "left out: its packages are missing"; return 0; }
  run_preset cross-aarch64 vekr_short_tests -L short
}

if [ ${#arguments[@]} -gt 0 ]; then
  for preset in "${arguments[@]}"; do stage "$preset" run_preset "$preset" all; done
  exit 0
fi

stage format check_format
stage "library alone" check_library_alone
stage clang-tidy scripts/tidy.sh
stage documentation scripts/docs.sh --look
# Each of these builds the library anew, all of it without warnings, and such tests as its compiler or sanitizer could fail by itself.
stage tsan run_preset tsan vekr_threads_tests -L threads
stage asan run_preset asan vekr_bounds_tests -L bounds
stage clang run_preset clang vekr_bits_tests -L bits
stage debug run_preset debug vekr_bits_tests -L bits
stage halves run_preset halves vekr_bits_tests -L bits
stage interface scripts/interface.sh
stage release run_preset release all
stage cross-aarch64 check_arm
# The same inputs in the same order: what a change breaks shows, and nobody's change meets what long runs have yet to find.
VEKR_SEED=1 stage fuzz scripts/fuzz.sh 10s
for library in asan release; do stage "python, $library" scripts/python.sh "$library"; done
