#!/usr/bin/env bash
# Sets up, builds and runs the whole test suite: once in the optimised build, once under
# AddressSanitizer and UndefinedBehaviorSanitizer. Checks the formatting, the include floors of
# the source tree, and that no source file prints to standard output behind the report
# functions' back.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
"$root/tools/setup.sh"
jobs="$(nproc)"

if grep -rn --include='*.cpp' --include='*.hpp' -E 'std::cout|std::cerr' "$root/src"; then
  echo "Text output goes through write_report and the fault functions, not iostreams." >&2
  exit 1
fi
# The floors of the source tree: src/job is the run-time support that everything includes, so it
# includes nothing from the subsystems; src/run drives them all, so nothing includes it.
if grep -rn --include='*.cpp' --include='*.hpp' -E '#include "[a-z_]+/' "$root/src/job" | grep -v '#include "job/'; then
  echo "src/job includes only src/job." >&2
  exit 1
fi
if grep -rn --include='*.cpp' --include='*.hpp' '#include "run/' "$root/src" | grep -v "^$root/src/run/"; then
  echo "Only src/run includes src/run." >&2
  exit 1
fi
if command -v clang-format >/dev/null; then
  find "$root/src" "$root/tests" "$root/bench" "$root/tools" -name '*.cpp' -o -name '*.hpp' |
    xargs -r clang-format --dry-run -Werror
fi

"$root/tools/build.sh" "$root/build" -DTESMORA_TESTS=ON -DTESMORA_WERROR=ON
(cd "$root/build" && ctest -j "$jobs" --output-on-failure)

# The tests labelled slow are whole jobs on large meshes that check answers, not memory use: they
# run once, in the optimised build above, and would take most of the CI time under the sanitizers.
"$root/tools/build.sh" "$root/build-sanitize" -DTESMORA_TESTS=ON -DTESMORA_WERROR=ON -DTESMORA_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
(cd "$root/build-sanitize" && ctest -j "$jobs" --output-on-failure -LE slow)
