# Asks a program's completion for bash what a user would. Argument: the file.
set -euo pipefail
program=$(basename "$1")
complete() { [ "${*: -1}" = "$program" ] || { echo "registers ${*: -1}" >&2; exit 1; }; registered=yes; }
registered=
source "$1"
[ -n "$registered" ]
unset -f complete

# expect WANTED WORD...: completing the last word offers WANTED (several: separated by blanks) and nothing else.
expect() {
  local wanted=$1
  shift
  COMP_WORDS=("$program" "$@")
  COMP_CWORD=$#
  COMPREPLY=()
  "_${program//-/_}" || true  # compgen is unhappy where nothing fits
  if [ "${COMPREPLY[*]}" != "$wanted" ]; then
    echo "$program $*: offers '${COMPREPLY[*]}' instead of '$wanted'" >&2
    exit 1
  fi
}

expect --help --he
case $program in
  vekr-render)
    expect "--size --samples --soft-shadows --smooth --save-tree --split-bias" --s
    expect "1 2 4" --samples ""
    expect simple --flat --builder s
    ;;
  vekr-volume)
    expect "remap resize" re
    expect catmull-rom warp --interpolation cat
    expect --kernel filter --k
    expect "" warp --kern
    expect "--spacing" resize --sp
    ;;
  vekr-sh-light)
    expect "recurrent direct" --evaluator ""
    ;;
esac
cd "$(dirname "$1")"
case $program in vekr-volume) expect "$program" warp "$program" ;; *) expect "$program" "$program" ;; esac
