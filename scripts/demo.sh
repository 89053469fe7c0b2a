#!/usr/bin/env bash
# Installs what is missing, builds, and runs the tool on the bundled sample image.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh release
./build/release/bin/vandrel demo
