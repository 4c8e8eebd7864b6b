# A program of the documentation, as a reader would run it: what it prints and the picture that it writes.
#   bash program_test.sh PROGRAM PICTURE_CHECK EXPECTED [ENDING]
# EXPECTED.out holds regular expressions, one for each line that the program prints; EXPECTED.means those of its
# picture, whose file gets the ENDING.
set -u
program=$1 check=$2 expected=$3 ending=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$program" ${ending:+"$work/picture.$ending"} >"$work/out" || { echo "WRONG: status $?"; exit 1; }
paste -d '\n' "$expected.out" "$work/out" | while IFS= read -r pattern && IFS= read -r line; do
  [[ $line =~ ^$pattern$ ]] || { echo "WRONG: '$line' instead of '$pattern'"; exit 1; }
done || exit 1
[ "$(wc -l <"$expected.out")" -eq "$(wc -l <"$work/out")" ] || { echo "WRONG: number of lines"; exit 1; }
[ -z "$ending" ] || "$check" "$work/picture.$ending" "$expected.means" || { echo "WRONG: the picture"; exit 1; }
# Nowhere to write is told by the status.
[ -z "$ending" ] || ! "$program" "$work/nowhere/picture.$ending" >/dev/null 2>&1 || { echo "WRONG: unwritten"; exit 1; }
