#!/usr/bin/env bash
# The performance record: builds the engine and the benchmark programs (Release, own build folder
# build-perf), runs each benchmark several times and prints one table of medians at the end.
#
# Usage: tools/perf_record.sh [quick]
#   quick: fewer repetitions (about 1.5 minutes instead of about 3 on a lightly loaded 2-core machine).
# Environment: FERROLUNE_SHARED  folder of the shared test data (default ../shared beside the source tree),
#                                needed for the tablebase probe figures;
#              STOCKFISH         the Stockfish binary for the perft comparison (default: stockfish on PATH,
#                                else /usr/games/stockfish). When either it or hyperfine is missing, root
#                                installs both with apt-get; otherwise the comparison is skipped.
# Rows the machine cannot produce are left out with a note; the script fails when a build or a benchmark
# fails, or a benchmark reports a wrong result (a perft count, the search signature).
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
mode=${1:-full}
case "$mode" in
    quick) reps=3 perft_runs=3 ;;
    full) reps=7 perft_runs=5 ;;
    *) echo "usage: $0 [quick]" >&2; exit 2 ;;
esac

build=$root/build-perf
echo "== building in $build"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DFERROLUNE_BENCH=ON -DFERROLUNE_TESTS=OFF > /dev/null
cmake --build "$build" -j2 --target ferrolune perft_bench eval_bench tt_alloc tbprobe_bench search_timing \
    > /dev/null
engine=$build/ferrolune

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
samples=$work/samples  # one line per measurement: name|unit|value
notes=()

add() { printf '%s|%s|%s\n' "$1" "$2" "$3" >> "$samples"; }

# Google Benchmark programs: one sample per repetition, taken from the JSON report.
gbench() {  # program filter field unit
    local program=$1 filter=$2 field=$3 unit=$4
    "$build/bench/$program" --benchmark_filter="$filter" --benchmark_repetitions="$reps" \
        --benchmark_format=json 2> /dev/null > "$work/$program.json"
    python3 - "$work/$program.json" "$field" "$unit" "$program" >> "$samples" <<'PY'
import json, sys
report, field, unit, program = sys.argv[1:]
for b in json.load(open(report))["benchmarks"]:
    if b.get("run_type") != "iteration":
        continue
    if "error_occurred" in b and b["error_occurred"]:
        sys.exit(f"{program}: {b['name']}: {b.get('error_message', 'error')}")
    name = b["run_name"]
    if field == "time":
        value = b["real_time"]
    else:
        value = b[field]
    print(f"{program} {name}|{unit}|{value}")
PY
}

echo "== perft: ferrolune against stockfish (console perft set, 1,361,558,651 leaves, $perft_runs runs)"
stockfish=${STOCKFISH:-$(command -v stockfish || echo /usr/games/stockfish)}
if { [ ! -x "$stockfish" ] || ! command -v hyperfine > /dev/null; } && [ -z "${STOCKFISH:-}" ] &&
    [ "$(id -u)" = 0 ] && command -v apt-get > /dev/null; then
    echo "installing stockfish and hyperfine"
    apt-get install -y -qq stockfish hyperfine > /dev/null 2>&1 || true
fi
if [ -x "$stockfish" ] && command -v hyperfine > /dev/null; then
    STOCKFISH=$stockfish "$root/tools/perft_vs_stockfish.sh" "$engine" "$perft_runs" | tee "$work/perft.txt"
    read -r fl_wall < <(awk '$1 == "ferrolune" {print $2}' "$work/perft.txt")
    read -r sf_wall < <(awk '$1 == "stockfish" {print $2}' "$work/perft.txt")
    # perft_vs_stockfish.sh reports medians already; they enter the table as single values.
    echo "perft set ferrolune (median of $perft_runs)|s|$fl_wall" >> "$work/perft_rows"
    echo "perft set stockfish (median of $perft_runs)|s|$sf_wall" >> "$work/perft_rows"
    perft_leaves_s=$(python3 -c "print(1361558651 / $fl_wall)")
    perft_ratio=$(python3 -c "print($sf_wall / $fl_wall)")
