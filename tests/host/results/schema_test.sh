#!/usr/bin/env bash
# Results of the whole chain and of single commands follow the schema, and documents that do not are found. Arguments:
# the program, a calibrated session, and the script that checks.
set -euo pipefail
cali=$1 session=$2 check=$3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# The arguments behind the status that is expected.
run() {
  local expected=$1 status=0
  shift
  "$cali" "$@" >log 2>&1 || status=$?
  [ "$status" -eq "$expected" ] || { cat log; echo "cali $*: status $status, expected $expected"; exit 1; }
}
geometry=(--session "$session/session.toml")
run 0 blc "$session/dark_1.raw" "${geometry[@]}" --blocks 6 --results steps.json
run 0 lsc "$session/flat_5000K.raw" "${geometry[@]}" --results steps.json
run 0 awb "$session/grey_5000K.raw" "${geometry[@]}" --results steps.json
run 0 ccm "$session/chart_5000K.raw" "${geometry[@]}" --method joint --results steps.json
{
  echo '# white D65, observer 2, scale 1'
  echo 'patch,X,Y,Z'
  for patch in {1..18}; do echo "$patch,0.1,0.2,0.3"; done
  for patch in {19..24}; do echo "$patch,0.$((27 - patch))6,0.$((28 - patch)),0.$((28 - patch))9"; done
} >chart.csv
run 1 ccm "$session/chart_5000K.raw" "${geometry[@]}" --reference chart.csv --method measured --results steps.json
run 0 clut --domain hsv --nodes 5 --results steps.json --force
run 1 lsc "$session/dark_1.raw" "${geometry[@]}" --illuminant 5000 --results steps.json
run 1 blc "$session/grey_5000K.raw" "${geometry[@]}" --results rejected.json
run 0 blc "$session/grey_5000K.raw" "${geometry[@]}" --results forced.json --force
# Two equal levels have no line: what is not finite is null.
run 1 noise "${geometry[@]}" --level "$session/dark_1.raw" --level "$session/dark_1.raw" --black-level 60 \
  --results null.json
cat >given.toml <<TOML
[sensor]
width = 640
height = 480
pattern = "GRBG"
bits = 12
[black_level]
offset = [64, 66, 65, 63]
[captures]
grey = "$session/grey_5000K.raw"
TOML
run 0 calibrate given.toml --out given

# One channel, two gains.
run 0 simulate mono --pattern MONO --gains 1,4 --size 320x240 --illuminants 5000 --series-levels 3 --format raw
run 0 calibrate mono/session.toml

files=(mono/results.json steps.json rejected.json forced.json null.json given/results.json)
grep -q '"status": "rejected"' rejected.json
grep -q '"status": "forced"' forced.json
grep -q '"method": "given"' given/results.json
grep -q ': null' null.json
status=0
"$check" "$session/results.json" "${files[@]}" || status=$?
[ "$status" -eq 0 ] || exit "$status"

# A change to the document, and the line that it gives.
while IFS='|' read -r change line; do
  sed "$change" steps.json >changed.json
  found=$("$check" changed.json || true)
  case "$found" in *"changed.json: $line"*) ;; *) echo "$change: '$found', expected '$line'"; exit 1 ;; esac
done <<'CASES'
s/"bits": 12/"bits": 17/|sensor.bits: 17 is greater
s/"verdict":/"verdicts":/|the document: 'verdict' is a required property
s/"file": "dark_1/"file": "\/dark_1/|black_level[0].frames[0].file: '/dark_1.raw' does not match
s/"de_2000"/"de_00"/|colour_matrix[0].difference_after: 'de_2000' is a required property
s/"code": "dark_level"/"code": "dark_lavel"/|findings[0].code: 'dark_lavel' is not one of
CASES
