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
if [ -f "$root/examples/default/input" ]; then
  cp -r "$root/examples/default/." "$job/"
  echo "Running the default example job (examples/default) in $job"
else
  # No complete example job exists yet: run the job spine on a minimal input file.
  : >"$job/input"
  echo "No example job yet: running TesmoraBatch on a minimal (empty) input in $job"
fi
status=0
(cd "$job" && "$root/build/src/TesmoraBatch") || status=$?
echo "TesmoraBatch ended with exit status $status."
echo "Results in $job:"
echo "  report      $job/output"
echo "  transcript  $job/check"
echo "  summary     $job/output.json"
echo "  errors      $job/stderr"
exit "$status"