else
    notes+=("perft against stockfish skipped: stockfish or hyperfine missing (apt-get install stockfish hyperfine)")
fi

echo "== move generation (perft_bench)"
gbench perft_bench 'BM_GenerateAll|BM_GenerateLegal|BM_PerftLastPly' time ns
echo "== evaluation (eval_bench)"
gbench eval_bench 'BM_Evaluate' items_per_second evals/s

echo "== search (ferrolune bench)"
signature=$(tr -d ' \r\n' < "$root/bench/signature.txt")
for ((i = 0; i < reps; ++i)); do
    out=$("$engine" bench)
    nodes=$(printf '%s\n' "$out" | sed -n 's/^Nodes searched: *//p')
    [ "$nodes" = "$signature" ] || { echo "bench signature $nodes differs from $signature" >&2; exit 1; }
    add "bench signature (depth 8 nodes, must equal bench/signature.txt)" nodes "$nodes"
    add "bench depth 8, 1 thread" nodes/s "$(printf '%s\n' "$out" | sed -n 's/^Nodes\/second: *//p')"
    # The default table size, pooled: the table a GUI gets.
    out=$("$engine" bench 12 1 8192)
    add "bench depth 12, 1 thread, 8192 MB table" nodes/s "$(printf '%s\n' "$out" | sed -n 's/^Nodes\/second: *//p')"
    for threads in 1 2; do
        out=$("$engine" bench 12 "$threads")
        label="bench depth 12, $threads thread"; [ "$threads" = 1 ] || label+="s"
        add "$label" nodes/s "$(printf '%s\n' "$out" | sed -n 's/^Nodes\/second: *//p')"
        add "$label, time" ms \
            "$(printf '%s\n' "$out" | sed -n 's/^Depth:.*Time: *\([0-9]*\) ms$/\1/p')"
    done
done

echo "== transposition table at 8192 MB (tt_alloc, 500000 stores)"
for ((i = 0; i < reps; ++i)); do
    "$build/bench/tt_alloc" 8192 500000 > "$work/tt.txt"
    add "tt allocate 8192 MB" ms "$(sed -n 's/^allocate 8192 MB.*: \([0-9.]*\) ms.*/\1/p' "$work/tt.txt")"
    add "tt rss after allocate" MB "$(sed -n 's/^allocate 8192 MB.*rss \([0-9.]*\) MB/\1/p' "$work/tt.txt")"
    add "tt clear untouched" ms "$(grep -m 1 '^clear untouched' "$work/tt.txt" | sed -n 's/.*: \([0-9.]*\) ms.*/\1/p')"
    add "tt rss once faulted in" MB "$(sed -n 's/^faulted in:.*rss \([0-9.]*\) MB/\1/p' "$work/tt.txt")"
    add "tt 500000 random stores" ms "$(sed -n 's/^500000 random stores: \([0-9.]*\) ms.*/\1/p' "$work/tt.txt")"
    add "tt rss after stores" MB "$(sed -n 's/^500000 random stores:.*rss \([0-9.]*\) MB/\1/p' "$work/tt.txt")"
    add "tt clear used" ms "$(sed -n 's/^clear used table: \([0-9.]*\) ms.*/\1/p' "$work/tt.txt")"
    add "tt rss after clear" MB "$(sed -n 's/^clear used table:.*rss \([0-9.]*\) MB/\1/p' "$work/tt.txt")"
done

echo "== tablebase probes (tbprobe_bench)"
shared=${FERROLUNE_SHARED:-$root/../shared}
if [ -d "$shared/syzygy" ] && [ -f "$shared/testdata/TestSyzygy/TestCase_01.txt" ]; then
    for ((i = 0; i < reps; ++i)); do
        "$build/bench/tbprobe_bench" "$shared/syzygy" "$shared"/testdata/TestSyzygy/TestCase_0?.txt > "$work/tb.txt"
        add "ProbeWdl" probes/s "$(sed -n 's/^ProbeWdl: *\([0-9]*\).*/\1/p' "$work/tb.txt")"
        add "ProbeWdlTable" lookups/s "$(sed -n 's/^ProbeWdlTable: *\([0-9]*\).*/\1/p' "$work/tb.txt")"
        add "ProbeDtz" probes/s "$(sed -n 's/^ProbeDtz: *\([0-9]*\).*/\1/p' "$work/tb.txt")"
    done
