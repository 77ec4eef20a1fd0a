#!/bin/sh
# Makes the manual page of lorn with help2man: "lorn --help" and "lorn
# --version" as help2man reads them, a SYNOPSIS, and a COMMANDS section of the
# help of each command that "lorn --help" lists, as lorn prints it.
#   make_man.sh path/to/help2man path/to/lorn lorn.1
set -eu
help2man=$1
lorn=$2
page=$3
include=$page.h2m

{
  echo '[SYNOPSIS]'
  echo '.nf'
  "$lorn" --help | sed -n '/^Usage:/,/^$/s/^  //p' | sed -e 's/-/\\-/g'
  echo '.fi'
  echo '[COMMANDS]'
  echo 'Each command takes its own options behind it; lorn COMMAND --help prints'
  echo 'the same text.'
  for command in $("$lorn" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do
    echo ".SS \"lorn $command\""
    echo '.nf'
    # The pointer to the common options closes every command's help: the
    # page holds them once, in DESCRIPTION.
    "$lorn" "$command" --help | sed -e '/^Common options (/,$d' |
      sed -e 's/\\/\\e/g' -e "s/^\([.']\)/\\\\\&\1/" | sed -e '${/^$/d}'
    echo '.fi'
  done
} >"$include"

"$help2man" --no-info --name "query and rewrite catalogue tables" --include "$include" \
  --output "$page.tmp" "$lorn"
# help2man would fill the usage lines of DESCRIPTION into one: SYNOPSIS
# holds them.
sed -e '/^\.SS "Usage:"$/,/^\.SS /{/^\.SS "Usage:"$/d;/^\.SS /!d}' "$page.tmp" >"$page"
rm -f "$page.tmp" "$include"
