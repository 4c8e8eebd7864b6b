#!/usr/bin/env bash
# Builds the library and its programs and shows what they do on real input. Pictures go to build/demo/.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing "${build_packages[@]}" "${example_packages[@]}" "${demo_data[@]}"

cmake --preset release -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF -B build/demo-release >/dev/null
cmake --build build/demo-release
mkdir -p build/demo

models=/usr/share/assimp/models
echo
echo "== a mesh that none of us made becomes a picture"
build/demo-release/bin/vekr-render "$models/glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb" -o build/demo/engine.png

echo
echo "Look at the pictures:"
ls -1 build/demo/*.png
