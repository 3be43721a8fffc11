#!/usr/bin/env bash
# Resection of a converted synthetic run onto the model's mesh, against the
# true Cp at the mesh's nodes: `tamble synth` writes the run with its grid
# (about 100 000 nodes at 2048 pixels) and true functions, `tamble convert`
# runs the scenario with "Resect Output Fields" on, and `tamble mesh-compare`
# sets the resected Cp beside the true one at the nodes the camera sees.
# Prints one row per run: nodes seen, the errors, the mean reprojection
# error of the matched markers (x and y, pixels) and the time of the
# resection of one image (the stage's time over its four results).
#     bench/resect_mesh_accuracy.sh [TAMBLE] [SIZES...]
set -euo pipefail
tamble=${1:-build/release/apps/tamble}
tamble=$(realpath "$tamble")
shift || true
sizes=("${@:-1024 2048}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

row() {  # size condition synth-options...
  local size=$1 condition=$2; shift 2
  local dir="$work/$size-${condition// /}"
  "$tamble" synth "$dir" size="$size" "$@" >/dev/null
  local report figures
  report=$(cd "$dir" && "$tamble" --store store.ini convert run.vur m_CB01_Resection=1)
  figures=$(cd "$dir" && printf 'mesh run_resect.dat\nmesh-compare "Cp - (run)" Cp\n' |
    "$tamble" script - | tail -1)
  local seen total rms median p99 worst stage ex ey
  seen=$(echo "$figures" | sed -n 's/nodes=\([0-9]*\) of.*/\1/p')
  total=$(echo "$figures" | sed -n 's/.* of \([0-9]*\) .*/\1/p')
  rms=$(echo "$figures" | sed -n 's/.* rms=\([^ ]*\).*/\1/p')
  median=$(echo "$figures" | sed -n 's/.* median=\([^ ]*\).*/\1/p')
  p99=$(echo "$figures" | sed -n 's/.* p99=\([^ ]*\).*/\1/p')
  worst=$(echo "$figures" | sed -n 's/.* worst=\([^ ]*\).*/\1/p')
  stage=$(echo "$report" | sed -n 's/.*Resection: \([0-9.]*\) seconds/\1/p')
  ex=$(echo "$report" | sed -n '/Resection: Cp - (run)/,/y Average/s/.*x Average error = \([0-9.e-]*\).*/\1/p')
  ey=$(echo "$report" | sed -n '/Resection: Cp - (run)/,/y Average/s/.*y Average error = \([0-9.e-]*\).*/\1/p')
  printf "| %4s | %-18s | %6s of %6s (%s %%) | %-8s | %-9s | %-8s | %-8s | %.3f / %.3f | %.3f s |\n" \
    "$size" "$condition" "$seen" "$total" "$(awk "BEGIN{printf \"%.1f\", 100*$seen/$total}")" \
    "$rms" "$median" "$p99" "$worst" "$ex" "$ey" "$(awk "BEGIN{print $stage/4}")"
}

echo "| size | condition          | nodes seen               | Cp RMS   | median    | 99 %     | worst    | markers x / y px | one image |"
echo "|---|---|---|---|---|---|---|---|---|"
for size in ${sizes[@]}; do
  row "$size" "noise 0, motion 0" noise=0 motion=0
  row "$size" "noise 1, motion 0" motion=0
  row "$size" "noise 1, motion 4"
done
