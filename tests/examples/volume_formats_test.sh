#!/usr/bin/env bash
# vekr-volume and files other than NIfTI. Argument: the program, built with the Insight toolkit.
volume=$(realpath "$1")
here=$(cd "$(dirname "$0")" && pwd)
source "$here/check.sh"
source "$here/nifti.sh"
out=$work/out
mkdir "$out"
cd "$work" || exit 1

turned="-1.4 -0.3 0.2 32  -0.3 1.2 -0.1 -24  -0.2 0.1 2 -20"
formula="5 -3 4 100"
make in.nii s16 36x34x20 "$turned" "$formula"
make float.nii f32 12x11x10 "$turned" "$formula"
make like.nii u8 20x18x22 "1.5 0 0 -16 0 1.25 0 -12 0 0 1 -10" "0 0 0 0"

# There and back: the same voxels at the same place; as a grid they serve, too.
for ending in nrrd mha; do
  accepts "$volume" warp in.nii "$out/o.$ending" --interpolation nearest
  accepts "$volume" warp "$out/o.$ending" "$out/o.nii" --interpolation nearest
  cmp -s <(tail -c +353 in.nii) <(tail -c +353 "$out/o.nii") || wrong "$ending changes voxels"
  holds "$out/o.nii" s16 36x34x20 0.6 1 "$formula"
  accepts "$volume" warp like.nii "$out/like.$ending"
  accepts "$volume" warp "$out/o.$ending" "$out/o.nii" --like "$out/like.$ending" --fill -999
  holds "$out/o.nii" s16 20x18x22 1.01 0.8 "$formula"
done
# What the headers say, x to the left and y to the back.
accepts "$volume" warp float.nii "$out/o.nrrd"
grep -aq '^space: left-posterior-superior' "$out/o.nrrd" || wrong "nrrd: $(head -c 400 "$out/o.nrrd" | head -12)"
grep -aq '^space origin: (-32,24,-20)' "$out/o.nrrd" || wrong "nrrd: $(grep -a 'space origin' "$out/o.nrrd")"
# Frames, and vectors as a field of displacements.
make four.nii s16 8x7x6 "1 0 0 0 0 1 0 0 0 0 1 0" "1 2 3 4" "2 1 0 0" "0 0 1 0"
accepts "$volume" warp four.nii "$out/four.mha"
accepts "$volume" warp "$out/four.mha" "$out/four.nii"
holds "$out/four.nii" s16 8x7x6 0.6 1 "1 2 3 4" "2 1 0 0" "0 0 1 0"
VECTOR=1 make field.nii f32 14x14x14 "4 0 0 -26 0 4 0 -26 0 0 4 -26" "0 0.1 0 2" "0 0 0 -1" "0 0 0.05 0"
for ending in mha nrrd; do
  accepts "$volume" warp field.nii "$out/field.$ending"
  accepts "$volume" remap in.nii "$out/a.nii" --field "$out/field.$ending" --like like.nii
  accepts "$volume" remap in.nii "$out/b.nii" --field field.nii --like like.nii
  cmp -s "$out/a.nii" "$out/b.nii" || wrong "a field in $ending displaces otherwise"
done

# A series: to the right and to the front the formula is the same with other signs.
mkdir series two gap
for i in 1 2 3 4 5; do
  perl "$here/dicom.pl" slice series/s$((6 - i)).dcm $i 1.2.3.4 12x10 "-6 -4 $((2 * i))" 1.5 "-5 3 4 100"
  perl "$here/dicom.pl" slice two/$i.dcm $i 1.2.3.$((i % 2 + 4)) 12x10 "-6 -4 $((2 * i))" 1.5 "1 1 1 1"
  perl "$here/dicom.pl" slice gap/$i.dcm $i 1.2.3.4 12x10 "-6 -4 $((i * i))" 1.5 "1 1 1 1"
done
accepts "$volume" warp series "$out/o.nii" --interpolation nearest
holds "$out/o.nii" s16 12x10x5 0.6 1 "$formula"
accepts "$volume" warp series/s1.dcm "$out/o.nii"
holds "$out/o.nii" s16 12x10x1 0.6 1 "$formula"
perl "$here/dicom.pl" tiff stack.tif 9x8x7
accepts "$volume" resize stack.tif "$out/o.nii" --factor 1
[ "$(tail -c +353 "$out/o.nii" | od -An -v -tu1 -w9 | sed -n '19p' | tr -s ' ')" = " 12 13 14 15 16 17 18 19 20" ] ||
  wrong "tiff: $(tail -c +353 "$out/o.nii" | od -An -v -tu1 -w9 | sed -n '19p')"

# What is damaged, cut or something else: one line that names it.
names() {
  refuses 1 "$volume" warp "$1" "$work/out/o.nii"
  grep -q "^vekr-volume: $1: ." stderr || wrong "$1: $(cat stderr)"
}
cp "$out/o.nrrd" whole.nrrd 2>/dev/null || "$volume" warp float.nii whole.nrrd >stdout
"$volume" warp float.nii whole.mha >stdout
cp series/s1.dcm whole.dcm
cp stack.tif whole.tif
for ending in nrrd mha dcm tif; do
  for bytes in 0 3 60 400; do
    head -c $bytes whole.$ending >cut.$ending
    names cut.$ending
  done
  head -c $(($(stat -c %s whole.$ending) - 30)) whole.$ending >cut.$ending
  names cut.$ending
  head -c 3000 /dev/zero >zeros.$ending
  names zeros.$ending
  names absent.$ending
done
sed 's/^sizes:.*/sizes: 30000 30000 30000/' whole.nrrd >huge.nrrd
sed 's/^DimSize =.*/DimSize = 30000 30000 30000/' whole.mha >huge.mha
sed 's/^space directions:.*/space directions: (0,0,0) (0,0,0) (0,0,0)/' whole.nrrd >flat.nrrd
for file in huge.nrrd huge.mha flat.nrrd two gap out; do names $file; done
refuses 2 "$volume" warp in.nii "$work/out/o.dcm"
refuses 2 "$volume" warp in.nii "$work/out/o.tif"
refuses 1 "$volume" warp in.nii "$work/no/such/o.nrrd"
refuses 1 bash -c "ulimit -f 1; exec '$volume' warp in.nii '$work/out/o.nrrd'"
deaf "$volume" warp in.nii "$work/out/o.mha"

finish
