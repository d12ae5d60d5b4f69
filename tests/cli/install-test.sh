#!/usr/bin/env bash
# The installed program finds its own files: installed with `cmake --install`, then moved to
# another folder, it still exports a gallery with its style sheet, folder icon and thumbnails.
# Usage: install-test.sh CMAKE BUILD-DIR DATA-DIR
set -u
cmake=$1 build=$2 data=$3
. "$(dirname "$0")/../support/checks.sh"
private_folders

"$cmake" --install "$build" --prefix "$tmp/prefix" >/dev/null
check "cmake --install installs the program" [ -x "$tmp/prefix/bin/lumeno" ]
mv "$tmp/prefix" "$tmp/moved"
lumeno=$tmp/moved/bin/lumeno
# Marked, so that a copy of the build tree's own style sheet would not pass for it.
printf '/* installed copy */\n' >>"$tmp/moved/share/lumeno/LumenoGallery.CSS"
cp "$data/sample.jpg" "$tmp/photo.jpg"
L() { "$lumeno" --store "$tmp/store" "$@"; }
L gallery create Trip && L gallery add Trip "$tmp/photo.jpg" && L gallery sync --thumbnails "$tmp/photo.jpg"
check "the moved program keeps a gallery with thumbnails" [ $? -eq 0 ]
L gallery export Trip "$tmp/web" >/dev/null 2>"$tmp/err"
check "the moved program exports a gallery" [ $? -eq 0 ]
check "with no complaint" [ ! -s "$tmp/err" ]
for f in LumenoGallery.CSS __gallery.GIF LumenoGallery.XSL __Lumeno.GIF index.html __thumb0001.jpg; do
  check "the export has $f" [ -s "$tmp/web/$f" ]
done
check "the style sheet is the installed one" cmp -s "$tmp/web/LumenoGallery.CSS" "$tmp/moved/share/lumeno/LumenoGallery.CSS"

finish