else
    notes+=("tablebase probes skipped: no syzygy/ and testdata/TestSyzygy/ in $shared (set FERROLUNE_SHARED)")
fi

echo "== UCI answer latency (uci_latency.py, default settings: 8192 MB table)"
mkdir -p "$work/uci"
python3 "$root/tools/uci_latency.py" "$engine" "$work/uci" "$reps" | tee "$work/uci.txt"
python3 - "$work/uci.txt" >> "$samples" <<'PY'
import sys
for line in open(sys.argv[1]):
    label, _, rest = line.partition(" ms:")
    values = rest.split("all", 1)[1].split(",")
    for i, v in enumerate(values):
        # uci_latency.py measures "isready" twice a start: fresh, then after a 300 ms search.
        name = label if label.startswith("uci") else f"{label} ({'fresh' if i % 2 == 0 else 'after search'})"
        print(f"{name}|ms|{v.strip()}")
PY

echo "== move-time overshoot (search_timing, limits 100 and 500 ms)"
for ((i = 0; i < (reps + 1) / 2; ++i)); do
    "$build/bench/search_timing" 10 50 > "$work/timing.txt"
    sed -n 's/^threads \([0-9]\)  limit *\([0-9]*\) ms  overshoot mean *\([0-9-]*\) ms.*/\1 \2 \3/p' "$work/timing.txt" |
        while read -r threads limit mean; do
            add "movetime $limit ms overshoot, $threads thread(s) (mean of 3 positions)" ms "$mean"
        done
done

echo
echo "== performance record ($mode mode, $(date -u '+%Y-%m-%d %H:%M UTC'))"
echo "machine: $(lscpu | sed -n 's/^Model name: *//p' | head -n 1), $(nproc) cores, load before the table: $(cut -d' ' -f1-3 /proc/loadavg)"
python3 - "$samples" "${work}/perft_rows" "${perft_leaves_s:-}" "${perft_ratio:-}" "$perft_runs" <<'PY'
import statistics, sys, os
samples, perft_rows, leaves_s, ratio, perft_runs = sys.argv[1:]
rows = {}
order = []
if os.path.exists(perft_rows):
    for line in open(perft_rows):
        name, unit, value = line.rstrip("\n").split("|")
        rows[name] = (unit, [float(value)])
        order.append(name)
    rows["perft set ferrolune leaves/s"] = ("leaves/s", [float(leaves_s)])
    rows["perft wall ratio stockfish/ferrolune"] = ("x", [float(ratio)])
    order += ["perft set ferrolune leaves/s", "perft wall ratio stockfish/ferrolune"]
for line in open(samples):
    name, unit, value = line.rstrip("\n").split("|")
    if not value:
        continue
    if name not in rows:
        rows[name] = (unit, [])
        order.append(name)
    rows[name][1].append(float(value))

def fmt(v):
    if abs(v) >= 1e6:
        return f"{v / 1e6:.2f} M"
    if abs(v) >= 1000:
        return f"{v:,.0f}"
    if abs(v) >= 10:
        return f"{v:.1f}"
    return f"{v:.3f}"

print()
print("| figure | median | unit | runs |")
print("|---|---:|---|---:|")
for name in order:
    unit, values = rows[name]
    runs = perft_runs if name.startswith("perft set") or name.startswith("perft wall") else len(values)
    median = statistics.median(values)
    shown = str(int(median)) if unit == "nodes" else fmt(median)
    print(f"| {name} | {shown} | {unit} | {runs} |")
PY
for note in "${notes[@]}"; do echo "note: $note"; done
