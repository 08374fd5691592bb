#!/usr/bin/env bash
# Configures and builds Tesmora into a build folder: tools/build.sh [folder] [cmake options...]
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
folder="${1:-$root/build}"
shift || true
cmake -S "$root" -B "$folder" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$folder" -j "$(nproc)"
