#!/usr/bin/env bash
# vekr-volume in the world: grids of other volumes, transforms, displacement fields, frames, masks, labels. Argument: the program.
volume=$(realpath "$1")
here=$(cd "$(dirname "$0")" && pwd)
source "$here/check.sh"
source "$here/nifti.sh"
out=$work/out
mkdir "$out"
cd "$work" || exit 1

# Voxels that are turned, mirrored and of three widths; another grid that is none of it; a formula of the place.
turned="-1.4 -0.3 0.2 32  -0.3 1.2 -0.1 -24  -0.2 0.1 2 -20"
straight="1.5 0 0 -16  0 1.25 0 -12  0 0 1 -10"
formula="5 -3 4 100"
make in.nii f32 36x34x20 "$turned" "$formula"
make s16.nii s16 36x34x20 "$turned" "$formula"
make like.nii u8 20x18x22 "$straight" "0 0 0 0"
fill=(--fill -999 --threads 2)

# Onto another grid: the formula holds there, too, and the header is the other's.
for code in linear lagrange bspline catmull-rom mitchell; do
  accepts "$volume" warp in.nii "$out/o.nii" --like like.nii --interpolation $code "${fill[@]}" --preview "$out/o.png"
  # The cubics but for Mitchell's reproduce lines, other than at the source's edge, whose voxels are repeated.
  [ $code = mitchell ] && tolerance=0.5 || tolerance=0.01
  holds "$out/o.nii" f32 20x18x22 $tolerance 0.8 "$formula"
done
cmp -s <(head -c 328 like.nii | tail -c 48) <(head -c 328 "$out/o.nii" | tail -c 48) || wrong "--like: another place"
accepts "$volume" warp s16.nii "$out/o.nii" --like like.nii "${fill[@]}"
holds "$out/o.nii" s16 20x18x22 1.01 0.9 "$formula"
accepts "$volume" warp s16.nii "$out/o.nii" --like in.nii "${fill[@]}"
cmp -s <(tail -c +353 s16.nii) <(tail -c +353 "$out/o.nii") || wrong "an equal grid changes voxels"
accepts "$volume" warp s16.nii "$out/o.nii" --interpolation nearest --rotate 20,-10,5 "${fill[@]}"
# The header follows, so that the formula holds: within half a voxel along each axis.
holds "$out/o.nii" s16 36x34x20 12.9 0.6 "$formula"
accepts "$volume" warp in.nii "$out/o.nii" --scale 1.2,0.9,-1 --translate 3,2,-1 --rotate 20,-10,5 "${fill[@]}"
holds "$out/o.nii" f32 36x34x20 0.01 0.6 "$formula"
for type in u8 u16 s16 f32; do
  make t.nii $type 12x11x10 "2 0 0 0 0 2 0 0 0 0 2 0" "3 2 1 20"
  accepts "$volume" resize t.nii "$out/o.nii" --factor 2,1,0.5 --fill -999
  sides=24x11x5
  # Edges repeat the outermost voxels, a quarter of a voxel away.
  holds "$out/o.nii" $type $sides 1.01 0.75 "3 2 1 20"
done

# Transforms: p becomes (2 - y, x - 3, z + 1). The data move in the world if the grid stays: where p is now, (y + 3, 2 - x,
# z - 1) was.
moved="3 5 4 $((100 + 15 - 6 - 4))"
printf '# a turn\n0 -1 0 2\n1 0 0 -3\n0 0 1 1\n0 0 0 1\n' >world.txt
printf '0 1 0 3\n-1 0 0 2\n0 0 1 -1\n' >back.txt
itk='#Insight Transform File V1.0\n#Transform 0\nTransform: '
# From result to source, x to the left and y to the back.
printf "$itk"'AffineTransform_double_3_3\nParameters: 0 1 0 -1 0 0 0 0 1 -3 -2 -1\nFixedParameters: 0 0 0\n' >affine.tfm
printf "$itk"'Euler3DTransform_double_3_3\nParameters: 0 0 -1.5707963267948966 -3 -8 -1\nFixedParameters: 3 3 7 0\n' >euler.txt
printf "$itk"'VersorRigid3DTransform_double_3_3\nParameters: 0 0 -0.7071067811865476 -3 -2 -1\nFixedParameters: 0 0 0\n' >versor.tfm
printf "$itk"'CompositeTransform_double_3_3\n#Transform 1\nTransform: TranslationTransform_double_3_3\nParameters: -3 -2 -1\nFixedParameters:\n#Transform 2\nTransform: AffineTransform_double_3_3\nParameters: 0 1 0 -1 0 0 0 0 1 0 0 0\nFixedParameters: 0 0 0\n' >composite.tfm
for transform in world.txt affine.tfm euler.txt versor.tfm composite.tfm; do
  accepts "$volume" warp in.nii "$out/o.nii" --transform $transform --like like.nii "${fill[@]}"
  holds "$out/o.nii" f32 20x18x22 0.01 0.65 "$moved"
