#!/usr/bin/env bash
# Times Lumeno's commands against the tools people would otherwise use, side by side in one run:
#   rotating 100 twelve-megapixel JPEGs against jpegtran -rotate 90 -trim -copy all;
#   renaming 1,000 camera files by capture date against jhead -n and exiftool '-FileName<...'.
# Usage: bench/commands.sh [BUILD-DIR]   (default build/; run scripts/build first)
set -euo pipefail
build=${1:-build}
lumeno=$build/bin/lumeno
corpus=$build/bin/make-corpus
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
now() { date +%s.%N; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

echo "Making the corpus in $work ..."
mkdir "$work/rotate" "$work/rename"
"$corpus" rotate "$work/rotate" 100
"$corpus" rename "$work/rename" 1000
sync # the corpus's own writeback must not land on the first tool's time
echo "rotate: 100 files of $(($(stat -c %s "$work/rotate/IMG_0000.JPG") / 1024)) KB; rename: 1000 files"

# --- rotation ---
cp -r "$work/rotate" "$work/r1"
sync
start=$(now)
"$lumeno" rotate cw --no-backup "$work"/r1/*.JPG
lumeno_rotate=$(awk -v s="$start" -v e="$(now)" 'BEGIN { print e - s }')
start=$(now)
for f in "$work"/rotate/*.JPG; do jpegtran -rotate 90 -trim -copy all -outfile "$f.out" "$f"; done
jpegtran_rotate=$(awk -v s="$start" -v e="$(now)" 'BEGIN { print e - s }')
cmp -s "$work/r1/IMG_0000.JPG" "$work/rotate/IMG_0000.JPG.out" && same=identical || same=different
printf 'rotate 100 x 12 MP: lumeno %.2f s, jpegtran %.2f s: lumeno takes %sx the time of jpegtran (output %s)\n' \
  "$lumeno_rotate" "$jpegtran_rotate" "$(ratio "$lumeno_rotate" "$jpegtran_rotate")" "$same"

# --- renaming ---
run_rename() { # NAME COMMAND...: the best of three runs, each on a fresh copy
  local name=$1; shift
  local best="" renamed=0
  for _ in 1 2 3; do
    rm -rf "$work/n"; cp -r "$work/rename" "$work/n"; cat "$work"/n/* >/dev/null
    local start; start=$(now)
    "$@" >/dev/null 2>&1 || true
    local seconds; seconds=$(awk -v s="$start" -v e="$(now)" 'BEGIN { print e - s }')
    best=$(awk -v a="$seconds" -v b="${best:-$seconds}" 'BEGIN { print (a < b ? a : b) }')
    renamed=$(ls "$work/n" | grep -c '^2024' || true)
  done
  printf '%s %s %s\n' "$name" "$best" "$renamed"
}
results=$(
  run_rename lumeno bash -c '"$0" rename "$1"/n/*.JPG' "$lumeno" "$work"
  run_rename jhead bash -c 'jhead -n%Y%m%d-%H%M%S "$0"/n/*.JPG' "$work"
  run_rename exiftool exiftool '-FileName<DateTimeOriginal' -d '%Y%m%d-%H%M%S%%-c.%%e' "$work/n"
)
lumeno_rate=$(awk '$1 == "lumeno" { printf "%.0f", 1000 / $2 }' <<<"$results")
while read -r name seconds renamed; do
  rate=$(awk -v s="$seconds" 'BEGIN { printf "%.0f", 1000 / s }')
  printf 'rename 1000 files: %-8s %6.2f s, %6s files/s, %4s renamed; lumeno is %sx as fast\n' \
    "$name" "$seconds" "$rate" "$renamed" "$(ratio "$lumeno_rate" "$rate")"
done <<<"$results"
