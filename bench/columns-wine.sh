#!/usr/bin/env bash
# The column provider as a details view uses it: 1,000 camera JPEGs x every column, through the
# COM object under Wine (in a private prefix made for the run), beside the portable figures.
# Usage: bench/columns-wine.sh [BUILD-DIR]   (default build/; run scripts/build first)
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
work=$(mktemp -d)
export WINEPREFIX=$work/prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
trap 'wineserver -k >/dev/null 2>&1; rm -rf "$work"' EXIT
mkdir "$work/photos"
"$build/bin/make-corpus" rename "$work/photos" 1000
wineserver -p >/dev/null 2>&1 || true
wine wineboot -i >/dev/null 2>&1 || true
wine "$build/bin/server-test.exe.so" bench "Z:${build//\//\\}\\bin\\lumeno.dll" "Z:${work//\//\\}\\photos" 1000 2>/dev/null | tr -d '\r'
"$build/bin/bench_read" --benchmark_filter=ColumnCells 2>/dev/null | grep ColumnCells
