#!/usr/bin/env bash
# Fetches Debian's 64-bit ARM packages of what programs and benchmarks link to, with all that those need, and unpacks them into a
# folder: nothing is installed, so that nothing of this machine's own packages changes. The cross build takes it as its root:
#   scripts/arm64_root.sh              into build/arm64-root
#   cmake --preset cross-aarch64 -B build/cross-root -DVEKR_ARM64_ROOT=$PWD/build/arm64-root -DVEKR_BUILD_EXAMPLES=ON -DVEKR_BUILD_BENCHMARKS=ON
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
root=$PWD/build/arm64-root
state=$PWD/build/arm64-packages
mkdir -p "$root" "$state"/{lists/partial,archives/partial}
: >"$state/status"
as_arm64=(apt-get -q -o APT::Architecture=arm64 -o APT::Architectures=arm64 -o Dir::State::Lists="$state/lists"
  -o Dir::State::status="$state/status" -o Dir::Cache::Archives="$state/archives" -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache=
  -o Debug::NoLocking=true)
"${as_arm64[@]}" update >/dev/null
"${as_arm64[@]}" install -y --download-only --no-install-recommends libc6-dev libstdc++6 libgomp1 libbenchmark-dev libgtest-dev libomp5-14 \
  "${example_packages[@]}" >/dev/null
for package in "$state"/archives/*.deb; do dpkg-deb -x "$package" "$root"; done
# Links to places of the root as if it were "/" would lead to this machine's.
find "$root" -type l -lname '/*' -printf '%p %l\n' | while read -r link target; do ln -sfnr "$root$target" "$link"; done
# What clang links to: libomp-14-dev, which has this link, would bring all of LLVM.
ln -sfn libomp.so.5 "$root/usr/lib/aarch64-linux-gnu/libomp.so"
# Some packages tell CMake where they lie in "/usr" itself.
find "$root/usr/lib" -name '*.cmake' -exec sed -i -E "s#([\";:])/usr/#\1$root/usr/#g" {} +
du -sh "$root"
