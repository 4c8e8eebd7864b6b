#!/usr/bin/env bash
# Fills the matrix of hashes, tests/hashes/matrix.txt: the library built by each compiler, for x86-64 and for 64-bit ARM, at each
# optimisation, on x86 also with -march=native and with estimates by table, and run with every instruction set by 1, 2 and 5 threads,
# always over the committed table tests/hashes/table.txt. ARM runs under qemu, by 5 threads. At -O3, x86 also under an emulator whose
# estimates of reciprocals are exact: there the marked rows may differ, and no others; by table none. Cells that have been run are
# written anew, those of another table dropped.
# Where the processor has AVX-512, builds have its kernels too, and these are run as a set of their own.
#   scripts/hashes.sh [--quick | --plain]   --quick: -O0 and -O3 only; --plain: neither -march=native nor by table
#   VEKR_COMPILERS="g++ clang++-16"         these compilers instead of those that are there
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" libgtest-dev clang libomp-14-dev "${cross_packages[@]}"
levels=(-O0 -O1 -O2 -O3) x86_variants=(- -march=native by-table)
for argument in "${arguments[@]}"; do
  case $argument in
    --quick) levels=(-O0 -O3) ;;
    --plain) x86_variants=(-) ;;
    *) sed -n 8p "$0" >&2; exit 2 ;;
  esac
done

# clang for ARM is this machine's, with the runtimes of scripts/arm64_root.sh.
compilers=()
for name in ${VEKR_COMPILERS:-g++ g++-11 clang++ clang++-13 clang++-15 clang++-16 aarch64-linux-gnu-g++ aarch64-linux-gnu-clang++}; do
  if command -v "${name/#aarch64-linux-gnu-clang/clang}" >/dev/null; then compilers+=("$name"); fi
done
has_avx512() {
  local feature
  for feature in avx512f avx512vl avx512bw avx512dq; do grep -qw $feature /proc/cpuinfo || return 1; done
}
matrix=tests/hashes/matrix.txt
table=$(sha256sum tests/hashes/table.txt | cut -c1-16)
cells=$(mktemp)
trap 'rm -f "$cells"' EXIT
wrong=0

# cell words... : runs the hash program of $build; one line.
cell() {
  local outcome=equal count
  for count in ${threads//,/ }; do
    "$@" "${runner[@]}" "$build/bin/hashes" --check tests/hashes/table.txt $strict --threads "$count" >&2 || outcome=DIFFERENT
  done
  [ $outcome = equal ] || wrong=$((wrong + 1))
  printf '%-8s %-14s %-4s %-14s %-6s %-6s %-16s %s\n' \
    "$architecture" "$version" "$level" "$variant" "$set" "$threads" "$table" "$outcome" | tee -a "$cells"
}

for compiler in "${compilers[@]}"; do
  architecture=x86_64 variants=("${x86_variants[@]}") sets=(avx2 sse41) runner=() target=(-DCMAKE_CXX_COMPILER="$compiler")
  version=${compiler%%-[0-9]*}-$("${compiler/#aarch64-linux-gnu-clang/clang}" -dumpfullversion -dumpversion)
  if [[ $compiler = aarch64-* ]]; then
    architecture=aarch64 variants=(-) sets=(neon) runner=(qemu-aarch64 -L /usr/aarch64-linux-gnu)
    version=${version#aarch64-linux-gnu-}
    target+=(--toolchain cmake/toolchains/aarch64-linux-gnu.cmake)
  fi
  if [ $architecture = x86_64 ] && has_avx512; then
    sets=(avx512 avx2 sse41) target+=(-DVEKR_AVX512=ON)
  fi
  if [[ $compiler = aarch64-*-clang++ ]]; then
    [ -d build/arm64-root ] || scripts/arm64_root.sh
    runner=(qemu-aarch64 -L build/arm64-root)
    target=(--toolchain cmake/toolchains/aarch64-linux-gnu.cmake -DVEKR_ARM64_ROOT="$PWD/build/arm64-root"
      -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_C_COMPILER_TARGET=aarch64-linux-gnu
      -DCMAKE_CXX_COMPILER_TARGET=aarch64-linux-gnu)
  fi
  for level in "${levels[@]}"; do
    for variant in "${variants[@]}"; do
      build=build/hashes/$compiler$level${variant//[-=]/}  # a name that `env` doesn't take for an assignment
      flags=$level settings=()
      case $variant in
        -march=*) flags+=" $variant" ;;
        by-table) settings=(-DVEKR_ESTIMATES=table) ;;
      esac
      log=$build.log
      mkdir -p build/hashes
      # The compiler's own runtime where it has one, else that of clang 14, with which the calls of all of them agree.
      if ! { cmake -S . -B "$build" -G Ninja "${target[@]}" -DCMAKE_BUILD_TYPE=None -DCMAKE_CXX_FLAGS="$flags" "${settings[@]}" \
        -DVEKR_BUILD_BENCHMARKS=OFF -DVEKR_BUILD_EXAMPLES=OFF && cmake --build "$build" --target vekr_hashes; } >"$log" 2>&1; then
        echo "$compiler $flags: not built, see $log"
        wrong=$((wrong + 1))
        continue
      fi
      threads=1,2,5 strict=--strict
      [ $architecture = x86_64 ] || threads=5  # emulation is slow
      for set in "${sets[@]}"; do
        tunables=()
        case $set in
          avx2) tunables=(GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX512F) ;;
          sse41) tunables=(GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2) ;;
        esac
        cell env "${tunables[@]}"
      done
      # Another make of processor: without the table, the rows of a processor's estimates are left out.
      if [ "$architecture$level" = x86_64-O3 ] && [[ $variant != -march=* ]] && command -v qemu-x86_64 >/dev/null; then
        threads=1
        [ "$variant" = by-table ] || strict= variant=unmarked
        variant+=,emul.
        cell qemu-x86_64 -cpu Nehalem
      fi
    done
  done
done

# New cells, and those of the same table that were not run now.
touch "$matrix"
{
  printf '%-8s %-14s %-4s %-14s %-6s %-6s %-16s %s\n' '#arch' compiler opt flags set threads table outcome
  awk -v table="$table" '{ key = $1 " " $2 " " $3 " " $4 " " $5 } FILENAME == ARGV[1] { ran[key] = 1; print; next }
    $7 == table && !(key in ran)' "$cells" "$matrix" | LC_ALL=C sort
} >"$cells.new"
mv "$cells.new" "$matrix"
echo "$(wc -l <"$cells") cells, $wrong different or not built"
[ "$wrong" -eq 0 ]
