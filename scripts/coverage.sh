#!/usr/bin/env bash
# Branch and line coverage of the library by its tests, over both instruction sets, with gcc's gcov: a build of its own without
# optimisation, all tests of the library, and a table by file. Branches that no run has taken are listed by line, and fail without a
# reason in scripts/coverage_reasons.txt.
#   scripts/coverage.sh [FILE [LABELS]]   the list of branches also into FILE; only by tests so marked ("short bounds"), much sooner
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" libgtest-dev python3
file=${arguments[0]:-build/coverage/missed.txt} labels=${arguments[1]:-}
build=build/coverage

# Exceptions are off in the library, so that no branch is one of the compiler's for throwing.
cmake --preset debug -B "$build" -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic" -DCMAKE_SHARED_LINKER_FLAGS=--coverage \
  -DCMAKE_EXE_LINKER_FLAGS=--coverage -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF >/dev/null
only=()
[ -z "$labels" ] || only=(-L "^(${labels// /|})\$")
for label in ${labels:-all}; do
  target=all
  [ "$label" = all ] || target=vekr_${label}_tests
  cmake --build "$build" --target "$target" >/dev/null
done
find "$build" -name '*.gcda' -delete
# library_symbols_test would see what gcov brings.
ctest --test-dir "$build" -j "$(nproc)" "${only[@]}" -E 'install|subproject|static|documentation|program|library_symbols' >"$build/tests.log" ||
  { grep -E 'Failed|\*\*\*' "$build/tests.log"; exit 1; }
mkdir -p "$build/gcov"
find "$PWD/$build/CMakeFiles" "$PWD/$build/vekcore" -name '*.gcda' -print0 |
  (cd "$build/gcov" && xargs -0 gcov --json-format --branch-probabilities --stdout) >"$build/gcov.json"
/usr/bin/python3 scripts/coverage.py "$build/gcov.json" "$PWD" "$file"
