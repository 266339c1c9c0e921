#!/usr/bin/env bash
# Builds cmskit64 and runs every test: Linux, Linux under the sanitizers, and
# the Windows build under Wine.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh

echo "== Linux"
cmake --preset linux >/dev/null
cmake --build --preset linux
ctest --preset linux

echo "== Linux, AddressSanitizer + UndefinedBehaviorSanitizer"
cmake --preset sanitize >/dev/null
cmake --build --preset sanitize
ASAN_OPTIONS=detect_leaks=1 ctest --preset sanitize

echo "== Windows (MinGW-w64) under Wine"
cmake --preset windows >/dev/null
cmake --build --preset windows
scripts/wine-session.sh "$PWD/build/windows/.wine" ctest --preset windows
