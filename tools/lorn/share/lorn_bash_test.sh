#!/usr/bin/env bash
# The completion of lorn.bash, word by word, on a table made here: commands,
# common and command options, column names after --select, in a query
# expression and as the values column, with the table's separator and
# without a byte order mark.
#   lorn_bash_test.sh path/to/lorn path/to/lorn.bash
set -u
lorn=$(realpath "$1")
source "$2"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
printf 'REF\tNAME\tFAMILY\r\nA1\tHammer\tTOOLS\r\n' >tools.txt
printf '\357\273\277city;country\nWien;AT\n' >towns.csv

failures=0
expect() {  # "wanted replies" word...: completes the last word
  local want=$1
  shift
  COMP_WORDS=("$lorn" "$@")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _lorn 2>/dev/null
  local got="${COMPREPLY[*]}"
  if [ "$got" != "$want" ]; then
    echo "lorn $*: got [$got], want [$want]" >&2
    failures=$((failures + 1))
  fi
}

expect "query" qu
expect "--json" --js
expect "values" --sep ';' va
expect "--select" query tools.txt 'REF=A1' --sel
expect "--limit" values tools.txt FAMILY --li
expect "REF" query tools.txt 'REF=A1' --select R
expect "REF,NAME" query tools.txt 'REF=A1' --select REF,N
expect "FAMILY" rows tools.txt 0 --select F
expect "QTY>1 & FAMILY" query tools.txt 'QTY>1 & F'
expect "country" --sep ';' values towns.csv co
expect "city" --sep ';' query towns.csv 'country=AT' --select ci
expect "" --sep ';' values towns.csv REF
[ $failures -eq 0 ] || exit 1
echo "completion: all cases pass"
