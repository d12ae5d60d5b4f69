#!/usr/bin/env bash
# The column provider as a details view uses it: 1,000 camera JPEGs x every column, through the
# Windows build's COM object under Wine (in a private prefix made for the run), beside the
# portable figures of the Linux build.
# Usage: bench/columns-wine.sh [BUILD-DIR [WINDOWS-BUILD-DIR]]   (default build/ and build-windows/;
# run scripts/build first)
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
windows=$(cd "${2:-build-windows}" && pwd)
work=$(mktemp -d)
export WINEPREFIX=$work/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
trap 'wineserver -k >/dev/null 2>&1; rm -rf "$work"' EXIT
mkdir "$work/photos"
"$build/bin/make-corpus" rename "$work/photos" 1000
wineserver -p >/dev/null 2>&1 || true
wine wineboot -i >/dev/null 2>&1 || true
wine "$windows/server-test.exe" bench "Z:${windows//\//\\}\\lumeno.dll" "Z:${work//\//\\}\\photos" 1000 >"$work/out" 2>/dev/null
tr -d '\r' <"$work/out"
"$build/bin/bench_read" --benchmark_filter=ColumnCells 2>/dev/null | grep ColumnCells
