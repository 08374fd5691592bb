#!/usr/bin/env bash
# TEAM 7 (examples/team7), AC, on the refine-2 mesh (about 0.26 million complex unknowns): COCG
# iterations, the time of each stage, peak memory, and Bz and |Jy| against the measured tables.
# bench/team7_job.sh [folder] [frequency] [refine] (default scratch/bench_team7, 50 Hz, refine 2);
# Gmsh makes the mesh there when it is missing (never committed).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
folder="${1:-$root/scratch/bench_team7}"
frequency="${2:-50}"
refine="${3:-2}"
mkdir -p "$folder"
if [ ! -f "$folder/pre_geom.nas" ] || [ "$(cat "$folder/refine" 2>/dev/null)" != "$refine" ]; then
  (cd "$folder" && gmsh "$root/examples/team7/team7.geo" -3 -setnumber refine "$refine" -format bdf \
    -o pre_geom.nas >gmsh.log 2>&1)
  echo "$refine" >"$folder/refine"
fi
# The frequency card and the period of the coil's sine.
period="$(python3 -c "print(repr(1.0 / $frequency))")"
sed -e "s/^50.0 0.0 0.0 0$/${frequency}.0 0.0 0.0 0/" -e "s/^1.0 0.02 0.0$/1.0 ${period} 0.0/" \
  "$root/examples/team7/input" >"$folder/input"
cd "$folder"
/usr/bin/time -v "$root/build/src/TesmoraBatch" >stdout.txt 2>time.txt
grep -E 'Number of unknowns|Number of non_zero' output
grep -B1 -A1 'ICCG converges' output | tail -1 | awk '{print "COCG iterations " $1 ", residual " $2}'
grep -A7 'CPU Times' output | tail -6
grep -E 'Elapsed|Maximum resident' time.txt
python3 "$root/tools/team7_bz.py" . --freq "$frequency" | grep -E 'relative L2|x = 126|largest deviation'
