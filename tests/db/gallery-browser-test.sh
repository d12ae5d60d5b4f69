#!/usr/bin/env bash
# An exported gallery page as headless Chromium shows it: names, a caption that stays text, no
# script run, and thumbnails that really show.
# Usage: gallery-browser-test.sh LUMENO CHROMIUM DATA-DIR
set -u
lumeno=$1 chromium=$2 data=$3
. "$(dirname "$0")/../support/checks.sh"
private_folders
L() { "$lumeno" --store "$tmp/store" "$@"; }

mkdir -p "$tmp/photos/Lake District"
cp "$data/sample.jpg" "$tmp/photos/dawn.jpg"
cp "$data/sample.jpg" "$tmp/photos/Lake District/evening view.jpg"
"$lumeno" annotate --set 'Caption=<script>document.title="owned"</script>' \
  "$tmp/photos/Lake District/evening view.jpg" >/dev/null
L gallery create Holidays && L gallery create Holidays/Lakes &&
  L gallery add Holidays "$tmp/photos/dawn.jpg" &&
  L gallery add Holidays/Lakes "$tmp/photos/Lake District/evening view.jpg" &&
  L gallery sync --thumbnails "$tmp/photos/dawn.jpg" "$tmp/photos/Lake District/evening view.jpg"
check "the gallery is made" [ $? -eq 0 ]
out=$tmp/web
check "export succeeds" L gallery export Holidays "$out"

browse() { # browse OUTPUT-OPTION... URL
  timeout 120 "$chromium" --headless --no-sandbox --disable-gpu --disable-background-networking \
    --disable-component-update --disable-sync --disable-default-apps --no-first-run --disable-extensions \
    --disable-quic --user-data-dir="$tmp/chromium" --window-size=800,600 "$@" 2>/dev/null
}
dom=$(browse --dump-dom "file://$out/Lakes/index.html")
check "the browser shows the gallery name" grep -q "<h2>Lakes</h2>" <<<"$dom"
check "the browser shows the image name" grep -q '<span class="imageName">evening view.jpg</span>' <<<"$dom"
check "the caption stays text" grep -qF '&lt;script&gt;document.title="owned"&lt;/script&gt;' <<<"$dom"
check "no script ran" grep -q "<title>Lakes</title>" <<<"$dom"
check "the thumbnail is on the page" grep -qF "src=\"file://$out/Lakes/__thumb0001.jpg\"" <<<"$dom"
# The thumbnails really show: the page differs from the same page without them.
(cd "$tmp" && browse --screenshot="$tmp/with.png" "file://$out/index.html" >/dev/null)
cp -r "$out" "$tmp/bare" && rm "$tmp/bare"/__thumb*.jpg
sed "s|$out|$tmp/bare|g" "$out/index.html" >"$tmp/bare/index.html"
(cd "$tmp" && browse --screenshot="$tmp/without.png" "file://$tmp/bare/index.html" >/dev/null)
check "a screenshot was taken" [ -s "$tmp/with.png" ]
check "the screenshot shows the thumbnails" bash -c '! cmp -s "$1" "$2"' _ "$tmp/with.png" "$tmp/without.png"
dom=$(browse --dump-dom "file://$out/index.html")
check "the top page names its gallery and image" \
  bash -c 'grep -q "<h2>Holidays</h2>" <<<"$1" && grep -q "imageName\">dawn.jpg<" <<<"$1" && grep -q "galleryLink" <<<"$1"' _ "$dom"

finish
