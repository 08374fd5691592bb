#!/usr/bin/env bash
# Sets up, builds, and runs the default example job in a scratch folder; prints where its
# results are.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/tools/setup.sh"
"$root/tools/build.sh" "$root/build" -DTESMORA_TESTS=OFF

job="$root/scratch/example"
rm -rf "$job"
mkdir -p "$job"
cp -r "$root/examples/sphere/." "$job/"
echo "Running the default example job (examples/sphere: an iron sphere, mu_r 1000, in a uniform"
echo "field of 1 T; one octant) in $job"
status=0
(cd "$job" && "$root/build/src/TesmoraBatch") || status=$?
echo "TesmoraBatch ended with exit status $status."
echo "Results in $job:"
echo "  report      $job/output"
echo "  transcript  $job/check"
echo "  summary     $job/output.json"
echo "  errors      $job/stderr"
echo "  post files  $job/post_geom.unv (the mesh) and"
echo "              $job/magnetic (B at element centres and nodes), both UNV"
echo "Closed form: B = 3 mu_r / (mu_r + 2) B0 = 2.9940 T, uniform inside the sphere (examples/sphere/README.md)."
exit "$status"
