#!/usr/bin/env bash
# The library under valgrind's memcheck, helgrind and DRD, over the table of hashes: every function in every form. Takes long.
#   scripts/memory.sh [memcheck|helgrind|drd]...   all three unless some are named
# Debian packages that are missing are named and installed; with --no-install they are only named.
#
# What needs telling to helgrind and DRD: gcc's OpenMP runtime waits by futexes of its own, which they
# can't see, and would report each fork. They run host threads (tests/hashes/load.cpp) with one OpenMP thread each: what calls share.
# Forks themselves are the thread sanitizer's, with clang's runtime (preset tsan).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" libgtest-dev libbenchmark-dev valgrind
if [ ${#arguments[@]} -eq 0 ]; then arguments=(memcheck helgrind drd); fi
table=tests/hashes/table.txt

release() {
  cmake --preset release >/dev/null
  cmake --build --preset release --target vekr_hashes vekr_load >/dev/null
}

for tool in "${arguments[@]}"; do
  start=$SECONDS
  echo "== $tool"
  case $tool in
    memcheck)
      release
      valgrind -q --error-exitcode=9 --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite \
        build/release/bin/hashes --check "$table"
      ;;
    helgrind | drd)
      release
      OMP_THREAD_LIMIT=1 valgrind -q --tool="$tool" --error-exitcode=9 build/release/bin/load hosts 4 60 "$table" 1
      ;;
    *) sed -n 4p "$0" >&2; exit 2 ;;
  esac
  echo "== $tool: nothing found, $((SECONDS - start)) s"
done
