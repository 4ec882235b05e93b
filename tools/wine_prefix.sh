#!/bin/sh
# Readies the Wine prefix (WINEPREFIX, default ~/.wine) for the Windows build: makes it when it is missing,
# and waits until it is complete, so that no timed test or game waits for Wine's first start; and gives it
# a drive D: when it has none (a folder drive_d inside the prefix), where the Windows build's tablebase
# self-test keeps its folder "D:/Release Under Test/TestSyzygy". Safe to run again.
set -eu
prefix=${WINEPREFIX:-$HOME/.wine}
if [ ! -f "$prefix/system.reg" ]; then
    echo "making the Wine prefix $prefix"
    WINEDEBUG=-all wineboot -i >/dev/null 2>&1 || true
fi
wineserver -w || true
if [ ! -e "$prefix/dosdevices/d:" ]; then
    mkdir -p "$prefix/drive_d"
    ln -sfn ../drive_d "$prefix/dosdevices/d:"
    echo "Wine drive D: is $prefix/drive_d"
fi
