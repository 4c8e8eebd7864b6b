#!/usr/bin/env bash
# Checks the Python package: types, tests, docstrings, examples, and the wheel in a fresh environment.
#   scripts/python.sh                  all of that, with the release library
#   scripts/python.sh asan [TEST...]   tests with the sanitizers' library: those of what calls it, unless others are named
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing "${build_packages[@]}" "${python_packages[@]}"
python=/usr/bin/python3
export PYTHONDONTWRITEBYTECODE=1 MPLBACKEND=Agg

build() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" --target vekre9 vekcore | tail -n 1
}

if [ "${1:-}" = asan ]; then
  shift
  # Chunks and Dask call what volumes do, chunk by chunk.
  [ $# -gt 0 ] || set -- tests/test_{lib,sh,mesh,volume,hostile,grammar}.py
  echo "== python: tests under the sanitizers"
  build asan
  # The interpreter isn't instrumented: the runtimes come first, and its own leaks are not looked for. numpy's allocations
  # of sizes that can't be had are to give None, as without the sanitizer.
  cd python
  LD_PRELOAD="$(gcc -print-file-name=libasan.so):$(gcc -print-file-name=libubsan.so)" \
    ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1:detect_odr_violation=0 UBSAN_OPTIONS=print_stacktrace=1 \
    PYTHONMALLOC=malloc VEKR_LIBRARY="$PWD/../build/asan/lib/libvekre9.so.6.1" \
    $python -m pytest -q -m "not process" "$@"
  exit 0
fi

build release
cd python
# On one processor, while the other looks at the rest.
$python -m pytest -q tests >../build/python-tests.log 2>&1 &
suite=$!
trap 'kill $suite 2>/dev/null || true' EXIT
echo "== python: types"
mypy --cache-dir ../build/mypy
echo "== python: docstrings"
$python -m pytest -q --doctest-modules vekr
echo "== python: examples"
$python -m pytest -q examples
echo "== python: tests"
wait $suite || { cat ../build/python-tests.log; exit 1; }
trap - EXIT
tail -n 1 ../build/python-tests.log
cd ..
echo "== python: wheel"
scripts/wheel.sh
environment=build/wheel/environment
rm -rf $environment
# Debian's numpy and cffi; nothing is fetched.
$python -m venv --system-site-packages $environment
$environment/bin/pip install --quiet --no-index build/wheel/dist/*.whl
tests=$PWD/python/tests
(cd build/wheel && env -u VEKR_LIBRARY VEKR_TEST_INSTALLED=1 environment/bin/python -m pytest -q -p no:cacheprovider \
  "$tests/test_lib.py" "$tests/test_sh.py" "$tests/test_installed.py")
