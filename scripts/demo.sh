#!/usr/bin/env bash
# The main job: builds cmskit64 and runs it on an example.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake --preset linux >/dev/null
cmake --build --preset linux
build/linux/bin/cmskit info examples/data/signed.p7s
