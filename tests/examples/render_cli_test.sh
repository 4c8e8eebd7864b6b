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

# ---- what files bring along: textures, colours, cameras. pixel FILE X Y prints a pixel of a .ppm.
pixel() {
  local width skip
  read -r width skip < <(head -c 20 "$1" | head -n 2 | awk 'NR == 2 { print $1, 3 + length($0) + 1 + 4 }')
  od -An -tu1 -j $((skip + 3 * ($3 * width + $2))) -N3 "$1" | xargs
}
# colourIs FILE X Y NAME: which of red, green and blue is largest there, or none.
colourIs() {
  local name
  name=$(pixel "$1" "$2" "$3" | awk '$1 > $2 + 40 && $1 > $3 + 40 { n = "red" } $2 > $1 + 40 && $2 > $3 + 40 { n = "green" }
    $3 > $1 + 40 && $3 > $2 + 40 { n = "blue" } END { print n == "" ? "none" : n }')
  [ "$name" = "$4" ] || wrong "$1: $2,$3 is $name ($(pixel "$1" "$2" "$3")) instead of $4"
}
front=(--size 64x64 --samples 1 --no-floor --bounces 0 --no-lights --ambient 3 --eye 0.5,0.5,2 --fov 30 --quiet)

# A texture of two columns, red and blue, written by hand with python; left and right of a square.
/usr/bin/python3 - "$work" <<'PYTHON'
import struct, sys, zlib
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
row = b"\0" + b"\xff\0\0" * 8 + b"\0\0\xff" * 8
png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 16, 4, 8, 2, 0, 0, 0)) + \
    chunk(b"IDAT", zlib.compress(row * 4)) + chunk(b"IEND", b"")
open(sys.argv[1] + "/two.png", "wb").write(png)
open(sys.argv[1] + "/square.mtl", "w").write("newmtl m\nKd 1 1 1\nmap_Kd two.png\n")
open(sys.argv[1] + "/square.obj", "w").write("mtllib square.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
    "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nusemtl m\nf 1/1 2/2 3/3 4/4\n")
vertices = [(0, 0, 255, 0, 0), (1, 0, 0, 255, 0), (1, 1, 0, 0, 255), (0, 1, 255, 0, 0)]
open(sys.argv[1] + "/colour.ply", "w").write("ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\n"
    "property float z\nproperty uchar red\nproperty uchar green\nproperty uchar blue\nelement face 1\n"
    "property list uchar int vertex_indices\nend_header\n" +
    "".join("%d %d 0 %d %d %d\n" % v for v in vertices) + "4 0 1 2 3\n")
open(sys.argv[1] + "/camera.gltf", "w").write('''{"asset": {"version": "2.0"}, "scene": 0,
 "scenes": [{"nodes": [0, 1]}], "nodes": [{"mesh": 0}, {"name": "spy", "camera": 0, "translation": [0.5, 0.5, 3.0]}],
 "cameras": [{"type": "perspective", "perspective": {"yfov": 0.3, "aspectRatio": 1.0, "znear": 0.1}}],
 "meshes": [{"primitives": [{"attributes": {"POSITION": 0}}]}],
 "accessors": [{"bufferView": 0, "componentType": 5126, "count": 3, "type": "VEC3", "min": [0, 0, 0], "max": [1, 1, 0]}],
 "bufferViews": [{"buffer": 0, "byteLength": 36}],
 "buffers": [{"byteLength": 36, "uri": "data:application/octet-stream;base64,AAAAAAAAAAAAAAAAAACAPwAAAAAAAAAAAAAAAAAAgD8AAAAA"}]}
''')
# A ball of single triangles, as STL files hold them.
import math
def ball(i, j):
    a, b = math.pi * i / 12, 2 * math.pi * j / 24
    return "vertex %.6f %.6f %.6f" % (math.sin(a) * math.cos(b), math.cos(a), math.sin(a) * math.sin(b))
