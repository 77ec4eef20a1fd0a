#!/bin/sh
# The manual page has a SYNOPSIS and holds the help of every command that
# "lorn --help" lists.
#   man_page_test.sh path/to/lorn path/to/lorn.1
set -eu
for command in $("$1" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do
  grep -q "^\.SS \"lorn $command\"" "$2" || {
    echo "$2: no section for lorn $command" >&2
    exit 1
  }
done
grep -q '^\.SH SYNOPSIS' "$2" || {
  echo "$2: no SYNOPSIS" >&2
  exit 1
}
grep -q '^  lorn \[options\] query TABLE EXPR' "$2" || {
  echo "$2: the usage of lorn query is missing" >&2
  exit 1
}
