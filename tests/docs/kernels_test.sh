# The figures of the page on volumes: all of them are written, with the curves' heights that the page tells.
#   bash kernels_test.sh PROGRAM EXPECTED
set -u
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" "$work" >"$work/heights" || { echo "WRONG: status $?"; exit 1; }
cmp "$work/heights" "$2" || exit 1
for code in nearest linear lagrange b-spline catmull-rom mitchell; do
  for file in curve-$code.svg step-$code.svg edge-$code.pgm zone-$code.pgm; do
    [ -s "$work/$file" ] || { echo "WRONG: no $file"; exit 1; }
  done
done
[ "$(cat "$work"/zone-*.pgm | cksum)" != "$(cat "$work"/edge-*.pgm | cksum)" ] || { echo "WRONG: all alike"; exit 1; }
[ "$(cksum "$work"/*-*.* | cut -d ' ' -f 1 | sort -u | wc -l)" -eq 24 ] || { echo "WRONG: two figures alike"; exit 1; }
