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

for input in absent.nii text.nii cut.nii cut.nii.gz; do
  refuses 1 "$volume" warp "$work/$input" "$out/o.nii"
  refuses 1 "$volume" resize "$work/$input" "$out/o.nii" --factor 2
  refuses 1 "$volume" filter "$work/$input" "$out/o.nii" --kernel sharpen
done
printf '1 0 0 0\n1 0 0 0\n0 0 1 0\n' >"$work/singular.txt"
refuses 1 "$volume" warp "$work/f32.nii" "$out/o.nii" --matrix "$work/singular.txt"
refuses 1 "$volume" warp "$work/f32.nii" "$out/o.nii" --translate 9000,0,0
refuses 1 "$volume" warp "$work/f32.nii" "$work/no/such/folder/o.nii"

printf '1e300 0 0 0\n0 1e300 0 0\n0 0 1e300 0\n' >"$work/absurd.txt"
refuses 1 "$volume" warp "$work/f32.nii" "$out/o.nii" --matrix "$work/absurd.txt"
refuses 1 "$volume" warp "$work" "$out/o.nii"
grep -q 'is a directory' "$work/stderr" || wrong "calls a folder: $(cat "$work/stderr")"
refuses 1 "$volume" warp /dev/null "$out/o.nii"
grep -q 'not a regular file' "$work/stderr" || wrong "calls a device: $(cat "$work/stderr")"

# Headers that are damaged. patched FILE OFFSET TEMPLATE VALUE: the volume with other bytes in its header.
patched() {
  perl -e 'my ($offset, $template, @value) = @ARGV; local $/; my $all = <STDIN>; my $new = pack($template, @value);
    substr($all, $offset, length $new) = $new; print $all;' "$2" "$3" "${@:4}" <"$work/f32.nii" >"$1"
}
bad=$work/bad.nii
badHeader() { # OFFSET TEMPLATE VALUE...
  patched "$bad" "$@"
  refuses 1 "$volume" warp "$bad" "$out/o.nii"
  grep -q "^vekr-volume: $bad" "$work/stderr" || wrong "header $*: $(cat "$work/stderr")"
}
for side in 0 -5; do for axis in 1 2 3; do badHeader $((40 + 2 * axis)) 's<' "$side"; done; done
for dims in 0 -1 8; do badHeader 40 's<' "$dims"; done
badHeader 42 's<s<s<' 32767 32767 32767 # more voxels than the file has bytes
badHeader 72 's<' 8                     # bits of a voxel
badHeader 70 's<' 0                     # type
badHeader 70 's<' 1234
for offset in 1 -352 400.5 1e30 nan inf; do badHeader 108 'f<' "$offset"; done
badHeader 0 'l<' 347
badHeader 0 'l<' 540
mended() { # OFFSET TEMPLATE VALUE...: a warning, and what is written is finite
  patched "$bad" "$@"
  rm -f "$out/o.nii"
  "$volume" warp "$bad" "$out/o.nii" --rotate 1,2,3 >"$work/stdout" 2>"$work/stderr" || wrong "header $*: $(cat "$work/stderr")"
  [ "$(grep -c "^warning: $bad" "$work/stderr")" -eq 1 ] && [ "$(wc -l <"$work/stderr")" -eq 1 ] ||
    wrong "header $*: $(cat "$work/stderr")"
  head -c 348 "$out/o.nii" | perl -e 'local $/; my $h = <STDIN>;
    exit 1 if grep { !($_ - $_ == 0) } unpack("f<8", substr $h, 76, 32), unpack("f<18", substr $h, 256, 72);' ||
    wrong "header $*: writes numbers that are not finite"
}
mended 108 'f<' 0
mended 72 's<' 0
for spacing in 0 -2 nan inf; do mended 80 'f<' "$spacing"; done
mended 252 's<s<f<f<f<f<f<f<' 1 0 nan 0 0 0 0 0
mended 252 's<s<f<f<f<f<f<f<' 1 0 0.9 0.9 0.9 0 0 0
mended 254 's<' 1 # a matrix of zeros
mended 254 's<x[24]f<12' 1 nan 0 0 0 0 1 0 0 0 0 1 0
patched "$bad" 108 'f<' 0
"$volume" warp "$bad" "$out/a.nii" 2>/dev/null
"$volume" warp "$work/f32.nii" "$out/b.nii" 2>/dev/null
cmp -s "$out/a.nii" "$out/b.nii" || wrong "voxels without a told place are not those behind the header"

