#!/bin/sh
# Runs "ferrolune bench" and compares its node count with the signature recorded in bench/signature.txt.
# Usage: tools/check_bench_signature.sh [path/to/ferrolune]   (default: build/ferrolune)
# A Windows build (a path ending in .exe) runs under Wine on another system.
# A change meant to alter the search records the new count in bench/signature.txt in the same commit.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-"$root/build/ferrolune"}
expected=$(tr -d ' \r\n' < "$root/bench/signature.txt")

runner=""
case "$engine:$(uname -s)" in *.exe:Linux*|*.exe:Darwin*) runner="env WINEDEBUG=-all wine" ;; esac
output=$($runner "$engine" bench) || { echo "ferrolune bench failed"; printf '%s\n' "$output"; exit 1; }
# A Windows program ends its lines with CR LF.
output=$(printf '%s\n' "$output" | tr -d '\r')
# The node count is on the second-to-last line.
actual=$(printf '%s\n' "$output" | tail -n 2 | head -n 1 | sed -n 's/^Nodes searched: *\([0-9][0-9]*\)$/\1/p')

if [ -z "$actual" ]; then
    echo "no node count in the output of ferrolune bench:"
    printf '%s\n' "$output" | tail -n 5
    exit 1
fi
if [ "$actual" != "$expected" ]; then
    echo "bench signature changed: expected $expected, got $actual"
    exit 1
fi
echo "bench signature ok: $actual"
