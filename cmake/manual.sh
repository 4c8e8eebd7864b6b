#!/usr/bin/env bash
# Writes a program's manual page or its shell completion from what it prints at --help, its subcommands' --help among it.
#   manual.sh man  PROGRAM TEXT VERSION > page.1     TEXT: the rest of the page: "## HEADINGS", paragraphs, indented commands
#   manual.sh bash PROGRAM > completion
#   manual.sh zsh  PROGRAM > completion
# VEKR_EMULATOR in the environment: runs a program that is for another processor.
set -euo pipefail
kind=$1 program=$2
name=$(basename "$program")

# One record a line, fields between tabs, of each context ("" or a subcommand):
# about TEXT | usage TEXT | positional NAME TEXT | option NAME TEXT (without a NAME: of those that follow) | sub NAME TEXT.
records() {
  local context=$1
  ${VEKR_EMULATOR:-} "$program" $context --help | awk -v context="$context" '
    function flush() {
      if (item != "") printf "%s\t%s\t%s\t%s\n", context, kind, item, text
      item = text = ""
    }
    NR == 1 { printf "%s\tabout\t%s\t\n", context, $0; next }
    /^Usage: / { printf "%s\tusage\t%s\t\n", context, substr($0, 8); next }
    # A group: its text, the rule in brackets, and its options two columns further in.
    /^\[Option Group/ { flush(); group = 1; kind = "option"; next }
    group == 1 && /^  \[.*\]$/ { printf "%s\toption\t\t%s\n", context, substr($0, 4, length($0) - 4) ":"; next }
    group == 1 { group = /^  Options:/ ? 2 : 1; next }
    group == 2 { sub(/^  /, "") }
    /^Positionals:/ { flush(); kind = "positional"; next }
    /^Options:/ { flush(); kind = "option"; next }
    /^Subcommands:/ { flush(); kind = "sub"; next }
    /^  [^ ]/ {
      flush()
      # Texts begin in column 31, on a line of their own behind a long name.
      item = substr($0, 3); text = ""
      if (length($0) > 30 && substr($0, 30, 1) == " ") { item = substr($0, 3, 28); text = substr($0, 31) }
      sub(/ +$/, "", item)
      next
    }
    /^   +[^ ]/ { sub(/^ +/, ""); text = text == "" ? $0 : text " " $0 }
    END { flush() }'
}

all=$(records "")
subs=$(printf '%s\n' "$all" | awk -F '\t' '$2 == "sub" { print $3 }')
for sub in $subs; do all+=$'\n'$(records "$sub"); done

case $kind in
  man)
    text=$3 version=$4
    printf '%s\n' "$all" | awk -F '\t' -v name="$name" -v version="$version" -v textfile="$text" '
      function roff(s) {  # nothing in it is an instruction
        gsub(/\\/, "\\e", s); gsub(/-/, "\\-", s)
        if (s ~ /^[.\x27]/) s = "\\&" s
        return s
      }
      function list(context, kind,   i) {
        for (i = 1; i <= n; ++i) if (c[i] == context && k[i] == kind) {
          if (a[i] == "") printf ".PP\n%s\n", roff(b[i])
          else printf ".TP\n.B %s\n%s\n", roff(a[i]), roff(b[i])
        }
      }
      { ++n; c[n] = $1; k[n] = $2; a[n] = $3; b[n] = $4 }
      END {
        title = name; gsub(/-/, "\\-", title)
        printf ".TH %s 1 \"\" \"vekr %s\" \"User Commands\"\n", toupper(name), version
        for (i = 1; i <= n; ++i) if (c[i] == "" && k[i] == "about") about = a[i]
        sub(/\.$/, "", about)
        printf ".SH NAME\n%s \\- %s\n.SH SYNOPSIS\n", title, roff(tolower(substr(about, 1, 1)) substr(about, 2))
        for (i = 1; i <= n; ++i) if (k[i] == "usage") {
          if (c[i] == "" && subs) continue
          usage = a[i]
          if (c[i] != "" && index(usage, name) != 1) usage = name " " usage
          printf "%s.B %s\n", seen++ ? ".br\n" : "", roff(usage)
        }
        while ((getline line < textfile) > 0) {
          if (line ~ /^## /) { if (code) print ".EE\n.RE"; code = 0; print ".SH " roff(substr(line, 4)); blank = 0 }
          else if (line == "") blank = 1
          else if (line ~ /^    /) {
            if (!code) print ".PP\n.RS 4\n.EX"
            code = 1; blank = 0
            print roff(substr(line, 5))
          } else {
            if (code) print ".EE\n.RE"
            if (blank || code) print ".PP"
            code = blank = 0
            print roff(line)
          }
        }
        if (code) print ".EE\n.RE"
        for (i = 1; i <= n; ++i) if (k[i] == "positional" && c[i] == "") { print ".SH ARGUMENTS"; list("", "positional"); break }
        print ".SH OPTIONS"; list("", "option")
        for (i = 1; i <= n; ++i) if (k[i] == "sub") {
          sub_about = b[i]
          printf ".SH SUBCOMMAND %s\n%s\n", roff(toupper(a[i])), roff(sub_about)
          list(a[i], "positional"); list(a[i], "option")
        }
      }'
    ;;
  bash)
    function_name=_${name//-/_}
    printf '# Completion of %s for bash, made from its --help.\n%s() {\n' "$name" "$function_name"
    printf '%s\n' "$all" | awk -F '\t' -v subs="${subs//$'\n'/ }" '
      function first(s) { sub(/[ :].*/, "", s); return s }
      { context[$1] = 1 }
      $2 == "option" && $3 != "" {
        count = split(first($3), names, ",")
        for (i = 1; i <= count; ++i) {
          words[$1] = words[$1] " " names[i]
          if (match($3, /\{[^}]*\}/)) {
            values = substr($3, RSTART + 1, RLENGTH - 2); gsub(/,/, " ", values)
            choice[$1] = choice[$1] "    \"" $1 " " names[i] "\") COMPREPLY=($(compgen -W \"" values "\" -- \"$cur\")); return ;;\n"
          }
        }
      }
      END {
        print "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]} sub= options= word"
        if (subs != "") {
          print "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do"
          print "    case $word in " gensubs(subs) ") sub=$word; break ;; esac\n  done"
        }
        print "  case \"$sub $prev\" in"
        for (x in choice) printf "%s", choice[x]
        print "  esac\n  case $sub in"
        for (x in context) printf "    \"%s\") options=\"%s\" ;;\n", x, substr(words[x], 2)
        print "  esac"
        if (subs != "") printf "  [ -n \"$sub\" ] || options=\"%s $options\"\n", subs
        print "  if [[ $cur == -*" (subs == "" ? "" : " || -z $sub") " ]]; then"
        print "    COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))"
        print "  else\n    COMPREPLY=($(compgen -f -- \"$cur\"))\n  fi\n}"
      }
      function gensubs(s) { gsub(/ /, " | ", s); return s }'
    printf 'complete -o filenames -F %s %s\n' "$function_name" "$name"
    ;;
  zsh)
    printf '#compdef %s\n# Completion of %s for zsh, made from its --help.\n' "$name" "$name"
    printf '%s\n' "$all" | awk -F '\t' -v name="$name" '
      function quoted(s) { gsub(/\x27/, "\x27\\\x27\x27", s); gsub(/[\[\]]/, "\\\\&", s); gsub(/:/, "\\:", s); return s }
      $2 == "sub" { subs = subs " \x27" $3 ":" quoted($4) "\x27"; names = names " " $3; next }
      $2 == "option" && $3 != "" {
        head = $3; sub(/[ :].*/, "", head)
        takes = index($3, " ") > 0 || index($3, ":") > 0
        action = takes ? ":value:_files" : ""
        if (match($3, /\{[^}]*\}/)) { values = substr($3, RSTART + 1, RLENGTH - 2); gsub(/,/, " ", values); action = ":value:(" values ")" }
        count = split(head, list, ",")
        for (i = 1; i <= count; ++i) specs[$1] = specs[$1] " \\\n    \x27" list[i] "[" quoted($4) "]" action "\x27"
      }
      END {
        if (subs == "") { print "_arguments" specs[""] " \\\n    \x27*:file:_files\x27"; exit }
        printf "local -a subcommands=(%s)\n", subs
        print "if ((CURRENT == 2)); then\n  _describe subcommand subcommands\n  _arguments" specs[""]
        print "  return\nfi\nlocal sub=$words[2]\nshift words\n((CURRENT--))\ncase $sub in"
        count = split(substr(names, 2), list, " ")
        for (i = 1; i <= count; ++i) print "  " list[i] ") _arguments" specs[list[i]] " \\\n    \x27*:file:_files\x27 ;;"
        print "esac"
      }'
    ;;
esac
