#!/usr/bin/env bash
# Load: eight host threads that call all families at once and compare every hash, many trees in flat memory, and volumes beyond 2^32
# bytes at their far end. The last takes address space, hardly memory.
#   scripts/load.sh [MINUTES [TREES]]   10 minutes and 100000 trees, unless told otherwise
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" libgtest-dev libbenchmark-dev
minutes=${arguments[0]:-10} trees=${arguments[1]:-100000}
cmake --preset release >/dev/null
cmake --build --preset release --target vekr_load >/dev/null
load=build/release/bin/load
"$load" hosts 8 $((minutes * 60)) tests/hashes/table.txt
"$load" builds "$trees"
"$load" far
