#!/usr/bin/env bash
# The Python module installed as the README says, with pip from the source tree, into a fresh
# virtual environment (with the system's packages, where setuptools and pybind11 come from), the
# build reused from BUILD-DIR; then imported from elsewhere and used.
# Usage: install-test.sh PYTHON SOURCE-DIR BUILD-DIR DATA-DIR
set -u
python=$1 source=$(cd "$2" && pwd) build=$(cd "$3" && pwd) data=$(cd "$4" && pwd)
. "$(dirname "$0")/../support/checks.sh"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$python" -m venv --system-site-packages "$work/venv"
check "a virtual environment is made" [ -x "$work/venv/bin/pip" ]
LUMENO_BUILD_DIR=$build "$work/venv/bin/pip" install --quiet --no-build-isolation --no-index "$source" >"$work/pip.out" 2>&1
status=$?
check "pip install --no-build-isolation installs the module" [ $status -eq 0 ]
[ $status -eq 0 ] || tail -n 30 "$work/pip.out"
cd "$work"
"$work/venv/bin/python" -c '
import sys, lumeno
assert lumeno.__file__.startswith(sys.prefix), lumeno.__file__
image = lumeno.open(sys.argv[1])
print(image.ifds[0].name, image.ifds[0]["Make"].value, image.iptc_value("Keyword"))
' "$data/sample.jpg" >"$work/use.out" 2>&1
check "the installed module is imported from the environment and reads the sample" \
  grep -qx 'Primary Image Acme sunrise; lake' "$work/use.out"
grep -qx 'Primary Image Acme sunrise; lake' "$work/use.out" || cat "$work/use.out"
"$work/venv/bin/pip" uninstall --quiet --yes lumeno >/dev/null 2>&1
check "and uninstalled again" bash -c '! "$1" -c "import lumeno" 2>/dev/null' _ "$work/venv/bin/python"
finish