with open(sys.argv[1] + "/ball.stl", "w") as stl:
    stl.write("solid ball\n")
    for i in range(12):
        for j in range(24):
            for t in ((ball(i, j), ball(i + 1, j + 1), ball(i + 1, j)), (ball(i, j), ball(i, j + 1), ball(i + 1, j + 1))):
                if len(set(t)) == 3:
                    stl.write("facet normal 0 0 0\nouter loop\n%s\n%s\n%s\nendloop\nendfacet\n" % t)
    stl.write("endsolid ball\n")
PYTHON
rm -rf "$work/out"; mkdir "$work/out"
accepts "$render" "$work/square.obj" -o "$out.ppm" "${front[@]}"
colourIs "$out.ppm" 20 32 red
colourIs "$out.ppm" 44 32 blue
accepts "$render" "$work/square.obj" -o "$out.ppm" "${front[@]}" --no-textures
colourIs "$out.ppm" 20 32 none
accepts "$render" "$work/colour.ply" -o "$out.ppm" "${front[@]}"
colourIs "$out.ppm" 5 5 red
colourIs "$out.ppm" 58 58 green
colourIs "$out.ppm" 58 5 blue
# The camera of the file, by name and by number: the triangle's corner of 90 degrees at the lower left.
for camera in spy 1; do
  accepts "$render" "$work/camera.gltf" -o "$work/out/$camera.ppm" --size 64x64 --samples 1 --no-floor --camera "$camera" \
    --background '#00ff00' --quiet
  colourIs "$work/out/$camera.ppm" 28 40 none
  colourIs "$work/out/$camera.ppm" 40 24 green
done
cmp -s "$work/out/spy.ppm" "$work/out/1.ppm" || wrong "name and number of a camera give different pictures"
# Normals: an STL file is smooth by itself, --smooth 0 shows its triangles.
accepts "$render" "$work/ball.stl" -o "$work/out/smooth.ppm" --size 64x64 --samples 1 --quiet
accepts "$render" "$work/ball.stl" -o "$work/out/faces.ppm" --size 64x64 --samples 1 --quiet --smooth 0
accepts "$render" "$work/ball.stl" -o "$work/out/flat.ppm" --size 64x64 --samples 1 --quiet --flat
distance() { cmp -l "$1" "$2" | awk '{ n += 1 } END { print n + 0 }'; }
[ "$(distance "$work/out/smooth.ppm" "$work/out/flat.ppm")" -gt 1000 ] || wrong "an STL file is not smooth"
[ "$(distance "$work/out/faces.ppm" "$work/out/flat.ppm")" -lt 200 ] || wrong "--smooth 0 is not flat"

# A texture that isn't there is told and done without; a damaged one is refused unless nobody wants it.
mkdir "$work/lone"; cp "$work/square.obj" "$work/square.mtl" "$work/lone"
"$render" "$work/lone/square.obj" -o "$out" --size 8x8 >"$work/stdout" 2>"$work/stderr" || wrong "needs a texture"
[ "$(wc -l <"$work/stderr")" -eq 1 ] && grep -q 'left out' "$work/stderr" || wrong "says nothing of a lost texture"
for part in 30 40 50; do
  head -c "$part" "$work/two.png" >"$work/lone/two.png"
  refuses 1 "$render" "$work/lone/square.obj" -o "$out" --size 8x8
done
grep -q "damaged texture 'two.png'" "$work/stderr" || wrong "calls a damaged texture: $(cat "$work/stderr")"
accepts "$render" "$work/lone/square.obj" -o "$out" --size 8x8 --no-textures

# ---- light: soft shadows, occlusion, panoramas; the same for any number of threads.
for threads in 1 3; do
  accepts "$render" -o "$work/out/soft$threads.png" --size 96x72 --samples 1 --threads "$threads" --soft-shadows 4 \
    --ambient-occlusion 3 --light 30,60 --light 200,20,0.5,#ff8080
