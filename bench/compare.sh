#!/usr/bin/env bash
# lorn beside SQLite and beside a bare pass over the file, in one run, on the
# same plain catalogue (no lists, ranges or wildcards, which SQLite cannot
# read as such).
#
#   bench/compare.sh [--rows N] [--reps R] [--queries Q] [--seed S] [--keep]
#
# What it does:
#   1. builds lorn_bench, lorn_gen, floor_pass, lorn_sqlite_bench and the lorn
#      command in build-bench (Release); installs sqlite3 and libsqlite3-dev
#      with apt-get when they are missing;
#   2. generates the plain catalogue (lorn_gen --plain);
#   3. times the floor: `cat FILE > /dev/null` and floor_pass (64 KiB blocks,
#      counting TABs and LFs);
#   4. times SQLite's import and indexing in one sqlite3 process (.mode tabs,
#      .import, CREATE INDEX on STOCK, PRIX, LIBELLE), then runs
#      lorn_sqlite_bench: the same workload as lorn_bench, prepared and warm;
#   5. runs lorn_bench --plain on the same data;
#   6. times a fresh `lorn query --count` process against a fresh `sqlite3`
#      process counting the rows of the same point query;
#   7. prints every lorn figure beside SQLite's and as a ratio to the floor,
#      then the targets, met or not.
#
# Ratios use the median CPU time (user + system) of each side, which stays
# meaningful on a busy machine; the wall-clock medians are printed too.
set -euo pipefail
cd "$(dirname "$0")/.."

rows=1000000
reps=3
queries=1000
seed=1998
keep=0
while [ $# -gt 0 ]; do
  case "$1" in
    --rows) rows=$2; shift 2 ;;
    --reps) reps=$2; shift 2 ;;
    --queries) queries=$2; shift 2 ;;
    --seed) seed=$2; shift 2 ;;
    --keep) keep=1; shift ;;
    *) sed -n '2,8p' "$0" | sed 's/^# \{0,1\}//'; exit 2 ;;
  esac
done

