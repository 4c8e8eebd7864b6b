#!/usr/bin/env bash
# Runs clang-tidy on the library's sources, as .clang-tidy says; half a minute on two cores.
#   scripts/tidy.sh            all of them
#   scripts/tidy.sh BASE       those that differ from the commit BASE
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" clang clang-tidy libomp-14-dev

# The build knows what the library is made of.
cmake --preset clang -B build/tidy -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF >/dev/null
mapfile -t sources < <(sed -n "s|^ *\"file\": \"$PWD/\(.*\.cpp\)\".*|\1|p" build/tidy/compile_commands.json | sort -u)
if [ ${#arguments[@]} -gt 0 ]; then
  mapfile -t sources < <(comm -12 <(printf '%s\n' "${sources[@]}") \
    <(git diff --name-only --diff-filter=d "${arguments[0]}" | sort))
fi
[ ${#sources[@]} -gt 0 ] || { echo "nothing to look at"; exit 0; }
printf '%s\n' "${sources[@]}" | xargs -n 1 -P "$(nproc)" clang-tidy --quiet -p build/tidy 2>&1 |
  { grep -vE '^[0-9]+ warnings? generated' || true; }
