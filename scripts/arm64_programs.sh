#!/usr/bin/env bash
# The programs on x86-64 and, under qemu, for 64-bit ARM, over the same input: every file that they write, and all that they print
# but times, must be the same to the last byte.
#   scripts/arm64_programs.sh      builds both, in build/programs and, against the root of scripts/arm64_root.sh, in build/cross-root
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" "${cross_packages[@]}" "${example_packages[@]}" "${demo_data[@]}"
[ -d build/arm64-root ] || scripts/arm64_root.sh
programs=(vekr-render vekr-volume vekr-sh-light)
cmake --preset release -B build/programs -DBUILD_TESTING=OFF -DVEKR_BUILD_BENCHMARKS=OFF >/dev/null
cmake --build build/programs --target "${programs[@]}"
cmake --preset cross-aarch64 -B build/cross-root -DVEKR_ARM64_ROOT="$PWD/build/arm64-root" -DBUILD_TESTING=OFF -DVEKR_BUILD_EXAMPLES=ON >/dev/null
cmake --build build/cross-root --target "${programs[@]}"

models=/usr/share/assimp/models templates=/usr/share/mricron/templates
work=build/programs-compared
rm -rf "$work"
mkdir -p "$work"/{x86,arm}
repository=$PWD runs=0

# both NAME PROGRAM ARGUMENT...: in a folder for each processor; what is printed goes to NAME.txt there.
both() {
  local name=$1 program=$2
  shift 2
  runs=$((runs + 1))
  (cd "$work/x86" && "$repository/build/programs/bin/$program" "$@" --quiet --threads 2 >"$name.txt")
  (cd "$work/arm" && qemu-aarch64 -L "$repository/build/arm64-root" "$repository/build/cross-root/bin/$program" \
    "$@" --quiet --threads 2 >"$name.txt")
}
render() { both "$1" vekr-render --size 160x120 "${@:2}"; }
light() { both "$1" vekr-sh-light "${@:2}"; }
volume() { both "$1" vekr-volume "${@:2}"; }

# Meshes that lie in the file as they are drawn: where nodes turn them, as in glTF and Collada, assimp reckons, whose build for ARM
# joins multiplications and additions, and vertices and normals differ in their last bits before the library sees them.
light sky --sky sky.hdr --coefficients sky.csv --irradiance irradiance.hdr --reconstruction reconstruction.png --basis basis.png --print
light direct --evaluator direct --bands 15 --coefficients direct.json --reconstruction direct.exr --size 128x64
light again sky.hdr --coefficients again.json --irradiance again.png
render built-in -o built-in.png
render spider "$models/OBJ/spider.obj" -o spider.jpg --samples 4 --bounces 3 --save-tree spider.tree
render mapped "$models/OBJ/spider.obj" -o mapped.hdr --tree spider.tree --soft-shadows 2 --ambient-occlusion 2
render boat "$models/PLY/Wuson.ply" -o boat.png --save-tree boat.tree
render xray "$models/PLY/Wuson.ply" -o xray.ppm --xray 24 --builder simple --save-tree simple.tree
render colours "$models/OBJ/cube_with_vertexcolors.obj" -o colours.png --background '#202830'
render welded "$models/STL/Spider_binary.stl" -o welded.exr --up z
render turn "$models/OFF/Wuson.off" -o turn.png --turntable 3 --samples 1 --smooth 30
render panorama "$models/PLY/Wuson.ply" -o panorama.hdr --panorama sky.hdr --panorama-turn 120 --ambient-occlusion 4 --no-floor
for interpolation in nearest linear lagrange bspline catmull-rom mitchell; do
  volume "warp-$interpolation" warp "$templates/ch2.nii.gz" "warp-$interpolation.nii" --rotate 10,20,30 --scale 0.9 \
    --interpolation "$interpolation"
done
volume like warp "$templates/ch2.nii.gz" like.nii.gz --like "$templates/inia19-t1-brain.nii.gz" --preview like.png
volume labels warp "$templates/aal.nii.gz" labels.nii --rotate 5,0,0
volume twist remap "$templates/inia19-t1-brain.nii.gz" twist.nii --deformation twist --interpolation bspline --preview twist.png --difference
volume bulge remap "$templates/ch2bet.nii.gz" bulge.nii --deformation bulge --interpolation linear
volume smaller resize "$templates/ch2.nii.gz" smaller.nii --factor 0.7,0.6,0.5 --interpolation lagrange
volume larger resize "$templates/inia19-t1-brain.nii.gz" larger.nii --spacing 0.7 --interpolation linear
volume smooth filter "$templates/ch2.nii.gz" smooth.nii --kernel gaussian:5
volume edges filter "$templates/ch2.nii.gz" edges.nii --kernel sobel-x --border reflect

diff -rq "$work/x86" "$work/arm" && echo "$runs runs, $(find "$work/x86" -type f | wc -l) files: the same on both"
