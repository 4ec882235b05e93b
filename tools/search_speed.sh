#!/bin/sh
# Search speed on the bench positions: nodes per second and time to a fixed depth, with 1 and 2 threads.
# Usage: tools/search_speed.sh [path/to/ferrolune] [depth]   (defaults: build/ferrolune, 10)
# Several threads search overlapping trees, so their node counts differ from run to run.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
engine=${1:-"$root/build/ferrolune"}
depth=${2:-10}

for threads in 1 2; do
    "$engine" bench "$depth" "$threads" | tail -n 3 | tr '\n' ' '
    echo
done
