#!/usr/bin/env bash
# Thumbnails at the decoder's speed, and every core, in one run:
#  1. the gallery store's thumbnails (160 pixels) of 100 twelve-megapixel JPEGs against
#     `vipsthumbnail -s 160`, both on one core (taskset, VIPS_CONCURRENCY=1), best of three, page
#     cache warm; twice: camera JPEGs that embed the usual 160-pixel thumbnail in their EXIF
#     block, and the same pictures without it (the JPEG decoded at one eighth of its size); and
#     how far each thumbnail is from ImageMagick's thumbnail of the same picture
#     (`compare -metric RMSE`, normalised to 0..1);
#  2. `lumeno gallery sync --thumbnails` with -j 1 and -j 2 (bench/scaling.sh --jobs-only).
# Usage: bench/thumbnails.sh [BUILD-DIR] [FILES]   (default build/ and 100; run scripts/build first)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
count=${2:-100}
command -v vipsthumbnail >/dev/null || { echo "vipsthumbnail is missing: scripts/install-deps installs libvips-tools" >&2; exit 1; }
command -v compare >/dev/null || { echo "compare is missing: scripts/install-deps installs imagemagick" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
now() { date +%s.%N; }

best() { # best COMMAND...: the fastest of three runs, in seconds
  local best=""
  for _ in 1 2 3; do
    local start; start=$(now)
    "$@" >/dev/null 2>&1
    local s; s=$(awk -v s="$start" -v e="$(now)" 'BEGIN { print e - s }')
    best=$(awk -v a="$s" -v b="${best:-$s}" 'BEGIN { print (a < b ? a : b) }')
  done
  echo "$best"
}
rmse() { # rmse A B: the normalised root-mean-square difference of two pictures
  { compare -metric RMSE "$1" "$2" null: 2>&1 || true; } | sed -n 's/.*(\(.*\)).*/\1/p'
}

echo "Making $count twelve-megapixel JPEGs of each kind in $work ..."
mkdir -p "$work/camera" "$work/plain" "$work/ours" "$work/vips" "$work/magick"
"$build/bin/make-corpus" thumbnails "$work/camera" "$count"
"$build/bin/make-corpus" rotate "$work/plain" "$count"
cat "$work"/camera/* "$work"/plain/* >/dev/null
first=IMG_0000.JPG
convert "$work/plain/$first" -thumbnail 160x160 -quality 85 "$work/magick/reference.jpg"

for kind in camera plain; do
  files=("$work/$kind"/*.JPG)
  ours=$(best taskset -c 0 "$build/bin/bench_thumbnails" "$work/ours" "${files[@]}")
  vips=$(best env VIPS_CONCURRENCY=1 taskset -c 0 vipsthumbnail -s 160 -o "$work/vips/%s.jpg[Q=85]" "${files[@]}")
  ourDifference=$(rmse "$work/ours/$first" "$work/magick/reference.jpg")
  vipsDifference=$(rmse "$work/vips/IMG_0000.jpg" "$work/magick/reference.jpg")
  label=$([ "$kind" = camera ] && echo "with the camera's embedded thumbnail" || echo "decoded at 1/8 (no embedded thumbnail)")
  awk -v n="$count" -v o="$ours" -v v="$vips" -v od="$ourDifference" -v vd="$vipsDifference" -v l="$label" 'BEGIN {
    printf "%s: lumeno %.1f ms each, vipsthumbnail %.1f ms each: lumeno %.2fx as fast (goal: 1.5x); RMSE to ImageMagick: lumeno %s, vipsthumbnail %s\n",
           l, 1000 * o / n, 1000 * v / n, v / o, od, vd }'
done

bench/scaling.sh "$build" --jobs-only
