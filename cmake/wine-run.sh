#!/usr/bin/env bash
# Runs a Windows program under Wine with a private, quiet prefix.
# WINEPREFIX defaults to a folder beside the build; scripts/wine-session.sh
# prepares it and keeps one server running for a whole test run.
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-"mscoree,mshtml="}
export WINEPREFIX=${WINEPREFIX:-${CMSKIT_WINEPREFIX:-$PWD/.wine}}
exec wine "$@"
