#!/bin/bash
# The console's perft benchmark against Stockfish's "go perft" on the same six positions, both on one
# thread. Prints the CPU and wall seconds of every run, then the medians and the ratio ferrolune/stockfish.
# Usage: tools/perft_vs_stockfish.sh [path/to/ferrolune] [runs] [path/to/stockfish]
#   (defaults: build/ferrolune, 5, stockfish on PATH or /usr/games/stockfish)
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
engine=$(realpath "${1:-$root/build/ferrolune}")
runs=${2:-5}
stockfish=${3:-$(command -v stockfish || echo /usr/games/stockfish)}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Small tables and no tablebases: the benchmark itself uses neither.
printf '[ENGINE]\nThread=1\nHashSize=1\nHashPawnSize=1\n[TABLEBASE]\nSyzygy=0\n' > "$work/ferrolune.ini"

positions=(
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1|6"
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1|5"
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1|7"
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1|6"
    "rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6|3"
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10|5"
)
{
    echo "setoption name Threads value 1"
    for p in "${positions[@]}"; do
        echo "position fen ${p%|*}"
        echo "go perft ${p#*|}"
    done
    echo "isready"
    sleep 0.2
    echo "quit"
} > "$work/stockfish.in"
printf 'c\nperft\nq\n' > "$work/ferrolune.in"

# Runs "$@" with the given input file; prints "cpu wall" seconds and keeps the output in $work/out.
measure() {
    local input=$1
    shift
    (cd "$work" && /usr/bin/time -f '%U %S %e' -o "$work/time" "$@" < "$input" > "$work/out")
    awk '{ printf "%.2f %.2f\n", $1 + $2, $3 }' "$work/time"
}

median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

: > "$work/ferrolune.times"
: > "$work/stockfish.times"
for ((i = 1; i <= runs; i++)); do
    t=$(measure "$work/ferrolune.in" "$engine")
    total=$(grep 'Total nodes:' "$work/out" | awk '{ print $3 }')
    echo "ferrolune run $i: cpu/wall $t  (total nodes $total)"
    echo "$t" >> "$work/ferrolune.times"

    # Stockfish's perft runs on its search thread; feed the commands as one script.
    t=$(measure "$work/stockfish.in" sh -c "cat '$work/stockfish.in' | '$stockfish'")
    total=$(grep 'Nodes searched:' "$work/out" | awk '{ s += $3 } END { print s }')
    echo "stockfish run $i: cpu/wall $t  (total nodes $total)"
    echo "$t" >> "$work/stockfish.times"
done

for kind in cpu wall; do
    col=$([ $kind = cpu ] && echo 1 || echo 2)
    f=$(awk -v c=$col '{ print $c }' "$work/ferrolune.times" | median)
    s=$(awk -v c=$col '{ print $c }' "$work/stockfish.times" | median)
    echo "median $kind seconds: ferrolune $f  stockfish $s  ratio $(awk -v f="$f" -v s="$s" 'BEGIN { printf "%.3f", f / s }')"
done
