#!/usr/bin/env bash
# Holds the interface against the record of it in tests/interface/: exported functions with their arguments, layouts of
# structs, and constants. Needs abidw and abidiff (abigail-tools), and builds the library with debug information.
#   scripts/interface.sh             compares; fails at any difference, and names it
#   scripts/interface.sh --update    writes the record anew: only for a change that is meant, which is a new interface
# Debian packages that are missing are named and installed; with --no-install they are only named.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
take_no_install "$@"
install_missing "${build_packages[@]}" abigail-tools

record=tests/interface
built=build/debug
# Not optimised: functions keep their arguments as written. The default compiler: another one describes the same types in
# other words.
cmake --preset debug >/dev/null
cmake --build --preset debug --target vekre9 | tail -n 1
gcc -std=c99 -g -shared -fPIC -fno-eliminate-unused-debug-types -Iinclude -Ivekcore $record/types.c -o $built/lib/types.so

# describe NAME OPTION...: without places in files, which move, and folders, which differ.
describe() {
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed "${@:2}" $built/lib/"$1" |
    sed "s|path='$PWD/|path='|" >$built/"$1".abi
}
# Private types: a caller sees none, so none is recorded.
describe libvekre9.so --exported-interfaces-only
describe libvekcore.so --exported-interfaces-only
describe types.so --load-all-types

status=0
# compare NAME OPTION...
compare() {
  if [ "${arguments[0]:-}" = --update ]; then
    cp $built/"$1".abi $record/"$1".abi
  elif ! abidiff --no-show-locs "${@:2}" $record/"$1".abi $built/"$1".abi; then
    echo "The interface of $1 is not the recorded one." >&2
    status=1
  fi
}
compare libvekre9.so
compare libvekcore.so
compare types.so --non-reachable-types
[ $status -ne 0 ] || echo "the interface is the recorded one"
exit $status