done
accepts "$volume" warp in.nii "$out/o.nii" --transform back.txt --inverse --like like.nii "${fill[@]}"
holds "$out/o.nii" f32 20x18x22 0.01 0.65 "$moved"
accepts "$volume" warp in.nii "$out/o.nii" --transform world.txt --keep-header "${fill[@]}"
holds "$out/o.nii" f32 36x34x20 0.01 0.5 "$moved"
accepts "$volume" warp in.nii "$out/o.nii" --transform world.txt "${fill[@]}"
holds "$out/o.nii" f32 36x34x20 0.01 0.5 "$formula"
# FSL's millimetres: between these two, x of the second is counted from its other end, as its voxels are right-handed.
make left.nii f32 20x18x22 "-1.5 0 0 12.5  0 1.25 0 -12  0 0 1 -10" "$formula"
make right.nii u8 20x18x22 "1.5 0 0 -16  0 1.25 0 -12  0 0 1 -10" "0 0 0 0"
printf '1 0 0 3  \n0 1 0 2.5  \n0 0 1 0  \n0 0 0 1  \n' >flirt.mat
accepts "$volume" warp left.nii "$out/o.nii" --transform flirt.mat --like right.nii "${fill[@]}"
holds "$out/o.nii" f32 20x18x22 0.01 0.7 "5 -3 4 $((100 + 15 + 7))"".5"

# What the library calls singular and isn't: turns of the axes, and scales that make next to nothing of a volume.
printf '0 1 0 0\n0 0 1 0\n1 0 0 0\n' >permutation.txt
accepts "$volume" warp in.nii "$out/o.nii" --matrix permutation.txt "${fill[@]}"
holds "$out/o.nii" f32 36x34x20 0.001 0.3 "$formula"
make odd.nii f32 9x9x9 "$straight" "$formula"
accepts "$volume" warp odd.nii "$out/o.nii" --scale 1e-4 "${fill[@]}" --keep-header
[ "$(tail -c +353 "$out/o.nii" | od -An -v -tf4 -w4 | grep -vc -- -999)" -eq 1 ] || wrong "more than the middle is left"
accepts "$volume" warp odd.nii "$out/o.nii" --scale 1e4 "${fill[@]}"
holds "$out/o.nii" f32 9x9x9 0.01 1 "$formula"
make axes.nii u8 34x20x36 "-0.3 0.2 -1.4 32  1.2 -0.1 -0.3 -24  0.1 2 -0.2 -20" "0 0 0 0"
accepts "$volume" warp in.nii "$out/o.nii" --like axes.nii "${fill[@]}"
holds "$out/o.nii" f32 34x20x36 0.001 1 "$formula"

# A displacement field on a grid of its own: d = (2 + y / 10, -1, z / 20), to the left, to the back and upwards.
VECTOR=1 INTENT=1007 make field.nii f32 14x14x14 "4 0 0 -26 0 4 0 -26 0 0 4 -26" "0 0.1 0 2" "0 0 0 -1" "0 0 0.05 0"
displaced="5 -3.5 4.2 $((100 - 10 - 3))"  # 5 (x - 2 - y / 10) - 3 (y + 1) + 4 (z + z / 20) + 100
accepts "$volume" remap in.nii "$out/o.nii" --field field.nii --like like.nii "${fill[@]}" --preview "$out/o.png" --difference
holds "$out/o.nii" f32 20x18x22 0.01 0.85 "$displaced"
accepts "$volume" remap in.nii "$out/o.nii" --field field.nii --interpolation catmull-rom "${fill[@]}"
holds "$out/o.nii" f32 14x14x14 0.02 0.1 "$displaced" # the outermost voxels are repeated
VECTOR=1 make ras.nii f32 14x14x14 "4 0 0 -26 0 4 0 -26 0 0 4 -26" "0 -0.05 0 -1" "0 0 0 0.5" "0 0 0.025 0"
accepts "$volume" remap in.nii "$out/o.nii" --field ras.nii --field-axes ras --strength 2 --like like.nii "${fill[@]}"
holds "$out/o.nii" f32 20x18x22 0.01 0.85 "$displaced"

# Frames, each by itself; they keep their number, and a filter takes them, too.
make four.nii s16 18x17x16 "$straight" "$formula" "2 1 0 -40" "0 0 1 7"
accepts "$volume" warp four.nii "$out/o.nii.gz" --like like.nii "${fill[@]}" --preview "$out/o.png" --difference
gzip -dc "$out/o.nii.gz" >"$out/o.nii"
holds "$out/o.nii" s16 20x18x22 1.01 0.5 "$formula" "2 1 0 -40" "0 0 1 7"
accepts "$volume" filter four.nii "$out/o.nii" --kernel box:3 --preview "$out/o.png" --difference
[ "$(head -c 56 "$out/o.nii" | od -An -td2 -j40 -N10 | tr -s ' ' x)" = x4x18x17x16x3 ] || wrong "a filter loses frames"
head -c $(($(stat -c %s four.nii) - 100)) four.nii >cut4.nii
refuses 1 "$volume" warp cut4.nii "$out/o.nii"