# What can't be both: files that are the same, a preview that fails, an output that nobody reads.
cp "$work/f32.nii" "$work/in.nii"
ln -s in.nii "$work/soft.nii"
ln "$work/in.nii" "$work/hard.nii"
for name in in soft hard; do
  refuses 2 "$volume" warp "$work/in.nii" "$out/o.nii" --preview "$work/$name.nii"
done
refuses 2 "$volume" warp "$work/in.nii" "$out/o.nii" --preview "$out/../out/o.nii"
cmp -s "$work/in.nii" "$work/f32.nii" || wrong "a preview overwrites the input"
refuses 1 "$volume" warp "$work/in.nii" "$out/o.nii" --preview "$work/no/such/folder/p.png"
refuses 1 "$volume" warp "$work/in.nii" "$out/o.nii" --preview /dev/null
deaf "$volume" warp "$work/in.nii" "$out/o.nii" --preview "$out/p.png"
refuses 1 bash -c "ulimit -f 1; exec '$volume' warp '$work/in.nii' '$out/o.nii'"
accepts "$volume" warp "$work/in.nii" "$work/in.nii" # in place
mkdir "$work/kept"
rm -f "$out"/*
ln -s ../kept/o.nii "$out/o.nii"
accepts "$volume" warp "$work/f32.nii" "$out/o.nii"
[ -L "$out/o.nii" ] && [ -f "$work/kept/o.nii" ] || wrong "replaces a link instead of what it leads to"

# Wrong usage: status 2.
for value in nan,0,0 0,inf,0 0,0,1e300 1,2 x,0,0; do
  refuses 2 "$volume" warp "$work/f32.nii" "$out/o.nii" "--rotate=$value"
  refuses 2 "$volume" warp "$work/f32.nii" "$out/o.nii" "--translate=$value"
done
for value in nan inf 0 -0 1e30 1,2 1,1,nan; do
  refuses 2 "$volume" warp "$work/f32.nii" "$out/o.nii" "--scale=$value"
  refuses 2 "$volume" resize "$work/f32.nii" "$out/o.nii" "--factor=$value"
  refuses 2 "$volume" resize "$work/f32.nii" "$out/o.nii" "--spacing=$value"
done
for value in nan inf -inf 1e30; do refuses 2 "$volume" remap "$work/f32.nii" "$out/o.nii" "--strength=$value"; done
for value in 4294967297x1x1 1x1 1x1x1x1 0x1x1 1x1x-1 40000x1x1; do
  refuses 2 "$volume" resize "$work/f32.nii" "$out/o.nii" --size "$value"
done
for value in 0 00 -0 0x0 -2147483648 4294967296 1.5 nan; do
  refuses 2 "$volume" filter "$work/f32.nii" "$out/o.nii" "--divisor=$value"
done
refuses 2 "$volume" filter "$work/f32.nii" "$out/o.nii" --kernel gaussian:4
refuses 2 "$volume" warp "$work/f32.nii" "$out/o.nii" --region 0,0,0,0,1,1
refuses 2 "$volume" warp "$work/f32.nii" "$out/o.png"
for value in -1 1025 4294967297 1.5; do
  refuses 2 "$volume" warp "$work/f32.nii" "$out/o.nii" --threads "$value"
  [ "$(wc -c <"$work/stderr")" -lt 200 ] || wrong "a long story about threads"
done
refuses 2 "$volume"
refuses 2 "$volume" warp "$work/f32.nii"
refuses 2 "$volume" warp "$work/f32.nii" "$out/o.nii" --interpolation other
refuses 2 "$volume" resize "$work/f32.nii" "$out/o.nii"

finish