done
cmp -s "$work/out/soft1.png" "$work/out/soft3.png" || wrong "soft shadows depend on the threads"
accepts "$render" -o "$work/out/hard.png" --size 96x72 --samples 1 --light 30,60 --light 200,20,0.5,#ff8080
cmp -s "$work/out/soft1.png" "$work/out/hard.png" && wrong "soft shadows change nothing"
# A panorama, bright in the half where the sun is, lights and is seen; written here as plain pixels.
/usr/bin/python3 - "$work" <<'PYTHON'
import sys
rows = b"".join(bytes([200, 10, 10, 127]) * 3 + bytes([10, 10, 200, 127]) * 3 for _ in range(4))
open(sys.argv[1] + "/two.hdr", "wb").write(b"#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 4 +X 6\n" + rows)
PYTHON
accepts "$render" "$work/ball.stl" -o "$work/out/lit.ppm" --size 64x64 --samples 1 --no-floor --panorama "$work/two.hdr" --quiet \
  --yaw 0 --pitch 0 --bounces 0 --panorama-bands 2 --ambient-occlusion 2
colourIs "$work/out/lit.ppm" 1 32 red
colourIs "$work/out/lit.ppm" 62 32 blue
colourIs "$work/out/lit.ppm" 17 32 red
colourIs "$work/out/lit.ppm" 46 32 blue
accepts "$render" -o "$work/out/p.hdr" --size 64x64 --samples 1 --panorama "$work/two.hdr"
[ "$(head -c 2 "$work/out/p.hdr")" = '#?' ] || wrong "writes no Radiance file"
head -c 50 "$work/two.hdr" >"$work/cut.hdr"
refuses 1 "$render" -o "$out" --size 8x8 --panorama "$work/cut.hdr"
refuses 1 "$render" -o "$out" --size 8x8 --panorama "$work/absent.exr"

# ---- trees that are saved and mapped back.
rm -rf "$work/out"; mkdir "$work/out"
accepts "$render" "$work/ball.stl" -o "$work/out/built.png" --size 64x64 --save-tree "$work/ball.tree"
accepts "$render" "$work/ball.stl" -o "$work/out/mapped.png" --size 64x64 --tree "$work/ball.tree"
grep -q 'mapped' "$work/stdout" || wrong "does not say that the tree is mapped"
cmp -s "$work/out/built.png" "$work/out/mapped.png" || wrong "a mapped tree gives another picture"
refuses 1 "$render" "$work/quad.obj" -o "$out" --size 8x8 --tree "$work/ball.tree"
grep -q 'another mesh' "$work/stderr" || wrong "calls a tree of another mesh: $(cat "$work/stderr")"
refuses 1 "$render" "$work/ball.stl" -o "$out" --size 8x8 --no-floor --tree "$work/ball.tree"
refuses 1 "$render" "$work/ball.stl" -o "$out" --size 8x8 --tree "$work/two.png"
size=$(stat -c %s "$work/ball.tree")
for at in 9 30 50 $((size / 3)) $((size / 2)) $((size - 3)); do
  cp "$work/ball.tree" "$work/bad.tree"
  printf '\xa5\xa5\xa5' | dd of="$work/bad.tree" bs=1 seek="$at" conv=notrunc status=none
  refuses 1 "$render" "$work/ball.stl" -o "$out" --size 8x8 --tree "$work/bad.tree"
done
for part in 0 40 100 $((size / 2)) $((size - 1)); do
  head -c "$part" "$work/ball.tree" >"$work/bad.tree"
  refuses 1 "$render" "$work/ball.stl" -o "$out" --size 8x8 --tree "$work/bad.tree"
done
refuses 2 "$render" "$work/ball.stl" -o "$out" --tree "$work/ball.tree" --depth 5
refuses 2 "$render" "$work/ball.stl" -o "$out" --tree "$work/ball.tree" --save-tree "$work/out/t"
refuses 2 "$render" "$work/ball.stl" -o "$out" --save-tree "$out"

