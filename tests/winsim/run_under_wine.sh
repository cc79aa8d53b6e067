#!/bin/sh
# Runs a Windows program in a Wine prefix of its own, which is gone afterwards whatever happens.
# Usage: run_under_wine.sh PROGRAM.exe [ARGUMENTS...]. Exit status: the program's.
set -eu

if [ ! -f "$1" ]; then
    echo "$1 is not built: cmake --preset windows && cmake --build --preset windows" >&2
    exit 1
fi

scratch=$(mktemp -d)
export WINEPREFIX="$scratch/prefix" WINEARCH=win64 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree=;mshtml="
# The conformance tests expect the ANSI code page 1252, a zone with daylight saving time and one environment variable.
export LC_ALL=C.UTF-8 TZ=America/New_York KELO_CONFORMANCE="seven ch"
unset DISPLAY

clean_up() {
    wineserver -k 2>/dev/null || true
    wineserver -w 2>/dev/null || true
    rm -rf "$scratch"
}
trap clean_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

# In the background, because a shell heeds signals only while it waits.
wine wineboot -i >/dev/null 2>&1 &
wait $!
wine "$@" &
wait $!
