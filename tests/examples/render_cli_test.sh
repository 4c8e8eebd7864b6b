#!/usr/bin/env bash
# vekr-render from outside. Argument: the program.
render=$1
source "$(dirname "$0")/check.sh"
out=$work/out/picture.png
mkdir "$work/out"

cat >"$work/quad.obj" <<'OBJ'
v 0 0 0
v 1 0 0
v 1 1 0
v 0 1 0.5
f 1 2 3 4
OBJ
printf 'v 0 0 0\nv 1 0 0\nl 1 2\n' >"$work/line.obj"
printf 'v nan 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n' >"$work/nan.obj"
printf 'no mesh at all' >"$work/text.obj"
head -c 3000 /dev/urandom >"$work/noise.ply"

# The good ways.
accepts "$render" "$work/quad.obj" -o "$out" --size 70x50 --samples 1
isPicture "$out" 70 50
grep -q ' 2 triangles' "$work/stdout" || wrong "does not tell the triangles"
grep -q 'million a second' "$work/stdout" || wrong "does not tell the rays"
for builder in psah simple; do
  accepts "$render" "$work/quad.obj" -o "$work/out/$builder.png" --size 64x64 --samples 1 --builder "$builder"
done
cmp -s "$work/out/psah.png" "$work/out/simple.png" || wrong "the builders give different pictures"
accepts "$render" -o "$work/out/one.png" --size 64x48 --samples 1 --threads 1
accepts "$render" -o "$work/out/three.png" --size 64x48 --samples 1 --threads 3
cmp -s "$work/out/one.png" "$work/out/three.png" || wrong "the picture depends on the threads"
accepts "$render" -o "$out" --size 64x64 --xray 6 --flat --bounces 0 --up z --no-floor --depth 0 --split-bias 1
accepts "$render" --help

# Files that importers don't survive, made here: a RAW file with colours, and an OFF file that
# promises more vertices than there is memory. One line, and soon.
for i in 1 2 3 4; do echo "0 0 0 1 0 0 0 1 0 0.5 0.5 0.5"; done >"$work/colour.raw"
printf 'OFF\n2000000000 1 0\n0 0 0\n' >"$work/huge.off"
"$render" "$work/colour.raw" -o "$out" --size 8x8 >"$work/stdout" 2>"$work/stderr"
[ $? -le 1 ] || wrong "does not survive a RAW file with colours"
refuses 1 timeout 60 "$render" "$work/huge.off" -o "$out" --import-memory 512
grep -q 'import-memory\|no mesh' "$work/stderr" || wrong "no reason: $(cat "$work/stderr")"
for model in RAW/WithColor.raw RAW/WithTexture.raw OpenGEX/camera.ogex; do
  [ ! -e "/usr/share/assimp/models/$model" ] || refuses 1 "$render" "/usr/share/assimp/models/$model" -o "$out"
done
mkfifo "$work/pipe.obj"
refuses 1 timeout 20 "$render" "$work/pipe.obj" -o "$out"
grep -q 'not a regular file' "$work/stderr" || wrong "calls a pipe: $(cat "$work/stderr")"

# Input and output that won't do: one line, status 1, no file.
refuses 1 "$render" "$work/absent.obj" -o "$out"
refuses 1 "$render" "$work" -o "$out"
refuses 1 "$render" "$work/text.obj" -o "$out"
refuses 1 "$render" "$work/noise.ply" -o "$out"
refuses 1 "$render" "$work/line.obj" -o "$out"
refuses 1 "$render" "$work/nan.obj" -o "$out"
refuses 1 "$render" "$work/quad.obj" -o "$work/no/such/folder/p.png" --size 8x8
refuses 1 "$render" -o "$out" --size 8x8 --memory 32

ln -s "$work/quad.obj" "$work/link.obj"
refuses 2 "$render" "$work/quad.obj" -o "$work/link.obj"
grep -q '^v 0 0 0' "$work/quad.obj" || wrong "overwrites the mesh"
deaf "$render" -o "$out" --size 8x8
# Memory that doesn't suffice for the picture, or for the stacks of the threads. (Sanitizers need more before they begin.)
if ! ldd "$render" | grep -q 'lib[a-z]*san'; then
  refuses 1 bash -c "ulimit -v 400000; exec '$render' -o '$out' --size 16384x16384"
  accepts bash -c "ulimit -v 1000000; exec '$render' -o '$out' --size 64x64 --threads 1024"
fi

# A link as target stays one, and what it leads to is replaced.
rm -rf "$work/out"; mkdir "$work/out" "$work/kept"
ln -s ../kept/p.png "$out"
accepts "$render" -o "$out" --size 8x8
[ -L "$out" ] || wrong "replaces the link"
isPicture "$work/kept/p.png" 8 8

# Wrong usage: status 2.
for value in nan inf -inf 1e30 1x ''; do
  for option in --yaw --pitch --zoom --split-bias; do refuses 2 "$render" -o "$out" "$option=$value"; done
done
for value in 4294967297x1 1x4294967297 10x 10x10x 0x0 -1x5 ' 8x8' 8,8 1e3x5; do
  refuses 2 "$render" -o "$out" --size "$value"
done
for value in -1 1025 4294967297 1.5 x; do refuses 2 "$render" -o "$out" --threads "$value"; done
refuses 2 "$render" -o ''
refuses 2 "$render"
refuses 2 "$render" "$work/quad.obj"
refuses 2 "$render" "$work/quad.obj" -o "$out" --size 0x10
refuses 2 "$render" "$work/quad.obj" -o "$out" --size 10
refuses 2 "$render" "$work/quad.obj" -o "$out" --size 10x10x10
refuses 2 "$render" "$work/quad.obj" -o "$out" --bounces -1
refuses 2 "$render" "$work/quad.obj" -o "$out" --builder other
refuses 2 "$render" "$work/quad.obj" -o "$out" --nonsense

finish
