#!/usr/bin/env bash
# Runs every example deck with two TesmoraBatch binaries and compares what the jobs leave:
# tools/compare_examples.sh REFERENCE_BINARY CANDIDATE_BINARY [scratch-folder]
#
# Besides the example decks as committed, the static example runs once more for every post
# format with each WIDE setting and for every solver code, so that each writer and each method
# is compared too.
#
# Every file of each job folder is compared byte for byte (report, transcript, summary, stderr,
# post files, the binary matrices and solutions), and the exit statuses must agree. In the text
# files the lines that hold clock readings are masked first: stage times, stop watches, the CPU
# table, the start and end dates, the .ksw sheet's date, and the memory report's address span. Exit status 0
# when every job matches, 1 otherwise.
set -euo pipefail
if (($# < 2)); then
  echo "usage: $0 REFERENCE_BINARY CANDIDATE_BINARY [scratch-folder]" >&2
  exit 2
fi
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
reference="$(realpath "$1")"
candidate="$(realpath "$2")"
scratch="${3:-$(mktemp -d)}"

# Lines whose figures come from the clock or from where the allocator put its blocks.
mask() {
  sed -E \
    -e '/\(sec\)|utime|Used region|ICCG:[0-9]+:|has started at|^ +(Mon|Tue|Wed|Thu|Fri|Sat|Sun) /s/[0-9][0-9.e+-]*/#/g' \
    -e 's|DATE [0-9/]+ TIME [0-9:]+|DATE - TIME -|' \
    -e '/^\*  +(TOTAL|Input, Pre-processing|Matrix making|Pre-conditioning|Equation solving|Post-processing) /s/[0-9][0-9.]*/#/g' \
    "$1"
}

# The jobs: the examples, and variants of the static example in the scratch folder.
jobs_root="$scratch/jobs"
rm -rf "$jobs_root"
mkdir -p "$jobs_root"
cp -r "$root/examples/." "$jobs_root/"
variant() { # name, then the sed script that changes the static deck
  mkdir -p "$jobs_root/$1"
  cp "$root/examples/static/pre_geom.nas" "$jobs_root/$1/"
  sed -E "$2" "$root/examples/static/input" >"$jobs_root/$1/input"
}
for format in 0 1 2 3 4 5 6 7 8 11 15; do
  for wide in 0 1 2; do
    variant "static-post$format-wide$wide" "/^\* POST_DATA_FILE/{n;s/^[0-9]+ (([^ ]+ ){4})[0-9]+/$format \1$wide/}"
  done
done
for solver in 0 1 2 3 4 5 6 7 8 9 10 11 12; do
  variant "static-solver$solver" "/^\* ICCG_CONV/{n;s/^(([^ ]+ ){4})[0-9]+/\1$solver/}"
done

run_job() { # binary example deck folder
  rm -rf "$4"
  mkdir -p "$4"
  cp -r "$jobs_root/$2/." "$4/"
  [ "$3" = input ] || cp "$4/$3" "$4/input"
  local status=0
  (cd "$4" && "$1" >/dev/null 2>&1) || status=$?
  echo "$status" >"$4/exit_status"
}

failures=0
jobs=0
for folder in "$jobs_root"/*/; do
  example="$(basename "$folder")"
  for deck_path in "$folder"input*; do
    deck="$(basename "$deck_path")"
    ref_dir="$scratch/$example-$deck/reference"
    new_dir="$scratch/$example-$deck/candidate"
    run_job "$reference" "$example" "$deck" "$ref_dir"
    run_job "$candidate" "$example" "$deck" "$new_dir"
    jobs=$((jobs + 1))
    differs=()
    while IFS= read -r -d '' file; do
      name="${file#"$ref_dir"/}"
      other="$new_dir/$name"
      if [ ! -f "$other" ]; then
        differs+=("$name (missing)")
      elif grep -Iq . "$file"; then
        cmp -s <(mask "$file") <(mask "$other") || differs+=("$name")
      else
        cmp -s "$file" "$other" || differs+=("$name")
      fi
    done < <(find "$ref_dir" -type f -print0 | sort -z)
    while IFS= read -r -d '' file; do
      name="${file#"$new_dir"/}"
      [ -f "$ref_dir/$name" ] || differs+=("$name (extra)")
    done < <(find "$new_dir" -type f -print0 | sort -z)
    if ((${#differs[@]})); then
      failures=$((failures + 1))
      echo "DIFFERS  $example/$deck: ${differs[*]}"
    else
      echo "same     $example/$deck (exit status $(cat "$ref_dir/exit_status"))"
    fi
  done
done
echo "$jobs jobs compared in $scratch, $failures differ."
((failures == 0))
