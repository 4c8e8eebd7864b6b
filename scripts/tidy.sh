#!/usr/bin/env bash
# Runs clang-tidy on the library's sources, as .clang-tidy says; half a minute on two cores.
#   scripts/tidy.sh            all of them
#   scripts/tidy.sh BASE       those that differ from the commit BASE
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing "${build_packages[@]}" clang clang-tidy libomp-14-dev

folders=(frame pr_avlopsahopt intersect prmisc sh volume prremap prwarpa prresize filter vekcore)
if [ $# -gt 0 ]; then
  mapfile -t sources < <(git diff --name-only --diff-filter=d "$1" -- "${folders[@]/%//*.cpp}")
else
  mapfile -t sources < <(git ls-files -- "${folders[@]/%//*.cpp}")
fi
[ ${#sources[@]} -gt 0 ] || { echo "nothing to look at"; exit 0; }
cmake --preset clang -B build/tidy -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF >/dev/null
printf '%s\n' "${sources[@]}" | xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p build/tidy 2>&1 |
  { grep -vE '^[0-9]+ warnings? generated' || true; }
