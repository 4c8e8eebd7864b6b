#!/usr/bin/env bash
# Gives every model file of assimp-testmodels to vekr-render: each must end in a picture, or in status 1 and one line on standard
# error. Two minutes; not part of scripts/test.sh.
#   scripts/models.sh [PROGRAM]      the program, default that of the release preset
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing assimp-testmodels
program=$(realpath "${arguments[0]:-build/release/bin/vekr-render}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
pictures=0 refusals=0 faults=0
while read -r -d '' file; do
  status=0
  rm -f "$work/picture.png"
  timeout 90 "$program" "$file" -o "$work/picture.png" --size 64x48 --samples 1 --quiet --import-time 20 \
    </dev/null >"$work/output" 2>"$work/errors" || status=$?
  if [ $status -eq 0 ] && [ -s "$work/picture.png" ]; then
    pictures=$((pictures + 1))
  elif [ $status -eq 1 ] && [ "$(wc -l <"$work/errors")" -eq 1 ] && [ ! -e "$work/picture.png" ]; then
    refusals=$((refusals + 1))
  else
    faults=$((faults + 1))
    echo "$file: status $status, $(head -c 300 "$work/errors")"
  fi
done < <(find /usr/share/assimp/models* -type f -print0 | sort -z)
echo "$pictures pictures, $refusals refused in one line, $faults otherwise"
[ $faults -eq 0 ]
