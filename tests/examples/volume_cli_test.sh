#!/usr/bin/env bash
# vekr-volume from outside. Argument: the program.
volume=$1
source "$(dirname "$0")/check.sh"
out=$work/out
mkdir "$out"

# makeVolume FILE DATATYPE BITS DIMENSIONS W H D: a NIfTI file with voxels that differ from each other.
makeVolume() {
  perl -e '
    my ($type, $bits, $dims, $w, $h, $d) = @ARGV;
    my $header = pack("l<", 348) . "\0" x 36;
    $header .= pack("s<8", $dims, $w, $h, $d, $dims > 3 ? 2 : 1, 1, 1, 1);
    $header .= "\0" x 14 . pack("s<s<s<", $type, $bits, 0);
    $header .= pack("f<8", 1, 1.5, 2, 2.5, 1, 1, 1, 1) . pack("f<", 352);
    $header .= "\0" x (344 - length $header) . "n+1\0" . "\0" x 4;
    my $count = $w * $h * $d * ($dims > 3 ? 2 : 1);
    my %letter = (2 => "C", 4 => "s<", 512 => "S<", 16 => "f<");
    print $header, pack("$letter{$type}*", map { ($_ * 37) % 251 } 0 .. $count - 1);
  ' "$2" "$3" "$4" "$5" "$6" "$7" >"$1"
}
makeVolume "$work/u8.nii" 2 8 3 20 18 17
makeVolume "$work/s16.nii" 4 16 3 20 18 17
makeVolume "$work/u16.nii" 512 16 3 20 18 17
makeVolume "$work/f32.nii" 16 32 3 20 18 17
makeVolume "$work/four.nii" 16 32 4 8 8 8
gzip -c "$work/f32.nii" >"$work/f32.nii.gz"
head -c $(($(stat -c %s "$work/f32.nii.gz") / 2)) "$work/f32.nii.gz" >"$work/cut.nii.gz"
head -c 2000 "$work/u8.nii" >"$work/cut.nii"
printf 'no volume' >"$work/text.nii"

# sizeOf FILE: its dimensions.
sizeOf() { case $1 in *.gz) gzip -dc "$1" ;; *) cat "$1" ;; esac | od -An -td2 -j42 -N6 | tr -s ' ' x; }

for type in u8 u16 f32; do
  accepts "$volume" warp "$work/$type.nii" "$out/w.nii.gz" --rotate 5,10,20 --preview "$out/w.png"
  [ "$(sizeOf "$out/w.nii.gz")" = x20x18x17 ] || wrong "warp changes the size: $(sizeOf "$out/w.nii.gz")"
  accepts "$volume" remap "$work/$type.nii" "$out/r.nii" --interpolation mitchell --preview "$out/r.png"
  accepts "$volume" resize "$work/$type.nii" "$out/z.nii" --factor 2,1,0.5 --interpolation lagrange --preview "$out/z.png"
  [ "$(sizeOf "$out/z.nii")" = x40x18x9 ] || [ "$(sizeOf "$out/z.nii")" = x40x18x8 ] ||
    wrong "resize gives $(sizeOf "$out/z.nii")"
  accepts "$volume" filter "$work/$type.nii" "$out/f.nii.gz" --kernel gaussian:5 --preview "$out/f.png"
done
accepts "$volume" warp "$work/f32.nii.gz" "$out/one.nii" --rotate 3,4,5 --threads 1
accepts "$volume" warp "$work/f32.nii" "$out/two.nii" --rotate 3,4,5 --threads 1
cmp -s "$out/one.nii" "$out/two.nii" || wrong "a compressed volume gives another result"
accepts "$volume" --help

for input in absent.nii text.nii cut.nii cut.nii.gz four.nii; do
  refuses 1 "$volume" warp "$work/$input" "$out/o.nii"
  refuses 1 "$volume" resize "$work/$input" "$out/o.nii" --factor 2
  refuses 1 "$volume" filter "$work/$input" "$out/o.nii" --kernel sharpen
done
printf '1 0 0 0\n1 0 0 0\n0 0 1 0\n' >"$work/singular.txt"
refuses 1 "$volume" warp "$work/f32.nii" "$out/o.nii" --matrix "$work/singular.txt"
refuses 1 "$volume" warp "$work/f32.nii" "$out/o.nii" --translate 9000,0,0
refuses 1 "$volume" warp "$work/f32.nii" "$work/no/such/folder/o.nii"

refuses 2 "$volume"
refuses 2 "$volume" warp "$work/f32.nii"
refuses 2 "$volume" warp "$work/f32.nii" "$out/o.nii" --interpolation other
refuses 2 "$volume" resize "$work/f32.nii" "$out/o.nii"

finish
