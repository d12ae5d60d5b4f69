#!/usr/bin/env bash
# The gallery commands end to end: galleries, search, sync, the store after a rotation, and the
# exported page as xsltproc makes it (gallery-browser-test.sh shows it in a browser).
# Usage: gallery-test.sh LUMENO DATA-DIR
set -u
lumeno=$1 data=$2
. "$(dirname "$0")/../support/checks.sh"
private_folders
L() { "$lumeno" --store "$tmp/store" "$@"; }

mkdir -p "$tmp/photos/Lake District"
cp "$data/sample.jpg" "$tmp/photos/dawn.jpg"
cp "$data/sample.jpg" "$tmp/photos/Lake District/evening view.jpg"
"$lumeno" annotate --set 'Caption=<script>document.title="owned"</script>' --set Keyword=Evening \
  "$tmp/photos/Lake District/evening view.jpg" >/dev/null

# --- galleries and search -----------------------------------------------------------------
check "create a gallery" L gallery create Holidays
check "create a sub-gallery" L gallery create "Holidays/Lakes"
L gallery create Nowhere/Child 2>"$tmp/err"; rc=$?
check "a sub-gallery needs its parent" [ "$rc" -eq 1 ]
check "the error names the parent" grep -q "no gallery 'Nowhere'" "$tmp/err"
check "add a picture" L gallery add Holidays "$tmp/photos/dawn.jpg"
check "add a picture to the sub-gallery" L gallery add Holidays/Lakes "$tmp/photos/Lake District/evening view.jpg"
check "the five tables are file pairs" bash -c 'for t in Gallery TOC Thumbnails TransporterGallery TransporterTOC; do
  [ -f "$1/$t.GDB" ] && [ -f "$1/$t.NDX" ] || exit 1; done' _ "$tmp/store"
check "list shows the top galleries" [ "$(L gallery list)" = "Holidays" ]
check "list shows sub-galleries and pictures" [ "$(L gallery list Holidays)" = "$(printf 'Holidays/Lakes/\n%s' "$tmp/photos/dawn.jpg")" ]
check "search ignores letter case" [ "$(L gallery search SUNRISE)" = "$tmp/photos/dawn.jpg" ]
check "search by prefix" [ "$(L gallery search 'even*')" = "$(printf 'Evening\t%s' "$tmp/photos/Lake District/evening view.jpg")" ]
check "the default store is not touched" [ ! -e "$tmp/data/LumenoWorks" ]

# --- sync ---------------------------------------------------------------------------------
"$lumeno" annotate --add Keyword=Mist "$tmp/photos/dawn.jpg" >/dev/null
check "search before sync misses the new keyword" [ -z "$(L gallery search mist)" ]
check "sync succeeds" L gallery sync "$tmp/photos/dawn.jpg"
check "search after sync finds it" [ "$(L gallery search mist)" = "$tmp/photos/dawn.jpg" ]
echo "not a picture" >"$tmp/photos/notes.jpg"
L gallery sync --thumbnails "$tmp/photos/notes.jpg" "$tmp/photos/dawn.jpg" 2>"$tmp/err"; rc=$?
check "sync reports the file it cannot read and goes on" [ "$rc" -eq 1 ]
check "the report names the file" grep -q "notes.jpg" "$tmp/err"
# Pictures added by three jobs side by side become members in the order given, and a file
# that cannot be read fails alone.
mkdir "$tmp/order"
for n in 5 3 8 1 7 2 6 4; do cp "$tmp/photos/dawn.jpg" "$tmp/order/$n.jpg"; done
printf 'junk' >"$tmp/order/9.jpg"
L gallery create Ordered
L gallery add Ordered -j 3 "$tmp/order/5.jpg" "$tmp/order/3.jpg" "$tmp/order/9.jpg" "$tmp/order/8.jpg" \
  "$tmp/order/1.jpg" "$tmp/order/7.jpg" "$tmp/order/2.jpg" "$tmp/order/6.jpg" "$tmp/order/4.jpg" 2>"$tmp/err"; rc=$?
