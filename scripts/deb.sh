#!/usr/bin/env bash
# Makes the Debian packages in build/deb/, asks lintian, installs them into a clean root and compiles a program there.
#   scripts/deb.sh            all of it (the clean root is fetched from the Debian mirror of this machine; needs root)
#   scripts/deb.sh --no-root  packages and lintian only
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" "${example_packages[@]}" dpkg-dev fakeroot lintian mmdebstrap

built=build/deb
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
# Debian's folders; no paths to libraries, as the linker knows where they lie. The same code as in the release build.
cmake --preset release -B $built -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF \
  -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_INSTALL_LIBDIR="lib/$multiarch" -DCMAKE_SKIP_INSTALL_RPATH=ON \
  -DVEKR_INSTALL_ZSHDIR=share/zsh/vendor-completions \
  -DVEKR_INSTALL_PYTHON=ON -DVEKR_INSTALL_PYTHONDIR=lib/python3/dist-packages \
  -DCMAKE_SHARED_LINKER_FLAGS=-Wl,-z,relro,-z,now -DCMAKE_EXE_LINKER_FLAGS=-Wl,-z,relro,-z,now >/dev/null
cmake --build $built | tail -n 1
rm -f $built/*.deb
(umask 022 && cd $built && cpack -G DEB >cpack.log) || { cat $built/cpack.log; exit 1; }
packages=("$PWD/$built"/{libvekre9,libvekr-dev,vekr-tools,python3-vekr}_*.deb)
ls -l "${packages[@]}"

# Everything that lintian says must be among what packaging/expected says of the licence.
lintian --allow-root --tag-display-limit 0 "${packages[@]}" | tee $built/lintian.log || true
if grep '^[EW]:' $built/lintian.log | grep -vxFf packaging/expected; then
  echo "lintian has more to say than packaging/expected" >&2
  exit 1
fi
[ "${arguments[0]:-}" != --no-root ] || exit 0

# A root with nothing but what the packages ask for, a C compiler, CMake and pkg-config. There the Python package is tried by
# a short program, with the library of libvekre9.
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
consumer=tests/install/consumer
script=tests/install/python/try_python.py
mmdebstrap --quiet --variant=apt --include=gcc,libc6-dev,make,cmake,pkg-config \
  --customize-hook='mkdir -p "$1/tmp/vekr"' \
  --customize-hook="cp ${packages[*]} $consumer/* $script \"\$1/tmp/vekr/\"" \
  --customize-hook='chroot "$1" sh -c "apt-get install -q -y --no-install-recommends /tmp/vekr/*.deb"' \
  --customize-hook="chroot \"\$1\" sh -exc '
    cd /tmp/vekr
    cmake -S . -B by-cmake && cmake --build by-cmake && by-cmake/consumer
    gcc -std=c99 -Wall -Wextra -Werror consumer.c -o by-pkg-config \$(pkg-config --cflags --libs vekr) && ./by-pkg-config
    ldd by-pkg-config
    vekr-render -o knot.png --size 96x72 && test -s knot.png
    vekr-sh-light --print >/dev/null
    vekr-volume --help >/dev/null
    test -s /usr/share/man/man1/vekr-volume.1.gz
    python3 try_python.py
    apt-get remove -q -y python3-vekr && ! test -e /usr/lib/python3/dist-packages/vekr
    apt-get remove -q -y libvekre9 && ! ls /usr/lib/*/libvek*'" \
  bookworm "$root" >$built/root.log 2>&1 || { tail -n 40 $built/root.log; exit 1; }
echo "installed, compiled, run and removed in a clean root"
