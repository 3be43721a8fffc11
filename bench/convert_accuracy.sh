#!/usr/bin/env bash
# The whole conversion against the truth: synthetic runs of three paints at
# two sizes, converted by `tamble convert` with the scenario `tamble synth`
# writes, compared with their true Cp (or T) over the model less a rim of 3
# pixels and farther than 10 pixels from the true marker centres. Three
# conditions: no noise and no motion (what the conversion itself leaves),
# the default noise without motion (what the noise leaves), and the default
# noise and motion (a run as it comes). Prints one table row per run, and
# the conversion's own time from its report.
#     bench/convert_accuracy.sh [TAMBLE] [SIZES...]
set -euo pipefail
tamble=${1:-build/release/apps/tamble}
tamble=$(realpath "$tamble")
shift || true
sizes=("${@:-1024 2048}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

row() {  # paint size condition synth-options...
  local paint=$1 size=$2 condition=$3; shift 3
  local dir="$work/$paint-$size-$condition" quantity=Cp answer=""
  [ "$paint" = temperature ] && quantity=T
  [ "$paint" = single ] && answer="m_type=P"
  [ "$paint" = temperature ] && answer="m_type=T"
  "$tamble" synth "$dir" paint="$paint" size="$size" "$@" >/dev/null
  local report
  report=$(cd "$dir" && "$tamble" --store store.ini convert run.vur $answer)
  local seconds
  seconds=$(echo "$report" | sed -n 's/.*Computational time: \([0-9.]*\) seconds/\1/p')
  local figures
  figures=$(cd "$dir" && "$tamble" script - <<EOS
open F=wind_on_sens_$quantity.imp truth_$quantity.imp
load-markers F markers_wind_off.mrk
compare F truth_$quantity edge=3 away=10
EOS
)
  local rms worst
  rms=$(echo "$figures" | sed -n 's/.* rms=\([^ ]*\).*/\1/p')
  worst=$(echo "$figures" | sed -n 's/.* worst=\([^ ]*\).*/\1/p')
  printf "| %-11s | %4s | %-22s | %-9s | %-9s | %6s s |\n" "$paint" "$size" "$condition" "$rms" "$worst" "$seconds"
}

echo "| paint       | size | condition              | RMS       | worst     | stages   |"
echo "|---|---|---|---|---|---|"
for size in ${sizes[@]}; do
  for paint in double single temperature; do
    extra=()
    [ "$paint" = single ] && extra=(plates=4)
    row $paint "$size" "noise 0, motion 0" noise=0 motion=0 "${extra[@]}"
    row $paint "$size" "noise 1, motion 0" motion=0 "${extra[@]}"
    row $paint "$size" "noise 1, motion 4" "${extra[@]}"
  done
done
