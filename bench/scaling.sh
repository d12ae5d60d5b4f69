#!/usr/bin/env bash
# Every core, and how time grows with the number of files.
#  1. `lumeno gallery sync --thumbnails` of 2,000 twelve-megapixel camera JPEGs (each with the
#     thumbnail cameras embed) with -j 1 and with -j 2, each time into an empty store.
#  2. read (`lumeno dump`), rename and sync with thumbnails of 1,000, 10,000 and 100,000 files,
#     with one job per core: the time of each, and the time per file (the names given through
#     xargs: 100,000 of them take two runs).
# The camera files are hard links to one picture (the machine need not hold 100,000 photos); the
# files to rename are small ones, each with its own capture time, made anew for each size. Best
# of three for part 1, one run each for part 2; page cache warm.
# Usage: bench/scaling.sh [BUILD-DIR] [LARGEST | --jobs-only]   (default build/ and 100000; run
# scripts/build first). --jobs-only: part 1 alone.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(cd "${1:-build}" && pwd)
largest=${2:-100000}
jobsOnly=false
if [ "$largest" = --jobs-only ]; then jobsOnly=true; largest=2000; fi
lumeno=$build/bin/lumeno
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME=$work/config
now() { date +%s.%N; }
seconds() { # seconds COMMAND...: the time of one run, the output thrown away
  local start; start=$(now)
  "$@" >/dev/null 2>&1 || { echo "failed: $1 $2 ..." >&2; exit 1; }
  awk -v s="$start" -v e="$(now)" 'BEGIN { print e - s }'
}
each() { # each LIST COMMAND...: the command over the files named in LIST (NUL-separated), in as
  # few runs as the system's limit on a command line allows (one up to some 50,000 names)
  local list=$1; shift
  xargs -0 -s 1000000 "$@" <"$list"
}
newStore() { # an empty store, as a photographer has one before the card comes in
  rm -rf "$work/store"
  XDG_DATA_HOME=$work/store "$lumeno" gallery create Card
}
sync() { # sync JOBS FILES...: into the store newStore made
  local jobs=$1; shift
  XDG_DATA_HOME=$work/store "$lumeno" gallery sync --thumbnails -j "$jobs" "$@"
}

echo "machine: $(nproc) cores, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ //'), $(uname -sr)"
mkdir "$work/camera"
"$build/bin/make-corpus" linked "$work/camera" "$largest"
cd "$work/camera"
cat C?[05]0000.JPG >/dev/null 2>&1 || true

# 1. One job against two.
files=(C00[0-1]*.JPG)
files=("${files[@]:0:2000}")
best1=""; best2=""
for _ in 1 2 3; do
  newStore; s=$(seconds sync 1 "${files[@]}"); best1=$(awk -v a="$s" -v b="${best1:-$s}" 'BEGIN { print (a < b ? a : b) }')
  newStore; s=$(seconds sync 2 "${files[@]}"); best2=$(awk -v a="$s" -v b="${best2:-$s}" 'BEGIN { print (a < b ? a : b) }')
done
awk -v a="$best1" -v b="$best2" -v n="${#files[@]}" 'BEGIN {
  printf "sync --thumbnails of %d camera JPEGs (embedded thumbnails): -j 1 %.2f s, -j 2 %.2f s: -j 2 is %.2fx as fast (goal: 1.8x)\n", n, a, b, a / b }'
# The same pictures without the camera's thumbnail, which must be decoded: 200 of them.
mkdir "$work/plain"
"$build/bin/make-corpus" rotate "$work/plain" 1
for i in $(seq 1 199); do ln "$work/plain/IMG_0000.JPG" "$work/plain/P$i.JPG"; done
plain=("$work"/plain/*.JPG)
best1=""; best2=""
for _ in 1 2 3; do
  newStore; s=$(seconds sync 1 "${plain[@]}"); best1=$(awk -v a="$s" -v b="${best1:-$s}" 'BEGIN { print (a < b ? a : b) }')
  newStore; s=$(seconds sync 2 "${plain[@]}"); best2=$(awk -v a="$s" -v b="${best2:-$s}" 'BEGIN { print (a < b ? a : b) }')
done
awk -v a="$best1" -v b="$best2" -v n="${#plain[@]}" 'BEGIN {
  printf "sync --thumbnails of %d JPEGs without embedded thumbnails: -j 1 %.2f s, -j 2 %.2f s: -j 2 is %.2fx as fast (goal: 1.8x)\n", n, a, b, a / b }'

$jobsOnly && exit 0

# 2. Growth.
for count in 1000 10000 100000; do
  [ "$count" -le "$largest" ] || continue
  seq -f 'C%06g.JPG' 0 $((count - 1)) | tr '\n' '\0' >"$work/camera.list"
  read=$(seconds each "$work/camera.list" "$lumeno" dump)
  newStore; synced=$(seconds each "$work/camera.list" env XDG_DATA_HOME="$work/store" "$lumeno" gallery sync --thumbnails)
  rm -rf "$work/rename" && mkdir "$work/rename"
  "$build/bin/make-corpus" rename "$work/rename" "$count"
  renamed=$(cd "$work/rename" && ls | tr '\n' '\0' >../rename.list && seconds each ../rename.list "$lumeno" rename)
  awk -v n="$count" -v r="$read" -v m="$renamed" -v s="$synced" 'BEGIN {
    printf "%7d files: read %7.2f s (%5.1f us each), rename %7.2f s (%5.1f us each), sync with thumbnails %7.2f s (%5.1f us each)\n",
           n, r, 1e6 * r / n, m, 1e6 * m / n, s, 1e6 * s / n }'
done