need=()
command -v sqlite3 >/dev/null || need+=(sqlite3)
[ -f /usr/include/sqlite3.h ] || need+=(libsqlite3-dev)
command -v cmake >/dev/null || need+=(cmake)
command -v ninja >/dev/null || need+=(ninja-build)
command -v g++ >/dev/null || need+=(g++)
if [ ${#need[@]} -gt 0 ]; then
  echo "installing: ${need[*]}" >&2
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq "${need[@]}"
fi

build=build-bench
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DLORN_BUILD_BENCH=ON \
  -DLORN_BUILD_TESTS=OFF -DLORN_BUILD_TOOLS=ON -DLORN_WERROR=OFF >/dev/null
targets=(lorn_bench lorn_gen floor_pass lorn_sqlite_bench)
[ -d tools/lorn ] && targets+=(lorn_cli)
cmake --build "$build" -j "$(nproc)" --target "${targets[@]}" >/dev/null
bin=$build/bench
lorn_cli=$build/tools/lorn/lorn

work=$(mktemp -d "${TMPDIR:-/tmp}/lorn-compare-XXXXXX")
cleanup() { [ "$keep" = 1 ] && echo "files kept in $work" || rm -rf "$work"; }
trap cleanup EXIT
plain=$work/plain.txt
"$bin/lorn_gen" --plain --rows "$rows" --seed "$seed" "$plain" 2>/dev/null
bytes=$(stat -c %s "$plain")

median() { sort -g | awk '{ a[NR] = $1 } END { if (NR % 2) print a[(NR + 1) / 2]; else print (a[NR / 2] + a[NR / 2 + 1]) / 2 }'; }
# Runs a command; prints "wall cpu" in seconds (cpu: user + system).
timed() {
  local TIMEFORMAT='%R %U %S' t
  t=$({ time "$@" >/dev/null 2>&1; } 2>&1)
  awk '{ printf "%.6f %.6f\n", $1, $2 + $3 }' <<<"$t"
}
# Runs a command n times: prints the median wall time of one run (from
# nanosecond clocks) and the mean cpu time of one run (user + system of all
# runs, which bash counts in milliseconds, divided by n).
timed_median() {
  local n=$1
  shift
  local TIMEFORMAT='%U %S' walls cpu
  cpu=$({ time for _ in $(seq "$n"); do
    local start end
    start=$(date +%s%N)
    "$@" >/dev/null 2>&1 || true
    end=$(date +%s%N)
    echo "$(((end - start) / 1000))" >>"$work/walls"
  done; } 2>&1)
  walls=$(median <"$work/walls")
  rm -f "$work/walls"
  awk -v w="$walls" -v n="$n" '{ printf "%.6f %.6f\n", w / 1e6, ($1 + $2) / n }' <<<"$cpu"
}

echo "compare: $rows rows, $((bytes / 1000000)) MB, commit $(git rev-parse --short HEAD 2>/dev/null || echo '?')," \
  "$(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg)"

cat "$plain" >/dev/null  # warm the page cache
cat_wall=$(for _ in $(seq "$reps"); do timed cat "$plain"; done | cut -d' ' -f1 | median)
floor_samples=$(for _ in $(seq "$reps"); do "$bin/floor_pass" "$plain"; done)
floor_wall=$(awk '{ print $7 }' <<<"$floor_samples" | median)

echo "importing into SQLite ($reps times)..."
db=$work/plain.db
import_sql=$work/import.sql
cat >"$import_sql" <<EOF
PRAGMA journal_mode=OFF;
PRAGMA synchronous=OFF;
CREATE TABLE cat(REF TEXT, LIBELLE TEXT, FAMILLE TEXT, PRIX REAL, STOCK INTEGER,
                 COULEUR TEXT, TAILLE INTEGER, FOURNISSEUR TEXT);
.mode tabs
.import --skip 1 $plain cat
CREATE INDEX i_stock ON cat(STOCK);
CREATE INDEX i_prix ON cat(PRIX);
CREATE INDEX i_libelle ON cat(LIBELLE);
EOF
import_samples=$(for _ in $(seq "$reps"); do
  rm -f "$db"
  timed sh -c "sqlite3 '$db' < '$import_sql'"
done)
sqlite_index_wall=$(cut -d' ' -f1 <<<"$import_samples" | median)
sqlite_index_cpu=$(cut -d' ' -f2 <<<"$import_samples" | median)
[ "$(sqlite3 "$db" 'SELECT count(*) FROM cat')" = "$rows" ] || {
  echo "compare: SQLite imported the wrong number of rows" >&2
  exit 1
}

echo "running lorn_sqlite_bench..."
"$bin/lorn_sqlite_bench" --db "$db" --rows "$rows" --seed "$seed" --reps "$reps" \
  --queries "$queries" --bytes "$bytes" --csv "$work/sqlite.csv" >"$work/sqlite.txt"
echo "running lorn_bench --plain..."
lorn_status=0
"$bin/lorn_bench" --plain --rows "$rows" --seed "$seed" --reps "$reps" --queries "$queries" \
  --only floor,index,add,open,point,range,three,view,readrow,nextcol,delete \
  --dir "$work/lorn" --csv "$work/lorn.csv" >"$work/lorn.txt" || lorn_status=$?
cmp -s "$plain" "$work/lorn/cat.txt" || echo "warning: lorn_bench did not generate the same bytes" >&2

# A fresh process each: one point query on STOCK, its rows counted.
key=$(awk -F'\t' 'NR == 2 { print $5 }' "$plain")
fresh_lorn="-"
if [ -x "$lorn_cli" ]; then
  "$lorn_cli" query --count "$work/lorn/cat.txt" "STOCK=$key" >/dev/null || true  # warm
  read -r fresh_lorn fresh_lorn_cpu < <(timed_median 21 "$lorn_cli" query --count "$work/lorn/cat.txt" "STOCK=$key")
fi
sqlite3 "$db" "SELECT count(*) FROM cat WHERE STOCK=$key" >/dev/null
read -r fresh_sqlite fresh_sqlite_cpu < <(timed_median 21 sqlite3 "$db" "SELECT count(*) FROM cat WHERE STOCK=$key")

echo
echo "== lorn_bench (plain data) =="
cat "$work/lorn.txt"
echo
echo "== lorn_sqlite_bench =="
cat "$work/sqlite.txt"
echo
echo "== side by side (ratios by CPU time; > 1 means lorn is faster) =="
awk -F, -v floor="$floor_wall" -v sw="$sqlite_index_wall" -v sc="$sqlite_index_cpu" \
  -v cat_wall="$cat_wall" '
  function t(s) { return s <= 0 ? "-" : s < 1e-3 ? sprintf("%.2f us", s * 1e6) : s < 1 ? sprintf("%.2f ms", s * 1e3) : sprintf("%.2f s", s) }
  FNR == 1 { next }
  FILENAME ~ /sqlite.csv$/ { swall[$1] = $2; scpu[$1] = $3; next }
  { key[++n] = $1; lwall[$1] = $2; lcpu[$1] = $3; ok[$1] = $7 }
  END {
    swall["index3"] = sw; scpu["index3"] = sc
    printf "%-14s %11s %11s %11s %11s %9s %10s\n", "phase", "lorn wall", "lorn cpu", "SQLite wall", "SQLite cpu", "x SQLite", "/ floor"
    printf "%-14s %11s %11s\n", "cat process", t(cat_wall), ""
    printf "%-14s %11s %11s\n", "floor_pass", t(floor), ""
    for (i = 1; i <= n; i++) {
      k = key[i]
      ratio = "-"
      if ((k in scpu) && lcpu[k] > 0) ratio = sprintf("%.2f", scpu[k] / lcpu[k])
      sw_text = (k in swall) ? t(swall[k]) : "-"
      sc_text = (k in scpu) ? t(scpu[k]) : "-"
      per_floor = (floor > 0) ? lwall[k] / floor : 0
      flag = (ok[k] == 1) ? "" : "  (check FAILED)"
      printf "%-14s %11s %11s %11s %11s %9s %10.1f%s\n", k, t(lwall[k]), t(lcpu[k]), sw_text, sc_text, ratio, per_floor, flag
    }
  }' "$work/sqlite.csv" "$work/lorn.csv"
awk -v lw="$fresh_lorn" -v lc="${fresh_lorn_cpu:-0}" -v sw="$fresh_sqlite" -v sc="$fresh_sqlite_cpu" '
  BEGIN { printf "%-14s %8.2f ms %8.2f ms %8.2f ms %8.2f ms %9.2f\n", "fresh process", lw * 1e3, lc * 1e3, sw * 1e3, sc * 1e3, (lw > 0) ? sw / lw : 0 }' </dev/null

echo
echo "== targets =="
awk -F, -v floor="$floor_wall" -v sc="$sqlite_index_cpu" -v fl="$fresh_lorn" -v fs="$fresh_sqlite" '
  function verdict(b) { return b ? "met" : "NOT met" }
  FNR == 1 { next }
  FILENAME ~ /sqlite.csv$/ { scpu[$1] = $3; next }
  { wall[$1] = $2; cpu[$1] = $3; work[$1] = $4; peak[$1] = $6 }
  END {
    r = wall["index3"] / floor
    printf "indexing from scratch <= 6x the bare pass:        %.1fx            %s\n", r, verdict(r <= 6)
    r = sc / cpu["index3"]
    printf "indexing >= 15x faster than SQLite import+index:  %.1fx (cpu)      %s\n", r, verdict(r >= 15)
    r = wall["add_index"] / floor
    printf "adding one index <= 3x the bare pass:             %.1fx            %s\n", r, verdict(r <= 3)
    split("long real str", ty, " ")
    for (i = 1; i <= 3; i++) {
      k = "point_" ty[i]
      r = scpu[k] / cpu[k]
      printf "point query %-4s >= 5x faster than SQLite:        %.2fx (cpu)     %s\n", ty[i], r, verdict(r >= 5)
    }
    if (fl != "-") {
      printf "fresh lorn --count <= 0.4x a fresh sqlite3:       %.2f ms vs %.2f ms (wall, %.2fx)  %s\n", fl * 1e3, fs * 1e3, fl / fs, verdict(fl + 0 <= 0.4 * fs)
    }
    worst = -1
    # By CPU time like the ratios: on a busy machine the wall clock counts
    # the other processes too.
    for (k in work) if (k ~ /^range/) { rate = work[k] / cpu[k]; if (worst < 0 || rate < worst) { worst = rate; wk = k } }
    printf "range queries >= 2,000,000 rows/s incl. rows:     %.0f rows/s (%s, cpu)  %s\n", worst, wk, verdict(worst >= 2e6)
    printf "peak memory while indexing:                       %.1f MiB (compare across --rows)\n", peak["index3"] / 1024
  }' "$work/sqlite.csv" "$work/lorn.csv"
[ "$lorn_status" = 0 ] || echo "lorn_bench reported a failed check (status $lorn_status)" >&2
exit "$lorn_status"
