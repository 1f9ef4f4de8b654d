#!/usr/bin/env bash
# Installs the Python package with `pip install .` into a fresh virtual
# environment, with the packages its tests compare against, and runs pytest.
# SAMPLENET_CLI names the command-line program the results are compared with
# (default: build/cli/samplenet, which scripts/test.sh builds first).
set -euo pipefail
cd "$(dirname "$0")/.."
venv=build-python-venv
rm -rf "$venv"
python3 -m venv "$venv"
"$venv/bin/pip" install --quiet --upgrade pip
"$venv/bin/pip" install --quiet ".[test]"
export SAMPLENET_CLI=${SAMPLENET_CLI:-$PWD/build/cli/samplenet}
# From outside the source tree, so that the installed package is the one tested.
cd "$venv" && "bin/python" -m pytest -q -p no:cacheprovider ../python/tests
