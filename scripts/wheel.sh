#!/usr/bin/env bash
# Makes build/wheel/dist/vekr-...-py3-none-linux_x86_64.whl, which holds the package and both libraries, and on request a
# Debian package of the same files.
#   scripts/wheel.sh          the wheel
#   scripts/wheel.sh --deb    build/wheel/python3-vekr_..._amd64.deb too
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

if [ "${1:-}" = --deb ]; then
  root=$top/deb
  version=6.1-1
  rm -rf $root
  mkdir -p $root/DEBIAN $root/usr/lib/python3/dist-packages $root/usr/share/doc/python3-vekr
  cp -r $stage/vekr $root/usr/lib/python3/dist-packages/
  cp python/README.md $root/usr/share/doc/python3-vekr/
  cat >$root/DEBIAN/control <<CONTROL
Package: python3-vekr
Version: $version
Section: python
Priority: optional
Architecture: amd64
Depends: python3 (>= 3.9), python3-cffi-backend, python3-cffi, python3-numpy, libgomp1, libc6
Suggests: python3-tqdm, python3-dask, python3-distributed, python3-zarr
Maintainer: vekr developers <vekr@localhost>
Description: rays, spherical harmonics and volumes, the same to the last bit on every run
 Resampling and filtering of volumes, ray intersection with triangle meshes, and real
 spherical harmonics, on numpy arrays. Results are the same on every run and thread count.
CONTROL
  dpkg-deb --root-owner-group --build $root $top/python3-vekr_${version}_amd64.deb
fi
