#!/usr/bin/env bash
# TEAM 13 (examples/team13), nonlinear, on the refine-2 mesh (about 1.16 million unknowns): Newton
# iterations, ICCG iterations per Newton step, the wall time of the element terms against that of
# the linear solves, time per stage and peak memory. bench/team13_job.sh [folder] [ampere-turns]
# (default scratch/bench_team13, 1000); Gmsh makes the mesh there when it is missing (never
# committed).
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
folder="${1:-$root/scratch/bench_team13}"
turns="${2:-1000}"
mkdir -p "$folder"
if [ ! -f "$folder/pre_geom.nas" ]; then
  (cd "$folder" && gmsh "$root/examples/team13/team13.geo" -3 -setnumber refine 2 -format bdf \
    -o pre_geom.nas >gmsh.log 2>&1)
fi
sed "s/^RECT 1000.0 0/RECT ${turns}.0 0/" "$root/examples/team13/input" >"$folder/input"
cd "$folder"
/usr/bin/time -v "$root/build/src/TesmoraBatch" >stdout.txt 2>time.txt
grep -E 'Number of unknowns|Number of non_zero' output
grep -E 'step 1: Newton|step 1: nonlinear' stdout.txt
grep -E 'pre_processing|make_system_matrices|solve_equation|post_processing|job end' stdout.txt
grep -E 'Elapsed|Maximum resident' time.txt
