#!/usr/bin/env bash
# Installs what the build needs, builds the debug preset and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset dev
cmake --build --preset dev
ctest --preset dev
