#!/bin/sh
# Writes, for help2man --include, a COMMANDS section of the manual page: the
# help of each command that "lorn --help" lists, as lorn prints it.
#   man_commands.sh path/to/lorn > commands.h2m
set -eu
lorn=$1
echo '[COMMANDS]'
echo 'Each command takes its own options behind it; lorn COMMAND --help prints'
echo 'the same text.'
for command in $("$lorn" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p'); do
  echo ".SS \"lorn $command\""
  echo '.nf'
  # The pointer to the common options closes every command's help: the page
  # holds them once, under OPTIONS.
  "$lorn" "$command" --help | sed -e '/^Common options (/,$d' |
    sed -e 's/\\/\\e/g' -e "s/^\([.']\)/\\\\\&\1/" | sed -e '${/^$/d}'
  echo '.fi'
done
