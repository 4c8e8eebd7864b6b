#!/usr/bin/env bash
# Makes build/wheel/dist/vekr-...-py3-none-linux_x86_64.whl, which holds the package and both libraries. (The Debian package
# python3-vekr, which uses the libraries of libvekre9, is made by scripts/deb.sh with the others.)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing "${build_packages[@]}" python3-cffi python3-numpy python3-setuptools python3-wheel python3-build

top=build/wheel
stage=$top/stage
cmake --preset release >/dev/null
cmake --build --preset release --target vekre9 vekcore | tail -n 1
rm -rf $stage $top/dist
mkdir -p $stage/vekr
cp python/pyproject.toml python/setup.py python/README.md $stage/
(cd python && git ls-files vekr | xargs cp --parents -t ../$stage)
mkdir -p $stage/vekr/_native
cp include/vekr.h $stage/vekr/_native/
for library in libvekre9 libvekcore; do
  cp -L build/release/lib/$library.so.6.1 $stage/vekr/_native/
  strip --strip-unneeded $stage/vekr/_native/$library.so.6.1
done
(cd $stage && /usr/bin/python3 -m build --wheel --no-isolation --outdir ../dist . >../build.log 2>&1) || { cat $top/build.log; exit 1; }
ls $top/dist/*.whl