check "add -j 3 reports the unreadable file" [ "$rc" -eq 1 ] && grep -q "9.jpg" "$tmp/err"
check "add -j 3 keeps the order of the arguments" \
  [ "$(L gallery list Ordered | sed 's|.*/||' | tr '\n' ' ')" = "5.jpg 3.jpg 8.jpg 1.jpg 7.jpg 2.jpg 6.jpg 4.jpg " ]
check "the default store folder is used without --store" \
  bash -c '"$1" gallery create Mine && [ -f "$2/LumenoWorks/Lumeno/Gallery.GDB" ]' _ "$lumeno" "$tmp/data"

# --- export -------------------------------------------------------------------------------
out=$tmp/web
check "export succeeds" L gallery export Holidays "$out"
for f in LumenoGallery.xml LumenoGallery.XSL LumenoGallery.CSS __Lumeno.GIF __gallery.GIF index.html \
         Lakes/LumenoGallery.xml Lakes/index.html; do
  check "export wrote $f" [ -s "$out/$f" ]
done
thumb=$(ls "$out"/__thumb*.jpg | head -1)
check "the thumbnail is a JPEG" bash -c 'head -c 2 "$1" | od -An -tx1 | grep -q "ff d8"' _ "$thumb"
check "xsltproc with the exported stylesheet gives index.html" \
  bash -c 'xsltproc "$1/LumenoGallery.XSL" "$1/LumenoGallery.xml" | cmp -s - "$1/index.html"' _ "$out"
check "the same in the sub-gallery" \
  bash -c 'xsltproc "$1/Lakes/LumenoGallery.XSL" "$1/Lakes/LumenoGallery.xml" | cmp -s - "$1/Lakes/index.html"' _ "$out"
L gallery export Holidays "$tmp/photos/dawn.jpg" 2>"$tmp/err"; rc=$?
check "an export into a file fails" [ "$rc" -eq 1 ]
check "and says where" grep -qF "Failed to export to: $tmp/photos/dawn.jpg" "$tmp/err"

# --- links planted in the export's folder are replaced, never followed ---------------------
mkdir -p "$tmp/outside" "$tmp/planted"
for f in index.html LumenoGallery.xml __thumb0001.jpg LumenoGallery.CSS; do
  printf 'precious %s\n' "$f" >"$tmp/outside/$f"
  ln -s "$tmp/outside/$f" "$tmp/planted/$f"
done
L gallery export Holidays/Lakes "$tmp/planted" >/dev/null
check "export through planted links succeeds" [ $? -eq 0 ]
check "the files the links led to are untouched" \
  bash -c 'for f in index.html LumenoGallery.xml __thumb0001.jpg LumenoGallery.CSS; do
             [ "$(cat "$1/$f")" = "precious $f" ] || exit 1; done' _ "$tmp/outside"
check "the links were replaced by the export's own files" [ ! -L "$tmp/planted/index.html" ] && [ -s "$tmp/planted/index.html" ]
mkdir -p "$tmp/planted2"; ln -s "$tmp/outside" "$tmp/planted2/Lakes"
L gallery export Holidays "$tmp/planted2" 2>"$tmp/err" >/dev/null
check "a link in place of a sub-gallery's folder is refused" [ $? -eq 1 ] && grep -qF "a symbolic link is in the way" "$tmp/err"
check "and nothing was written through it" [ "$(ls "$tmp/outside" | wc -l)" -eq 4 ]
(umask 002 && L gallery export Holidays/Lakes "$tmp/modes" >/dev/null)
check "export files get the user's usual mode" [ "$(stat -c %a "$tmp/modes/index.html")" = 664 ] &&
  [ "$(stat -c %a "$tmp/modes/LumenoGallery.xml")" = 664 ] && [ "$(stat -c %a "$tmp/modes/__thumb0001.jpg")" = 664 ]

# --- the store follows a rotation ---------------------------------------------------------
before=$(cksum <"$thumb")
check "rotate a stored picture" L rotate cw --no-backup "$tmp/photos/dawn.jpg"
L gallery export Holidays "$tmp/web2" >/dev/null
check "its thumbnail was made again" [ "$(cksum <"$tmp/web2/$(basename "$thumb")")" != "$before" ]

finish
