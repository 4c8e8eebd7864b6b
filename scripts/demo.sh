#!/usr/bin/env bash
# Builds the library and its programs and shows what they do on real input. Pictures go to build/demo/.
# Debian packages that are missing, programs' and pictures' data among them, are named and installed; with
# --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" "${example_packages[@]}" "${demo_data[@]}" "${python_demo_packages[@]}"

cmake --preset release -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF -B build/demo-release >/dev/null
cmake --build build/demo-release
mkdir -p build/demo

bin=build/demo-release/bin
models=/usr/share/assimp/models
brain=/usr/share/mricron/templates/ch2.nii.gz

echo
echo "== meshes that none of us made become pictures: shadows, X-ray, textures, soft light, their own cameras"
$bin/vekr-render "$models/glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb" -o build/demo/engine.png \
  --save-tree build/demo/engine.tree
$bin/vekr-render "$models/glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb" -o build/demo/engine-xray.png --xray 24
$bin/vekr-render "$models/glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb" -o build/demo/engine-soft.png \
  --tree build/demo/engine.tree --samples 4 --soft-shadows 2 --ambient-occlusion 2 --size 640x480
$bin/vekr-render "$models/OBJ/spider.obj" -o build/demo/spider.jpg --samples 4 --soft-shadows 2 --ambient-occlusion 2 --size 640x480
$bin/vekr-render "$models/OBJ/cube_with_vertexcolors.obj" -o build/demo/coloured-vertices.png --size 320x240 --background '#202830'
$bin/vekr-render "$models/STL/Spider_binary.stl" -o build/demo/welded.png --up z --size 320x240
$bin/vekr-render "$models/Collada/duck.dae" --no-textures --camera 1 -o build/demo/camera-of-the-file.png --size 320x240
$bin/vekr-render "$models/glTF/CesiumMilkTruck/CesiumMilkTruck.gltf" -o build/demo/turn.png --turntable 4 --size 320x240

echo
echo "== a room lit by a panorama, through its spherical harmonics"
$bin/vekr-sh-light --sky build/demo/sky.hdr --coefficients build/demo/sky.csv
/usr/bin/python3 examples/render/room.py >build/demo/room.obj
$bin/vekr-render build/demo/room.obj -o build/demo/room.png --panorama build/demo/sky.hdr --panorama-turn 120 \
  --ambient-occlusion 12 --ambient 3 --bounces 0 --no-floor --smooth 40 --samples 4 --eye 5,1.7,4.4 --look-at 1.5,1,1.2 --fov 55 --size 640x480

echo
echo "== a brain template is turned in the world, behind a mask; two volumes come onto its grid, one of them labels"
templates=/usr/share/mricron/templates
$bin/vekr-volume warp "$brain" build/demo/brain-warp.nii.gz --rotate 10,5,20 --scale 1.1 --keep-header \
  --interpolation catmull-rom --mask "$templates/ch2bet.nii.gz" --preview build/demo/brain-warp.png --difference
$bin/vekr-volume warp "$templates/ch2better.nii.gz" build/demo/brain-like.nii.gz --like "$brain" \
  --interpolation mitchell --preview build/demo/brain-like.png
$bin/vekr-volume warp "$templates/AICHAmc.nii.gz" build/demo/brain-labels.nii.gz --like "$brain" --preview build/demo/brain-labels.png

echo
echo "== it is deformed, also by a displacement field, enlarged and smoothed"
$bin/vekr-volume remap "$brain" build/demo/brain-remap.nii.gz --interpolation linear --preview build/demo/brain-remap.png
/usr/bin/python3 scripts/demo_field.py build/demo/field.nii
$bin/vekr-volume remap "$brain" build/demo/brain-field.nii.gz --field build/demo/field.nii --like "$brain" \
  --interpolation catmull-rom --preview build/demo/brain-field.png --difference
$bin/vekr-volume resize "$brain" build/demo/brain-resize.nii.gz --factor 1.5,1.5,1.5 --interpolation mitchell \
  --preview build/demo/brain-resize.png
$bin/vekr-volume filter "$brain" build/demo/brain-filter.nii.gz --kernel gaussian:7 --preview build/demo/brain-filter.png

echo
echo "== the light of a sky becomes 25 coefficients and pictures again"
$bin/vekr-sh-light --sky build/demo/sky.png --reconstruction build/demo/sky-bands.png --irradiance build/demo/sky-irradiance.png

echo
echo "== a mesh with soft shadows, from Python"
VEKR_LIBRARY=$PWD/build/demo-release/lib/libvekre9.so.6.1 PYTHONPATH=python /usr/bin/python3 \
  python/examples/soft_shadows.py build/demo/python-soft-shadows.png

echo
echo "Look at the pictures:"
ls -1 build/demo/*.png build/demo/*.jpg
