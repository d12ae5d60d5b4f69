#!/usr/bin/env bash
# The attack, repeatable: writes killed at random moments, a full disk (on a small file system
# of our own, where this machine lets the test mount one), a store damaged file by file, and
# programs racing on one store. Every photo must be its old self or its complete new self, the
# store must answer or say that it is damaged, and nothing committed may be lost.
# Usage: attack.sh LUMENO DATA-DIR
set -u
lumeno=$1 data=$2
. "$(dirname "$0")/../support/checks.sh"
private_folders
L() { timeout 120 "$lumeno" --store "$store" "$@"; }
# A status a crash would give (signals are 128 + N, a timeout 124).
clean() { [ "$1" -le 2 ]; }

# --- Writes killed at random moments ---------------------------------------------------------
mkdir -p "$tmp/kill"
for i in $(seq 1 20); do cp "$data/sample.jpg" "$tmp/kill/$i.jpg"; done
cp "$data/sample.jpg" "$tmp/original.jpg"
store=$tmp/kill-store
RANDOM=7
for round in $(seq 1 12); do
  "$lumeno" annotate --set "Caption=Round $round" "$tmp/kill"/*.jpg >/dev/null 2>&1 &
  writer=$!
  "$lumeno" --store "$store" gallery sync --thumbnails "$tmp/kill"/*.jpg >/dev/null 2>&1 &
  syncer=$!
  sleep "0.0$((RANDOM % 9 + 1))"
  kill -9 "$writer" "$syncer" 2>/dev/null
  wait "$writer" "$syncer" 2>/dev/null
done
broken=0
for f in "$tmp/kill"/*.jpg; do
  caption=$("$lumeno" iptc "$f" 2>/dev/null | sed -n 's/^Caption\t//p')
  case "$caption" in "Sunrise over the lake" | Round\ *) ;; *) broken=$((broken + 1)) ;; esac
done
check "every photo is its old or its complete new self after killed writes" [ "$broken" -eq 0 ]
"$lumeno" annotate --set "Caption=After" "$tmp/kill"/*.jpg >/dev/null 2>&1
check "the next write removes what killed writes left" [ -z "$(ls -A "$tmp/kill" | grep lumeno-)" ]
check "the store of killed syncs is sound" L gallery check
L gallery sync "$tmp/kill"/*.jpg >/dev/null
check "and takes writes" [ "$(L gallery search sunrise | wc -l)" -eq 20 ]

# --- Programs racing on one store ------------------------------------------------------------
store=$tmp/race-store
mkdir -p "$tmp/race/a" "$tmp/race/b"
for i in $(seq 1 150); do cp "$data/sample.jpg" "$tmp/race/a/$i.jpg"; cp "$data/sample.jpg" "$tmp/race/b/$i.jpg"; done
L gallery create Race
L gallery add Race "$tmp/race/a"/*.jpg >/dev/null 2>"$tmp/race-a.err" &
a=$!
L gallery add Race "$tmp/race/b"/*.jpg >/dev/null 2>"$tmp/race-b.err" &
b=$!
searches=0 failed_searches=0
while kill -0 "$a" 2>/dev/null || kill -0 "$b" 2>/dev/null; do
  L gallery search sunrise >/dev/null 2>&1 || failed_searches=$((failed_searches + 1))
  searches=$((searches + 1))
done
wait "$a"; ra=$?
wait "$b"; rb=$?
check "two writers finish (statuses $ra, $rb)" [ "$ra" -eq 0 ] && [ "$rb" -eq 0 ]
check "a reader searching meanwhile never fails ($searches searches)" [ "$failed_searches" -eq 0 ]
check "every picture arrives" [ "$(L gallery list Race | wc -l)" -eq 300 ]

# --- A store damaged file by file ------------------------------------------------------------
store=$tmp/healthy
L gallery create Trips && L gallery create Trips/Lakes && L gallery add Trips "$tmp/kill/1.jpg" "$tmp/kill/2.jpg" >/dev/null &&
  L gallery add Trips/Lakes "$tmp/kill/3.jpg" >/dev/null
check "a store to damage is made" [ $? -eq 0 ]
flip() { # flip FILE: bytes changed all through the file
  local size; size=$(stat -c %s "$1")
  for ((o = 100; o < size; o += 997)); do printf '\245' | dd of="$1" bs=1 seek=$o conv=notrunc status=none; done
}
for damage in "cut TOC.NDX 0" "cut Gallery.NDX 50" "cut Galleries.GDB 50" "cut GalleryImages.GDB 0" "flip Gallery.GDB" \
              "flip TOC.NDX" "flip __db.001" "flip __db.002" "flip __db.003" "flip __db.register" "delete log"; do
  set -- $damage
  rm -rf "$tmp/damaged"; cp -r "$tmp/healthy" "$tmp/damaged"; store=$tmp/damaged
  case $1 in
    cut) truncate -s $(($(stat -c %s "$store/$2") * $3 / 100)) "$store/$2" ;;
    flip) [ -f "$store/$2" ] && flip "$store/$2" ;;
    delete) rm -f "$store"/log.* ;;
  esac
  worst=0
  for command in "gallery list Trips" "gallery search sunrise" "gallery add Trips $tmp/kill/4.jpg" "gallery check"; do
    L $command >/dev/null 2>"$tmp/err"; rc=$?
    [ "$rc" -gt "$worst" ] && worst=$rc
    if [ "$rc" -eq 1 ] && ! grep -q "gallery repair" "$tmp/err" && [ "$command" != "gallery check" ]; then
      grep -q "damaged" "$tmp/err" || echo "  ($damage, $command: $(head -c 200 "$tmp/err"))"
    fi
  done
  check "$damage: no crash, no hang" clean "$worst"
  L gallery repair >/dev/null 2>"$tmp/err"
  check "$damage: repaired" [ $? -eq 0 ]
  check "$damage: sound after the repair" L gallery check
  list=$(L gallery list Trips)
  check "$damage: the galleries are back" grep -qxF "Trips/Lakes/" <<<"$list"
  # An emptied membership file holds nothing to save; every other damage loses no picture.
  if [ "$2" != GalleryImages.GDB ]; then
    check "$damage: and their pictures" bash -c 'grep -qxF "$2/1.jpg" <<<"$1" && grep -qxF "$2/2.jpg" <<<"$1"' _ "$list" "$tmp/kill"
    check "$damage: and the sub-gallery's" [ "$(L gallery list Trips/Lakes)" = "$tmp/kill/3.jpg" ]
  fi
done

# --- A full disk -------------------------------------------------------------------------------
small=$tmp/small
mkdir -p "$small"
if mount -t tmpfs -o size=40m tmpfs "$small" 2>/dev/null; then
  trap 'umount "$small" 2>/dev/null; rm -rf "$tmp"' EXIT
  store=$small/store
  cp "$data/sample.jpg" "$small/a.jpg"; cp "$data/sample.jpg" "$small/b.jpg"
  L gallery create Kept && L gallery add Kept "$small/a.jpg" >/dev/null
  check "a store on the small file system" [ $? -eq 0 ]
  dd if=/dev/zero of="$small/filler" bs=64k 2>/dev/null
  dd if=/dev/zero of="$small/filler2" bs=512 2>/dev/null # to the last block
  "$lumeno" annotate --backup --set "Caption=x" "$small/a.jpg" 2>/dev/null
  check "a backup that does not fit leaves no half backup" [ -z "$(ls "$small" | grep '^Lumeno\.')" ]
  check "and the photo as it was" cmp -s "$small/a.jpg" "$data/sample.jpg"
  L gallery create More 2>"$tmp/err"; rc=$?
  check "a full disk is an error, not a crash (status $rc)" [ "$rc" -eq 1 ]
  check "which says so and names the store" grep -qF "$store: No space left on device" "$tmp/err"
  L gallery sync --thumbnails "$small/b.jpg" 2>"$tmp/err"; rc=$?
  check "sync on a full disk is an error too (status $rc)" [ "$rc" -eq 1 ]
  rm "$small/filler" "$small/filler2"
  check "with room again, nothing committed is lost" [ "$(L gallery list Kept)" = "$small/a.jpg" ]
  check "and the store takes writes" L gallery create More
  umount "$small"
else
  echo "note: this machine does not let the test mount a small file system; the full-disk part did not run"
fi

finish
