# Sourced by the example tests: runs programs and counts what is wrong.

set -u
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

wrong() {
  echo "WRONG: $*"
  failures=$((failures + 1))
}

# refuses STATUS PROGRAM ARGUMENT...: the status, one line on stderr for status 1, and no file left in $work/out.
refuses() {
  local status=$1 got lines
  shift
  rm -rf "$work/out"
  mkdir "$work/out"
  "$@" >"$work/stdout" 2>"$work/stderr"
  got=$?
  [ "$got" -eq "$status" ] || wrong "status $got instead of $status: $*"
  lines=$(wc -l <"$work/stderr")
  if [ "$status" -eq 1 ]; then
    [ "$lines" -eq 1 ] || wrong "$lines lines on stderr instead of one: $* ($(cat "$work/stderr"))"
  elif [ "$lines" -eq 0 ]; then
    wrong "nothing on stderr: $*"
  fi
  [ -z "$(ls -A "$work/out")" ] || wrong "left $(ls -A "$work/out") behind: $*"
}

# accepts PROGRAM ARGUMENT...: status 0 and nothing on stderr, which is no terminal here.
accepts() {
  "$@" >"$work/stdout" 2>"$work/stderr" || wrong "status $?: $* ($(cat "$work/stderr"))"
  [ ! -s "$work/stderr" ] || wrong "talks on stderr: $* ($(head -c 200 "$work/stderr"))"
}

# deaf PROGRAM ARGUMENT...: status 1 and no file if standard output takes nothing.
deaf() {
  rm -rf "$work/out"
  mkdir "$work/out"
  "$@" >/dev/full 2>"$work/stderr"
  [ $? -eq 1 ] || wrong "does not notice that standard output is full: $*"
  [ "$(wc -l <"$work/stderr")" -eq 1 ] || wrong "not one line: $* ($(cat "$work/stderr"))"
  [ -z "$(ls -A "$work/out")" ] || wrong "left $(ls -A "$work/out") behind: $*"
}

# isPicture FILE WIDTH HEIGHT: a PNG of that size.
isPicture() {
  local size
  [ "$(head -c 8 "$1" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ] || wrong "$1 is no PNG"
  size=$(od -An -tu1 -j16 -N8 "$1" | awk '{print $3 * 256 + $4 "x" $7 * 256 + $8}')
  [ "$size" = "$2x$3" ] || wrong "$1 is $size instead of $2x$3"
}

finish() {
  [ "$failures" -eq 0 ] || { echo "$failures failed"; exit 1; }
  echo "all as it should be"
}
