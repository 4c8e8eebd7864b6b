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

# Input and output that won't do: one line, status 1, no file.
refuses 1 "$render" "$work/absent.obj" -o "$out"
refuses 1 "$render" "$work" -o "$out"
refuses 1 "$render" "$work/text.obj" -o "$out"
refuses 1 "$render" "$work/noise.ply" -o "$out"
refuses 1 "$render" "$work/line.obj" -o "$out"
refuses 1 "$render" "$work/nan.obj" -o "$out"
refuses 1 "$render" "$work/quad.obj" -o "$work/no/such/folder/p.png" --size 8x8
refuses 1 "$render" -o "$out" --size 8x8 --memory 32

# Wrong usage: status 2.
refuses 2 "$render"
refuses 2 "$render" "$work/quad.obj"
refuses 2 "$render" "$work/quad.obj" -o "$out" --size 0x10
refuses 2 "$render" "$work/quad.obj" -o "$out" --size 10
refuses 2 "$render" "$work/quad.obj" -o "$out" --size 10x10x10
refuses 2 "$render" "$work/quad.obj" -o "$out" --bounces -1
refuses 2 "$render" "$work/quad.obj" -o "$out" --builder other
refuses 2 "$render" "$work/quad.obj" -o "$out" --nonsense

finish
