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

refuses 2 "$light" --bands 16 --reconstruction "$out/p.png"
refuses 2 "$light" --evaluator other --reconstruction "$out/p.png"
refuses 2 "$light" --size 0x4 --reconstruction "$out/p.png"
refuses 2 "$light" --nonsense

finish
