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
accepts "$light" --version
grep -q '^vekr-sh-light [0-9]' "$work/stdout" || wrong "version: $(cat "$work/stdout")"
accepts "$light" --sky "$out/quiet.png" --size 8x4 --quiet
[ ! -s "$work/stdout" ] || wrong "is not quiet"

# Coefficients as text: the same numbers as printed, in the same order.
accepts "$light" --coefficients "$work/c.csv" --bands 2 --size 64x32 --print
awk -F, 'NR > 1 { printf "%2d %3d  % .7f % .7f % .7f\n", $1, $2, $3, $4, $5 }' "$work/c.csv" >"$work/from.csv"
[ "$(wc -l <"$work/from.csv")" -eq 9 ] || wrong "$(wc -l <"$work/from.csv") lines of coefficients"
grep -v '^[a-z]' "$work/stdout" | cmp -s - "$work/from.csv" || wrong "other coefficients in the file than printed"
refuses 2 "$light" --coefficients "$out/c.txt" --size 8x4
if "$light" --coefficients "$work/c.json" --bands 2 --size 64x32 >/dev/null 2>"$work/stderr"; then
  /usr/bin/python3 - "$work/c.json" "$work/c.csv" <<'PYTHON' || wrong "JSON and CSV differ"
import csv, json, sys
whole = json.load(open(sys.argv[1]))
rows = list(csv.DictReader(open(sys.argv[2])))
assert whole["highest_band"] == 2 and whole["source"] == "built-in sky"
for colour in ("red", "green", "blue"):
    assert len(whole["coefficients"][colour]) == 9
    for number, row in zip(whole["coefficients"][colour], rows):
        assert abs(number - float(row[colour])) <= 1e-7 * abs(number), (number, row)
PYTHON
else
  grep -q nlohmann "$work/stderr" || wrong "no JSON: $(cat "$work/stderr")"
fi

# Light that no screen shows goes through files unharmed: the sun is far above 1, and the coefficients stay.
kinds=hdr
"$light" --sky "$out/sky.exr" --size 64x32 --quiet 2>"$work/stderr" && kinds="hdr exr"
[ "$kinds" != hdr ] || grep -q OpenEXR "$work/stderr" || wrong "no EXR: $(cat "$work/stderr")"
for kind in $kinds; do
  accepts "$light" --sky "$out/sky.$kind" --size 64x32
  accepts "$light" "$out/sky.$kind" --coefficients "$out/$kind.csv" --bands 2
  paste -d, "$work/c.csv" "$out/$kind.csv" | awk -F, 'NR > 1 { for (i = 3; i < 6; ++i) { d = $i - $(i + 5); if (d * d > 1e-4) bad = 1 } }
    END { exit bad }' || wrong "coefficients change through .$kind"
  cp "$out/sky.$kind" "$work/sky.$kind"
done

accepts "$light" --coefficients "$out/bright.csv" --size 64x32
accepts "$light" "$work/sky.png" --coefficients "$out/dark.csv"
awk -F, '$1 == 4 && $2 == 3 { value[++n] = $3 } END { exit !(value[1] > 1.5 * value[2]) }' "$out/bright.csv" "$out/dark.csv" ||
  wrong "a picture holds as much of the sun as the sky"
# Narrow pictures are not run-length encoded.
accepts "$light" --sky "$out/narrow.hdr" --size 7x4
accepts "$light" "$out/narrow.hdr" --reconstruction "$out/narrow.png" --size 8x4
for kind in $kinds; do
  size=$(stat -c %s "$work/sky.$kind")
  for part in 1 30 60 $((size / 2)) $((size - 1)); do
    head -c "$part" "$work/sky.$kind" >"$work/cut.$kind"
    refuses 1 "$light" "$work/cut.$kind" --irradiance "$out/p.png"
  done
  { head -c 40 "$work/sky.$kind"; head -c 4000 /dev/urandom; } >"$work/noise.$kind"
  refuses 1 "$light" "$work/noise.$kind" --irradiance "$out/p.png"
done
printf '#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 2000000 +X 2000000\n' >"$work/huge.hdr"
refuses 1 "$light" "$work/huge.hdr" --irradiance "$out/p.png"
refuses 2 "$light" --sky "$out/sky.jpg"
refuses 2 "$light" --basis "$out/basis.hdr"

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