# ---- output by the ending; standard output; a turntable.
rm -rf "$work/out"; mkdir "$work/out"
for name in box.jpeg2 box box.txt .png; do refuses 2 "$render" -o "$work/out/$name" --size 8x8; done
rm -rf "$work/out"; mkdir "$work/out"
"$render" -o - --size 16x8 --quiet >"$work/out/pipe.png" 2>"$work/stderr" || wrong "standard output: $(cat "$work/stderr")"
[ ! -s "$work/stderr" ] || wrong "is not quiet"
isPicture "$work/out/pipe.png" 16 8
"$render" -o - --size 16x8 2>/dev/null | cmp -s - "$work/out/pipe.png" || wrong "prints into the picture"
if "$render" -o "$work/out/p.jpg" --size 16x8 >/dev/null 2>"$work/stderr"; then
  [ "$(head -c 2 "$work/out/p.jpg" | od -An -tx1 | tr -d ' ')" = ffd8 ] || wrong "writes no JPEG"
fi
accepts "$render" -o "$work/out/turn.png" --size 16x8 --turntable 3
for frame in 0001 0002 0003; do isPicture "$work/out/turn-$frame.png" 16 8; done
[ ! -e "$work/out/turn.png" ] || wrong "a turntable writes one more"
cmp -s "$work/out/turn-0001.png" "$work/out/turn-0002.png" && wrong "a turntable does not turn"
grep -q '^memory .* MB' "$work/stdout" || wrong "does not tell the memory"
accepts "$render" --version
grep -q '^vekr-render [0-9]' "$work/stdout" || wrong "version: $(cat "$work/stdout")"
"$render" -o - --size 8x8 --quiet >/dev/full 2>"$work/stderr"
[ $? -eq 1 ] && [ "$(wc -l <"$work/stderr")" -eq 1 ] || wrong "does not notice that standard output is full"
# A signal leaves the old picture, and nothing of the new one.
echo old >"$work/out/old.png"
"$render" -o "$work/out/old.png" --size 4000x4000 --samples 4 --save-tree "$work/out/t" --quiet &
drawing=$!
for ((i = 0; i < 200; ++i)); do
  [ "$(ls -A "$work/out" | grep -c '^.vekr')" -eq 0 ] || break
  sleep 0.1
done
kill -TERM "$drawing"
wait "$drawing"
[ $? -eq 143 ] || wrong "does not end by the signal"
[ "$(cat "$work/out/old.png")" = old ] || wrong "an interrupted run replaces the old picture"
[ "$(ls -A "$work/out" | grep -c '^\.vekr')" -eq 0 ] || wrong "a signal leaves $(ls -A "$work/out")"

refuses 2 "$render" -o - --turntable 2
for value in 1,2 1,2,x 1,2,3,4 '' nan,0,0 1e30,0,0; do refuses 2 "$render" -o "$out" "--eye=$value"; done
for value in red '#12345' '#1234567' '#gggggg' ''; do refuses 2 "$render" -o "$out" "--background=$value"; done
for value in 1 1,91 1,2,-1 1,2,3,red 1,2,3,#ffffff,5; do refuses 2 "$render" -o "$out" "--light=$value"; done
for value in -1 1025 x; do
  for option in --soft-shadows --ambient-occlusion; do refuses 2 "$render" -o "$out" "$option=$value"; done
done
for value in 0 171 nan; do refuses 2 "$render" -o "$out" "--fov=$value"; done
refuses 2 "$render" -o "$out" --size 8x8 --camera 1
refuses 2 "$render" "$work/camera.gltf" -o "$out" --size 8x8 --camera nobody
refuses 2 "$render" -o "$out" --eye 0,0,0 --yaw 3
refuses 2 "$render" -o "$out" --look-at 0,0,0
refuses 2 "$render" -o "$out" --size 8x8 --eye 1,2,3 --look-at 1,2,3
refuses 2 "$render" -o "$out" --turntable 0
refuses 2 "$render" -o "$out" --panorama-bands 3

finish
