#!/usr/bin/env bash
# Makes tests/data/sample.tif, the small TIFF with EXIF that the README's first command shows:
# a 1x1 grey big-endian TIFF written by the project's own builder (make-base-tiff), with camera
# metadata added by exiftool. Run from the top of the tree after a build:
#   tests/data/make-sample.sh build/bin/make-base-tiff
set -euo pipefail
maker=${1:?usage: make-sample.sh PATH/TO/make-base-tiff}
out=$(dirname "$0")/sample.tif
"$maker" "$out" MM
exiftool -q -overwrite_original \
  -Make=Acme -Model="Roadrunner 7" -Software="Lumeno sample" \
  -Orientation#=3 -XResolution=300 -YResolution=300 -ResolutionUnit=inches \
  -ModifyDate="2024:05:06 18:30:00" \
  -ExposureTime=1/60 -FNumber=4 -ISO=200 -ExposureProgram#=3 \
  -DateTimeOriginal="2024:05:06 07:08:09" -CreateDate="2024:05:06 07:08:09" \
  -ShutterSpeedValue=1/60 -ApertureValue=4 -ExposureCompensation=-2/3 -MaxApertureValue=2.8 \
  -MeteringMode#=5 -LightSource#=1 -EXIF:Flash#=16 -FocalLength=50 \
  -ColorSpace#=1 -ExifImageWidth=1 -ExifImageHeight=1 \
  -FocalPlaneXResolution=3000 -FocalPlaneYResolution=3000 -FocalPlaneResolutionUnit#=2 \
  -SensingMethod#=2 -FileSource#=3 \
  -InteropIndex=R98 \
  "$out"
# exiftool adds an XMP copy of some values; the sample keeps to EXIF.
exiftool -q -overwrite_original -XMP:all= "$out"
echo "wrote $out"
