#!/usr/bin/env bash
# Exports are taken by who they are for: compilers, a JSON reader, a profiler; and the commands' own refusals.
# Arguments: the program and a calibrated session.
set -euo pipefail
cali=$1 results=$2/results.json
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"

# Status, a part of what is printed, and the arguments.
run() {
  local expected=$1 part=$2 status=0
  shift 2
  "$cali" "$@" >log 2>&1 || status=$?
  [ "$status" -eq "$expected" ] && { [ -z "$part" ] || grep -qF -- "$part" log; } ||
    { cat log; echo "cali $*: status $status, expected $expected and '$part'"; exit 1; }
}
run 0 "written: tuning.h" export "$results" --format header --illuminant 5000 --gain 1 --out tuning.h
cat >main.c <<'C'
#include <stdio.h>
#include "tuning.h"
int main(void) {
    printf("%d %d %d %d\n", (int)cali_blc_offset[0], (int)cali_ccm[0] + (int)cali_ccm[1] + (int)cali_ccm[2],
           (int)cali_lsc_mesh_size[0], (int)cali_lsc_mesh_green[33 * 12 + 16]);
    return 0;
}
C
for compiler in "cc -x c -std=c11" "c++ -x c++ -std=c++11"; do
  $compiler -Wall -Wno-unused -Werror main.c -o main
  read -r black row nodes centre < <(./main)
  [ "$black" -eq 64 ] && [ "$nodes" -eq 33 ] && [ "$row" -gt 980 ] && [ "$row" -lt 1070 ] &&
    [ "$centre" -gt 500 ] && [ "$centre" -lt 524 ] || { echo "tuning.h: $black $row $nodes $centre"; exit 1; }
done
run 0 "reg_lsc_gtbl" export "$results" --format registers --illuminant 5000 --gain 1
run 0 "colour_matrix,5000 K,matrix_11," export "$results" --format csv
run 0 "LUT_3D_SIZE" export "$results" --format cube --illuminant 2850
run 0 "CalibrationIlluminant2: 21" export "$results" --format dng

for stack in rpi-bcm2835 rpi-pisp; do
  "$cali" export "$results" --format "$stack" 2>/dev/null >"$stack.json"
  python3 -c 'import json, sys; tuning = json.load(open(sys.argv[1])); assert tuning["version"] == 2.0' "$stack.json"
  run 0 "" validate "$stack.json"
  run 0 "written: $stack.new" export "$results" --format "$stack" --update "$stack.json" --out "$stack.new"
  cmp "$stack.json" "$stack.new"
done
sed -i 's/"ct": 5000/"ct": 2000/' rpi-pisp.json
run 1 "rpi-pisp.json:" validate rpi-pisp.json

run 2 "choose one with --illuminant" export "$results" --format ti3
run 2 "no such results file" export nothing.json --format csv
run 2 "cropped or binned from a sensor of 1280 x 960" export "$results" --format rkisp1 --sensor-size 1280x960
run 2 "csv has no file to put values into" export "$results" --format csv --update rpi-pisp.json
run 2 "expected \"bcm2835\"" export "$results" --format rpi-bcm2835 --update rpi-pisp.json
mkfifo pipe
run 2 "pipe: cannot be read as a file" export "$results" --format rkisp1 --update pipe
[ ! -e nothing ] && [ "$(find . -name '*.part' | wc -l)" -eq 0 ]

command -v colprof >/dev/null || { echo "argyll is not installed"; exit 77; }
run 0 "written: chart.ti3" export "$results" --format ti3 --illuminant 5000 --out chart.ti3
colprof -a m chart
profcheck chart.ti3 chart.icc | tee check.log
# A matrix profile is no worse than our matrix: both are fitted to the same patches.
ours=$(sed -n 's/^colour_matrix,5000 K,after_mean_de_ab,\([^,]*\),.*/\1/p' <("$cali" export "$results" --format csv))
awk -v ours="$ours" '/^Profile check complete/ {
  sub(/.*avg[^=]*= /, ""); found = 1; average = $1 + 0
} END { exit !(found && average < ours * 1.1) }' check.log || { echo "ours: $ours"; exit 1; }
