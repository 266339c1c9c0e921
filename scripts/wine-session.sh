#!/usr/bin/env bash
# Runs a command (ctest) with a prepared Wine prefix and a persistent server,
# so each test does not wait for the server to start and stop.
set -euo pipefail
prefix=$1
shift
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
mkdir -p "$WINEPREFIX"
wineserver -p
trap 'wineserver -k || true' EXIT
if [ ! -f "$WINEPREFIX/.cmskit-ready" ]; then
  wine wineboot -i >/dev/null 2>&1 || true
  # A crash must be a non-zero exit, not a debugger waiting for a person.
  wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /t REG_SZ /d '' /f >/dev/null 2>&1 || true
  touch "$WINEPREFIX/.cmskit-ready"
fi
# The first program of a session starts Wine's services, which keep its
# standard handles open: start them here, detached, so the first test's output
# pipe is not held open after that test has ended.
wine cmd /c exit </dev/null >/dev/null 2>&1 || true
"$@"
