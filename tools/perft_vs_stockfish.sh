#!/usr/bin/env bash
# Times ferrolune's console perft benchmark (six positions, 1,361,558,651 leaves) against Stockfish's
# "go perft" on the same positions and depths, both single-threaded: medians of several runs and the ratio.
# Stockfish is only run as a black box (Debian package "stockfish"); hyperfine does the timing.
#
# Usage: tools/perft_vs_stockfish.sh [path/to/ferrolune] [runs]
#   STOCKFISH=/path/to/stockfish overrides the Stockfish binary.
set -euo pipefail

engine=$(realpath "${1:-build/ferrolune}")
runs=${2:-5}
stockfish=${STOCKFISH:-$(command -v stockfish || echo /usr/games/stockfish)}
for tool in "$engine" "$stockfish"; do
    [ -x "$tool" ] || { echo "not executable: $tool" >&2; exit 1; }
done
command -v hyperfine > /dev/null || { echo "hyperfine not found (apt-get install hyperfine)" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"  # no settings file: the engine runs on its defaults

positions=(
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1|6"
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1|5"
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1|7"
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1|6"
    "rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6|3"
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10|5"
)
expected_total=1361558651

{
    echo "setoption name Threads value 1"
    for p in "${positions[@]}"; do
        echo "position fen ${p%|*}"
        echo "go perft ${p#*|}"
    done
    echo "quit"
} > stockfish.in
printf 'c\nperft\nquit\n' > ferrolune.in

# One checked run each: both must find every leaf.
sf_total=$("$stockfish" < stockfish.in | awk '/^Nodes searched/ {s += $3} END {print s + 0}')
fl_total=$("$engine" < ferrolune.in | awk '/^Total nodes:/ {print $3}')
echo "leaves: stockfish $sf_total, ferrolune $fl_total, expected $expected_total"
if [ "$sf_total" != "$expected_total" ] || [ "$fl_total" != "$expected_total" ]; then
    echo "leaf counts differ" >&2
    exit 1
fi

hyperfine --runs "$runs" --warmup 1 --export-json times.json \
    -n stockfish "'$stockfish' < stockfish.in > /dev/null" \
    -n ferrolune "'$engine' < ferrolune.in > /dev/null"

python3 - times.json <<'PY'
import json, sys
results = {r["command"]: r for r in json.load(open(sys.argv[1]))["results"]}
sf, fl = results["stockfish"], results["ferrolune"]
def cpu(r):  # hyperfine reports processor time as a mean over the runs
    return r["user"] + r["system"]
print()
print(f"{'':12}{'median wall s':>15}{'mean cpu s':>15}")
for name, r in (("stockfish", sf), ("ferrolune", fl)):
    print(f"{name:12}{r['median']:15.3f}{cpu(r):15.3f}")
print(f"ratio stockfish/ferrolune: wall {sf['median'] / fl['median']:.2f}, cpu {cpu(sf) / cpu(fl):.2f}"
      " (above 1: ferrolune is faster)")
PY