# A mask on a grid of its own: 0 beyond the plane x = 0.
make mask.nii u8 2x2x2 "40 0 0 -20 0 60 0 -30 0 0 60 -30" "0.025 0 0 0.5"
accepts "$volume" warp in.nii "$out/o.nii" --like like.nii --mask mask.nii "${fill[@]}"
holds "$out/o.nii" f32 20x18x22 0.01 0.4 "$formula"
inside=$(tail -c +353 "$out/o.nii" | od -An -v -tf4 -w80 | awk '$10 != -999 && $1 == -999 { ++rows } END { print rows + 0 }')
[ "$inside" -eq 0 ] || wrong "a mask leaves $inside rows on its wrong side"
accepts "$volume" resize in.nii "$out/o.nii" --factor 0.5 --mask mask.nii
accepts "$volume" filter s16.nii "$out/o.nii" --mask mask.nii

# Labels stay labels unless forced.
INTENT=1002 make labels.nii u8 20x18x17 "$straight" "3 1 0 60"
accepts "$volume" warp labels.nii "$out/o.nii" --rotate 0,0,30
[ -z "$(comm -13 <(tail -c +353 labels.nii | od -An -v -tu1 -w1 | sort -u) <(tail -c +353 "$out/o.nii" | od -An -v -tu1 -w1 | sort -u | grep -v ' 0$'))" ] ||
  wrong "labels that weren't there"
refuses 1 "$volume" warp labels.nii "$out/o.nii" --interpolation linear
refuses 1 "$volume" filter labels.nii "$out/o.nii"
refuses 2 "$volume" resize in.nii "$out/o.nii" --factor 2 --labels --interpolation mitchell
accepts "$volume" warp labels.nii "$out/o.nii" --interpolation linear --force

accepts "$volume" warp in.nii "$out/o.nii" --quiet
[ ! -s stdout ] || wrong "--quiet talks: $(cat stdout)"
accepts "$volume" --version
grep -q '^vekr-volume [0-9.]*$' stdout || wrong "--version says $(cat stdout)"

# Bad input of each kind: one line that names the file.
names() { # FILE ARGUMENT...: as refuses 1, and the line names the file
  local file=$1
  shift
  refuses 1 "$@"
  grep -q "$file" stderr || wrong "doesn't name $file: $(cat stderr)"
}
printf '1 2 3\n' >short.txt
printf '1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 2\n' >fourth.txt
printf '1 0 0 0\n0 1 0 nan\n0 0 1 0\n' >nan.txt
printf '1 0 0 0\n1 0 0 0\n0 0 1 0\n' >singular.txt
printf "$itk"'BSplineTransform_double_3_3\nParameters: 0 1\n' >bspline.tfm
printf "$itk"'AffineTransform_double_3_3\nParameters: 0 1 0\n' >few.tfm
printf "$itk"'Euler2DTransform_double_2_2\nParameters: 0 1 0\n' >flat.tfm
printf '#Insight Transform File V1.0\n' >none.tfm
head -c 300 in.nii >binary.mat
for file in short.txt fourth.txt nan.txt singular.txt bspline.tfm few.tfm flat.tfm none.tfm binary.mat absent.txt; do
  names $file "$volume" warp in.nii "$out/o.nii" --transform $file
done
make far.nii u8 4x4x4 "1 0 0 500 0 1 0 0 0 0 1 0" "0 0 0 1"
names far.nii "$volume" warp in.nii "$out/o.nii" --like far.nii
names far.nii "$volume" warp in.nii "$out/o.nii" --mask far.nii
names cut4.nii "$volume" remap in.nii "$out/o.nii" --field cut4.nii
names in.nii "$volume" remap like.nii "$out/o.nii" --field in.nii
names absent.nii "$volume" warp in.nii "$out/o.nii" --like absent.nii
refuses 2 "$volume" warp in.nii "$out/o.nii" --like like.nii --keep-header
refuses 2 "$volume" warp in.nii "$out/o.nii" --transform world.txt --rotate 1,2,3
refuses 2 "$volume" warp in.nii "$out/o.nii" --difference
refuses 2 "$volume" warp in.nii "$out/o.nii" --fill nan
cp like.nii same.nii
refuses 2 "$volume" warp in.nii same.nii --like same.nii
cmp -s like.nii same.nii || wrong "overwrites the other volume"

finish
