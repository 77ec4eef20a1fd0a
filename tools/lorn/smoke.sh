#!/usr/bin/env bash
# Smoke run of the lorn command on tables made here as a user has them: a
# UTF-8 TSV, queried in place, from a read-only folder and from standard
# input, and a CSV with quoted fields, refused as a table and imported.
#   tools/lorn/smoke.sh [path/to/lorn]
set -euo pipefail
lorn=$(realpath "${1:-build/tools/lorn/lorn}")
work=$(mktemp -d)
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
cd "$work"
export XDG_CACHE_HOME="$work/cache"

fail() {
  echo "smoke: $*" >&2
  exit 1
}
expect() {  # expected-output command...
  local want=$1 got
  shift
  got=$("$@") || [ $? -eq 1 ] || fail "$* failed"
  [ "$got" = "$want" ] || fail "$*: got [$got], want [$want]"
}

printf 'country\tcapital\tpeople\r\n' >countries.tsv
printf 'Côte d'"'"'Ivoire\tYamoussoukro\t28160542\r\n' >>countries.tsv
printf 'Österreich\tWien\t9042528\r\n' >>countries.tsv
printf 'Ελλάδα\tΑθήνα\t10341277\r\n' >>countries.tsv
printf 'Россия\tМосква\t144444359\r\n' >>countries.tsv

"$lorn" -q index countries.tsv people country
expect $'capital\tcountry\nWien\tÖsterreich\nΑθήνα\tΕλλάδα' \
  "$lorn" -q query countries.tsv "people<20000000" --select capital,country
expect $'capital\nМосква' "$lorn" -q query countries.tsv "country=Россия" --select capital --limit 1
expect 4 "$lorn" -q query countries.tsv "people>0" --count

mkdir ro && cp countries.tsv ro/ && chmod a-w ro
expect $'capital\nYamoussoukro' "$lorn" -q query ro/countries.tsv "people>20000000 & people<30000000" \
  --select capital
[ ! -e ro/countries.SDX ] || fail "a sidecar was written in a read-only folder"
expect "3" sh -c "cat countries.tsv | '$lorn' -q query - 'country>P' --count"

printf 'name,city,note\r\n"Smith, John",Zürich,"said ""hi"""\r\nAnna,"Köln",\r\n' >people.csv
if "$lorn" -q --sep , query people.csv "name=Anna" >/dev/null 2>err.txt; then
  fail "a quoted CSV was read as a table"
fi
grep -q "lorn import" err.txt || fail "no hint to import: $(cat err.txt)"
"$lorn" import people.csv people.txt
expect $'name,city,note\n"Smith, John",Zürich,"said ""hi"""' \
  "$lorn" -q --csv query people.txt "name='Smith, John'"
expect $'city\nKöln' "$lorn" -q query people.txt "city=k*" --select city
echo "smoke: all good"
