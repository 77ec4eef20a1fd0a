# Bash completion of the lorn command: commands, options (the common ones
# before the command, each command's own behind it, both read from lorn's
# help) and column names (read from the table's header line) where a column
# is wanted: --select, --columns, the values column, the names of a query
# expression and the columns of index, compact and uncompact.

_lorn_columns() {  # table separator
  local table=$1 sep=$2
  [ -f "$table" ] || return
  [ "$sep" = '\t' ] && sep=$'\t'
  # A UTF-8 byte order mark is no part of the first name.
  head -n 1 -- "$table" 2>/dev/null | sed $'1s/^\xEF\xBB\xBF//' | tr -d '\r' |
    tr "${sep:-$'\t'}" '\n'
}

_lorn() {
  local cur prev words cword
  _init_completion 2>/dev/null || {
    cur=${COMP_WORDS[COMP_CWORD]}
    prev=${COMP_WORDS[COMP_CWORD - 1]}
    words=("${COMP_WORDS[@]}")
    cword=$COMP_CWORD
  }
  local lorn=${words[0]}
  local i command="" sep="" table="" positional=0
  for ((i = 1; i < cword; i++)); do
    case ${words[i]} in
      --sep) sep=${words[i + 1]} ;;
      --sep=*) sep=${words[i]#--sep=} ;;
    esac
    if [ -z "$command" ]; then
      case ${words[i]} in
        --sep | --range-open | --range-close | --range-sep | --value-sep | --any | --locale | \
          --catalog-dir | --sidecar-dir | --wait) ((i++)) ;;
        -*) ;;
        *) command=${words[i]} ;;
      esac
    else
      case ${words[i]} in
        --select | --columns | --limit | --delimiter | --encoding | --to) ((i++)) ;;
        -*) ;;
        *)
          ((positional++))
          [ $positional -eq 1 ] && table=${words[i]}
          ;;
      esac
    fi
  done

  if [ -z "$command" ]; then
    case $prev in
      --catalog-dir | --sidecar-dir)
        COMPREPLY=($(compgen -d -- "$cur"))
        return
        ;;
      --sep | --range-open | --range-close | --range-sep | --value-sep | --any | --locale | --wait)
        return
        ;;
    esac
    if [[ $cur == -* ]]; then
      COMPREPLY=($(compgen -W "$("$lorn" --help 2>/dev/null | grep -o -- ' --[a-z0-9-]*' |
        sort -u) -q -h" -- "$cur"))
    else
      COMPREPLY=($(compgen -W "$("$lorn" --help 2>/dev/null |
        sed -n '/^Commands:/,/^$/s/^  \([a-z]*\) .*/\1/p')" -- "$cur"))
    fi
    return
  fi

  local IFS=$'\n'
  case $prev in
    --select | --columns)
      local done_part="" part=$cur
      if [[ $cur == *,* ]]; then
        done_part=${cur%,*},
        part=${cur##*,}
      fi
      COMPREPLY=($(compgen -P "$done_part" -W "$(_lorn_columns "$table" "$sep")" -- "$part"))
      compopt -o nospace 2>/dev/null
      return
      ;;
    --limit | --delimiter | --encoding | --to) return ;;
  esac
  if [[ $cur == -* ]]; then
    COMPREPLY=($(compgen -W "$("$lorn" "$command" --help 2>/dev/null |
      sed -n '/^Options:/,$p' | grep -o -- '^  --[a-z-]*' | tr -d ' ')" -- "$cur"))
    return
  fi
  if [ $positional -eq 0 ] || { [ "$command" = import ] && [ $positional -eq 1 ]; }; then
    COMPREPLY=($(compgen -f -- "$cur"))
    compopt -o filenames 2>/dev/null
    return
  fi
  case $command in
    values | index | compact | uncompact)
      COMPREPLY=($(compgen -W "$(_lorn_columns "$table" "$sep")" -- "$cur"))
      ;;
    query)
      # The column name behind the last connector of the expression.
      local head=${cur%[&|]*} rest=$cur
      if [ "$head" != "$cur" ]; then
        rest=${cur:${#head}+1}
        head=${cur:0:${#head}+1}
      else
        head=""
      fi
      rest=${rest# }
      [ "${cur:${#head}:1}" = " " ] && head="$head "
      COMPREPLY=($(compgen -P "$head" -W "$(_lorn_columns "$table" "$sep")" -- "$rest"))
      compopt -o nospace 2>/dev/null
      ;;
  esac
}
complete -F _lorn lorn
