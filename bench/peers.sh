#!/usr/bin/env bash
# Lumeno against the tools people would otherwise use, side by side in one run, with ratios:
#   reading all metadata of 2,000 camera JPEGs (EXIF, IPTC, XMP; one in twenty twelve-megapixel)
#   in one process: lumeno dump and show, exiv2 -pa, jhead, exiftool, and the physical floor
#   (open, read the first 64 KiB, close);
#   then renaming 1,000 files by date and rotating 100 large JPEGs (bench/commands.sh).
# Usage: bench/peers.sh [BUILD-DIR] [FILES]   (default build/ and 2000; run scripts/build first)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
count=${2:-2000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
now() { date +%s.%N; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

echo "Making $count camera JPEGs in $work ..."
mkdir "$work/read"
"$build/bin/make-corpus" read "$work/read" "$count"
files=("$work"/read/*.JPG)
cat "${files[@]}" >/dev/null # the page cache is warm for every tool alike
echo "corpus: $(du -sh "$work/read" | cut -f1)"

time_it() { # time_it NAME COMMAND...: seconds for one run over the files (best of three)
  local name=$1; shift
  local best=""
  for _ in 1 2 3; do
    local start; start=$(now)
    "$@" >/dev/null 2>&1 || true
    local s; s=$(awk -v s="$start" -v e="$(now)" 'BEGIN { print e - s }')
    best=$(awk -v a="$s" -v b="${best:-$s}" 'BEGIN { print (a < b ? a : b) }')
  done
  printf '%s %s\n' "$name" "$best"
}
results=$(
  time_it floor "$build/bin/bench_floor" "${files[@]}"
  time_it "lumeno-dump" "$build/bin/lumeno" dump "${files[@]}"
  time_it "lumeno-show" "$build/bin/lumeno" show "${files[@]}"
  time_it "exiv2-pa" exiv2 -pa "${files[@]}"
  time_it jhead jhead "${files[@]}"
)
# exiftool is slow enough that one run tells.
start=$(now)
exiftool -a -G1 "${files[@]}" >/dev/null 2>&1 || true
results+=$'\n'"exiftool $(awk -v s="$start" -v e="$(now)" 'BEGIN { print e - s }')"

rate() { awk -v n="$count" -v s="$(awk -v w="$1" '$1 == w { print $2 }' <<<"$results")" 'BEGIN { printf "%.0f", n / s }'; }
floor=$(rate floor) dump=$(rate lumeno-dump) show=$(rate lumeno-show) exiv2=$(rate exiv2-pa)
echo
printf 'read %d files        files/s   lumeno dump is\n' "$count"
for name in floor lumeno-dump lumeno-show exiv2-pa jhead exiftool; do
  r=$(rate "$name")
  printf '  %-12s %10s   %sx its speed\n' "$name" "$r" "$(ratio "$dump" "$r")"
done
echo
echo "goals: lumeno dump >= 6x exiv2 -pa: $(ratio "$dump" "$exiv2")x;" \
     "within 3x of the floor: floor/dump = $(ratio "$floor" "$dump")x;" \
     "lumeno show (EXIF, IPTC and XMP) = $(ratio "$show" "$exiv2")x exiv2"
echo
bench/commands.sh "$build"
