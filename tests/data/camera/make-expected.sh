#!/usr/bin/env bash
# Writes exiftool.json: what exiftool reads from each camera sample, the values the tests compare
# lumeno's with. Made once and checked in, so that the tests do not depend on the exiftool that
# happens to be installed. Usage (from this folder): ./make-expected.sh
set -euo pipefail
cd "$(dirname "$0")"
exiftool -a -G1 -D -n -j -x System:all -x ExifTool:all -x File:all -x Composite:all \
  $(ls *.jpg *.tif | sort) >exiftool.json
echo "exiftool $(exiftool -ver): $(grep -c '"SourceFile"' exiftool.json) files"
