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
cp -r "$root/examples/static/." "$job/"
echo "Running the default example job (examples/static) in $job"
echo "(It reads the control section and stops at the boundary section, whose reader comes next.)"
status=0
(cd "$job" && "$root/build/src/TesmoraBatch") || status=$?
echo "TesmoraBatch ended with exit status $status."
echo "Results in $job:"
echo "  report      $job/output"
echo "  transcript  $job/check"
echo "  summary     $job/output.json"
echo "  errors      $job/stderr"
exit "$status"
