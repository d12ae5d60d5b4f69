#!/usr/bin/env bash
# Makes tests/data/sample.jpg, the JPEG with EXIF, IPTC and XMP that the README's first command
# shows: a 64x48 colour gradient encoded by cjpeg (libjpeg-turbo-progs), with camera metadata,
# an IPTC caption and keywords, and XMP added by exiftool. Run from anywhere:
#   tests/data/make-sample-jpeg.sh
set -euo pipefail
out=$(cd "$(dirname "$0")" && pwd)/sample.jpg
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
awk 'BEGIN { w = 64; h = 48; printf "P6\n%d %d\n255\n", w, h;
             for (y = 0; y < h; y++) for (x = 0; x < w; x++) printf "%c%c%c", x * 4, y * 5, 128 }' \
  >"$tmp/picture.ppm"
cjpeg -quality 85 -outfile "$out" "$tmp/picture.ppm"
exiftool -q -overwrite_original \
  -EXIF:Make=Acme -EXIF:Model="Roadrunner 7" -EXIF:Orientation#=1 \
  -EXIF:XResolution=72 -EXIF:YResolution=72 -EXIF:ResolutionUnit=inches -EXIF:Software="Lumeno sample" \
  -EXIF:ModifyDate="2024:05:06 18:30:00" -EXIF:DateTimeOriginal="2024:05:06 07:08:09" \
  -EXIF:CreateDate="2024:05:06 07:08:09" -EXIF:ExposureTime=1/250 -EXIF:FNumber=5.6 \
  -EXIF:ISO=400 -EXIF:ExposureProgram#=2 -EXIF:FocalLength=35 -EXIF:Flash#=1 \
  -EXIF:MeteringMode#=5 -EXIF:ExposureCompensation=-1/3 -EXIF:ColorSpace#=1 \
  -EXIF:ExifImageWidth=64 -EXIF:ExifImageHeight=48 \
  -IPTC:ObjectName="Morning light" -IPTC:By-line="A. Photographer" \
  -IPTC:Caption-Abstract="Sunrise over the lake" -IPTC:Keywords=sunrise -IPTC:Keywords=lake \
  -IPTC:City=Annecy -IPTC:Country-PrimaryLocationName=France \
  -IPTC:DateCreated=2024:05:06 -IPTC:TimeCreated=07:08:09+02:00 \
  -XMP-dc:Title="Morning light" -XMP-dc:Creator="A. Photographer" \
  -XMP-dc:Description="Sunrise over the lake" -XMP-dc:Subject=sunrise -XMP-dc:Subject=lake \
  -XMP-photoshop:City=Annecy \
  "$out"
echo "wrote $out"
