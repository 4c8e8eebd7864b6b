#!/usr/bin/env bash
# Fills the matrix of hashes: the library built by each compiler, for x86-64 and for 64-bit ARM, at each optimisation, on x86 also with
# -march=native and with estimates by table, and run with every instruction set and several thread counts, always over the committed
# table tests/hashes/table.txt. ARM runs under qemu. Last, x86 under an emulator whose estimates of reciprocals are exact: there the
# marked rows may differ, and no others; by table none.
#   scripts/hashes.sh [--quick] [FILE]   the matrix as a table, also into FILE; --quick: -O0 and -O3 only
#   VEKR_COMPILERS="g++ clang++-16"      these compilers instead of those that are there
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" libgtest-dev clang libomp-14-dev "${cross_packages[@]}"
levels=(-O0 -O1 -O2 -O3)
file=/dev/null
for argument in "${arguments[@]}"; do
  case $argument in
    --quick) levels=(-O0 -O3) ;;
    -*) sed -n 6p "$0" >&2; exit 2 ;;
    *) file=$argument ;;
  esac
done

compilers=()
for name in ${VEKR_COMPILERS:-g++ g++-11 clang++ clang++-13 clang++-15 clang++-16 aarch64-linux-gnu-g++}; do
  command -v "$name" >/dev/null && compilers+=("$name")
done
cells=0 wrong=0

# cell words... : runs the hash program of $build; one line.
cell() {
  local outcome
  cells=$((cells + 1))
  if outcome=$("$@" "${runner[@]}" "$build/bin/hashes" --check tests/hashes/table.txt "${options[@]}" 2>&1); then
    outcome=equal
  else
    wrong=$((wrong + 1))
    printf '%s\n' "$outcome" >&2
    outcome=DIFFERENT
  fi
  printf '%-22s %-4s %-14s %-6s %-7s %s\n' "$compiler" "$level" "$native" "$set" "$threads" "$outcome" | tee -a "$file"
}

: >"$file"
printf '%-22s %-4s %-14s %-6s %-7s %s\n' compiler opt flags set threads outcome | tee -a "$file"
for compiler in "${compilers[@]}"; do
  variants=(- -march=native by-table) sets=(avx2 sse41) runner=() target=()
  if [[ $compiler = aarch64-* ]]; then
    variants=(-) sets=(neon) runner=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
    target=(--toolchain cmake/toolchains/aarch64-linux-gnu.cmake)
  fi
  for level in "${levels[@]}"; do
    for native in "${variants[@]}"; do
      build=build/hashes/$compiler$level${native#-}
      flags=$level settings=()
      case $native in
        -march=*) flags+=" $native" ;;
        by-table) settings=(-DVEKR_ESTIMATES=table) ;;
      esac
      log=$build.log
      mkdir -p build/hashes
      # The compiler's own runtime where it has one, else that of clang 14, with which the calls of all of them agree.
      if ! { cmake -S . -B "$build" -G Ninja "${target[@]}" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=None \
        -DCMAKE_CXX_FLAGS="$flags" "${settings[@]}" -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF &&
        cmake --build "$build" --target vekr_hashes; } >"$log" 2>&1; then
        echo "$compiler $flags: not built, see $log" | tee -a "$file"
        wrong=$((wrong + 1))
        continue
      fi
      for set in "${sets[@]}"; do
        tunables=()
        [ "$set" != sse41 ] || tunables=(GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2)
        # Code for this very processor may have its wider instructions everywhere: only its own set is a cell.
        for threads in 1 2 5; do
          options=(--threads "$threads" --strict)
          cell env "${tunables[@]}"
        done
      done
    done
  done
done

runner=() compiler=g++ level=-O3 set=sse41 threads=1
if command -v qemu-x86_64 >/dev/null; then
  build=build/hashes/g++-O3 native=emulator options=()
  [ ! -x "$build/bin/hashes" ] || cell qemu-x86_64 -cpu Nehalem
  build=build/hashes/g++-O3by-table native=emul.,by-table options=(--strict)
  [ ! -x "$build/bin/hashes" ] || cell qemu-x86_64 -cpu Nehalem
fi
echo "$cells cells, $wrong different or not built" | tee -a "$file"
[ "$wrong" -eq 0 ]
