#!/usr/bin/env bash
# Kills lorn's rewriting commands (and index) with SIGKILL at random moments
# and sorts what each kill leaves: the table as it was (old), as the command
# makes it (new), or anything else (wrong); the sidecar that stands beside
# it, as `lorn check` finds it: unfinished (torn: the next open drops it) or
# not agreeing with the table (wrong); and the files left in the table's
# folder and in $TMPDIR beside those that belong there.
# KILLS_OPS chooses the operations, KILLS_VERBOSE=1 shows what check says.
#
#   bench/kill_rewrites.sh LORN [RUNS] [ROWS]
set -euo pipefail
lorn=$(realpath "$1")
runs=${2:-40}
rows=${3:-100000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

python3 - "$rows" >"$work/base.txt" <<'PY'
import random, sys
random.seed(7)
print("REF\tFAMILY\tCOLOR\tPRICE", end="\r\n")
for i in range(int(sys.argv[1])):
    print(f"R{i // 3:06d}\tF{i % 17}\t{random.choice(['RED','BLUE','GREEN','GREY'])}\t{random.randint(1, 999)}.{i % 100:02d}", end="\r\n")
PY

# The state a command starts from, in $work/t: the table and its sidecar.
setup() {  # op
  rm -rf "$work/t" && mkdir -p "$work/t/tmp"
  cp "$work/base.txt" "$work/t/t.txt"
  if [ "$1" = uncompact ]; then
    "$lorn" -q compact "$work/t/t.txt" COLOR
  fi
  "$lorn" -q index "$work/t/t.txt" FAMILY COLOR >/dev/null
}
command_of() {  # op
  case $1 in
    compact) echo "compact t.txt COLOR" ;;
    uncompact) echo "uncompact t.txt COLOR" ;;
    delete) echo "delete t.txt 1 1000 50000" ;;
    index) echo "index t.txt REF PRICE" ;;
  esac
}

printf '%-10s %5s %5s %5s %6s %12s %12s %10s\n' operation kills old new wrong "torn sidecar" "wrong sidecar" leftovers
for op in ${KILLS_OPS:-compact uncompact delete index}; do
  setup "$op"
  cp "$work/t/t.txt" "$work/old.txt"
  start=$(date +%s%N)
  (cd "$work/t" && TMPDIR="$work/t/tmp" "$lorn" -q $(command_of "$op") >/dev/null)
  span=$(( ($(date +%s%N) - start) / 1000 ))  # microseconds
  cp "$work/t/t.txt" "$work/new.txt"
  old=0 new=0 wrong=0 torn=0 badside=0 left=0
  for ((i = 0; i < runs; i++)); do
    setup "$op"
    (cd "$work/t" && exec env TMPDIR="$work/t/tmp" "$lorn" -q $(command_of "$op") >/dev/null 2>&1) &
    pid=$!
    sleep "$(awk -v s="$span" -v r="$RANDOM" 'BEGIN { printf "%.6f", s * 1.1 * r / 32768 / 1e6 }')"
    kill -KILL "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
    if cmp -s "$work/t/t.txt" "$work/old.txt"; then
      old=$((old + 1))
    elif cmp -s "$work/t/t.txt" "$work/new.txt"; then
      new=$((new + 1))
    else
      wrong=$((wrong + 1))
    fi
    extra=$(cd "$work/t" && find . -mindepth 1 ! -name t.txt ! -name t.SDX ! -name tmp | wc -l)
    left=$((left + extra))
    [ -z "${KILLS_VERBOSE:-}" ] || [ "$extra" = 0 ] ||
      (cd "$work/t" && find . -mindepth 1 ! -name t.txt ! -name t.SDX ! -name tmp >&2)
    if [ -e "$work/t/t.SDX" ] && ! (cd "$work/t" && "$lorn" -q check t.txt >"$work/check.out" 2>&1); then
      [ -z "${KILLS_VERBOSE:-}" ] || cat "$work/check.out" >&2
      if grep -q "cannot serve" "$work/check.out"; then
        torn=$((torn + 1))  # unfinished: the next open drops it
      else
        badside=$((badside + 1))
      fi
    fi
  done
  printf '%-10s %5d %5d %5d %6d %12d %12d %10d\n' "$op" "$runs" "$old" "$new" "$wrong" "$torn" "$badside" \
    "$left"
done
