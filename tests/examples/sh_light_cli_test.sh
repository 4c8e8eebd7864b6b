#!/usr/bin/env bash
# vekr-sh-light from outside. Argument: the program.
light=$1
source "$(dirname "$0")/check.sh"
out=$work/out
mkdir "$out"

accepts "$light" --sky "$out/sky.png" --reconstruction "$out/back.png" --irradiance "$out/matt.png" --size 64x32
for name in sky back matt; do isPicture "$out/$name.png" 64 32; done
cp "$out/sky.png" "$work/sky.png"
accepts "$light" "$work/sky.png" --reconstruction "$out/again.png" --size 40x20 --bands 7 --evaluator direct
isPicture "$out/again.png" 40 20
accepts "$light" --basis "$out/basis.png" --tile 16
accepts "$light" --help

head -c 60 "$work/sky.png" >"$work/cut.png"
printf 'no picture' >"$work/text.png"
refuses 1 "$light" "$work/absent.png" --reconstruction "$out/p.png"
refuses 1 "$light" "$work/cut.png" --reconstruction "$out/p.png"
refuses 1 "$light" "$work/text.png" --reconstruction "$out/p.png"
refuses 1 "$light" --reconstruction "$work/no/such/folder/p.png" --size 8x4

refuses 1 "$light" "$work" --reconstruction "$out/p.png"
grep -q 'is a directory' "$work/stderr" || wrong "calls a folder: $(cat "$work/stderr")"
refuses 1 "$light" --sky "$out/s.png" --basis "$work/no/such/folder/p.png" --tile 16 --size 8x4
deaf "$light" --sky "$out/s.png" --size 8x4
deaf "$light" --print --size 8x4
refuses 2 "$light" "$work/sky.png" --sky "$work/sky.png"
refuses 2 "$light" --sky "$out/s.png" --basis "$out/../out/s.png"
accepts "$light" --basis "$out/one.png" --tile 16 --threads 1
accepts "$light" --basis "$out/three.png" --tile 16 --threads 3
cmp -s "$out/one.png" "$out/three.png" || wrong "the picture depends on the threads"
for value in nan inf 0 1e30 -1; do refuses 2 "$light" --sky "$out/p.png" "--exposure=$value"; done
refuses 2 "$light" --size 4294967297x1 --sky "$out/p.png"
refuses 2 "$light" --size 16x8192 --sky "$out/p.png"
refuses 2 "$light" --tile 1024 --basis "$out/p.png"

# A signal leaves neither the picture nor anything of it. (One file is in the making while the other is drawn.)
"$light" --sky "$out/s.png" --size 512x256 --basis "$out/b.png" --tile 512 2>/dev/null &
drawing=$!
for ((i = 0; i < 200; ++i)); do
  [ -z "$(ls -A "$out")" ] || break
  sleep 0.1
done
[ -n "$(ls -A "$out")" ] || wrong "nothing is in the making"
kill -TERM "$drawing"
wait "$drawing"
[ $? -eq 143 ] || wrong "does not end by the signal"
[ -z "$(ls -A "$out")" ] || wrong "a signal leaves $(ls -A "$out")"

refuses 2 "$light" --bands 16 --reconstruction "$out/p.png"
refuses 2 "$light" --evaluator other --reconstruction "$out/p.png"
refuses 2 "$light" --size 0x4 --reconstruction "$out/p.png"
refuses 2 "$light" --nonsense

finish
