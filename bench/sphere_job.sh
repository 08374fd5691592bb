#!/usr/bin/env bash
# The whole sphere job (examples/sphere) on a mesh of about a million unknowns: time per stage,
# ICCG iterations and peak memory. bench/sphere_job.sh [folder] (default scratch/bench_sphere);
# the mesh is made there by tools/make_bench_mesh.sh when it is missing, and never committed.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
folder="${1:-$root/scratch/bench_sphere}"
[ -f "$folder/pre_geom.nas" ] || "$root/tools/make_bench_mesh.sh" "$folder"
cp "$root/examples/sphere/input" "$folder/input"
cd "$folder"
/usr/bin/time -v "$root/build/src/TesmoraBatch" >stdout.txt 2>time.txt
grep -E 'Number of unknowns|Number of non_zero' output
grep -E 'Total number of ICCG' output
grep -E 'TOTAL|Input, Pre|Matrix making|Equation solving|Post-processing' output
grep -E 'Elapsed|Maximum resident' time.txt
