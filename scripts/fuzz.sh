#!/usr/bin/env bash
# Runs the fuzz targets of fuzz/, under the address and undefined-behaviour sanitizers, and tells what each has done.
#   scripts/fuzz.sh MINUTES [TARGET...]   so long for each target, as many side by side as there are processors (VEKR_JOBS: so many);
#                                         10s: so many seconds. VEKR_SEED: the same inputs in the same order every time
# Lines of all runs are added to build/fuzz/runs.txt.
# Corpora begin with fuzz/corpus/TARGET and grow in build/fuzz/corpus/TARGET; what is found lies in build/fuzz/findings/, and
# build/fuzz/bin/fuzz_TARGET FILE runs it again.
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" "${example_packages[@]}" clang libomp-14-dev libclang-rt-14-dev
set -- "${arguments[@]}"
[[ ${1:-} =~ ^[0-9]+s?$ ]] || { sed -n 3,4p "$0" >&2; exit 2; }
if [[ $1 = *s ]]; then seconds=${1%s}; else seconds=$(($1 * 60)); fi
shift
if [ $# -eq 0 ]; then set -- shading tree rays resampling resize filter harmonics readers; fi

cmake --preset fuzz -DVEKR_WERROR=ON >/dev/null
log=$(mktemp)
trap 'rm -f "$log"' EXIT
cmake --build --preset fuzz >"$log" 2>&1 || { grep -v '^\[[0-9]*/[0-9]*\]' "$log" | head -n 100; exit 1; }

# fuzz target: one run; a line of figures, or what was found.
fuzz() {
  local target=$1 corpus=build/fuzz/corpus/$1 output=build/fuzz/$1.log
  mkdir -p "$corpus" build/fuzz/findings
  # Bytes of a file, or those that arguments are made of.
  local longest=256
  if [ "$1" = readers ]; then longest=4096; fi
  # Blocks of 16 MiB are what a tree takes: they may stay with the sanitizer only for a while.
  if ! ASAN_OPTIONS=quarantine_size_mb=64 "build/fuzz/bin/fuzz_$target" -max_total_time="$seconds" -seed="${VEKR_SEED:-0}" -max_len=$longest -timeout=60 \
    -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="build/fuzz/findings/$target-" "$corpus" "fuzz/corpus/$target" \
    >"$output" 2>&1; then
    echo "fuzz_$target has found something:"
    tail -n 60 "$output"
    return 1
  fi
  local executions edges taken
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$output")
  edges=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$output" | tail -n 1)
  # What its processes have taken, user and system, is the last line of `times`.
  times >"$output.times"  # not into a pipe, which would be a shell of its own
  taken=$(awk 'NR == 2 { split($1 "m" $2, part, /[ms]+/); printf "%.0f", part[1] * 60 + part[2] + part[3] * 60 + part[4] }' "$output.times")
  printf '%-11s %10s executions %6s edges %5s inputs kept %6s processor-seconds\n' "$target" "$executions" "$edges" \
    "$(find "$corpus" -type f | wc -l)" "$taken" | tee -a build/fuzz/runs.txt
}
export -f fuzz
export seconds
printf '%s\n' "$@" | xargs -P "${VEKR_JOBS:-$(nproc)}" -I{} bash -c 'fuzz {}'
