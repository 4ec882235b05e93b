#!/usr/bin/env python3
"""One-thread `bench DEPTH` speed of several engine builds, measured side by side.

Usage: tools/bench_compare.py [--runs N] [--depth D] ENGINE ENGINE...

The builds run in turn, the order reversed every other round, so that a busy machine slows them alike.
Each run's user CPU time comes from the child's rusage and its nodes/s from the engine's last line. For each
build the script prints the medians and, against the first build, the median of the per-round speed
ratios (by user time and by nodes/s), which follow changing load better than a ratio of medians. Every run
must search the same number of nodes as the first build's first run.
"""
import argparse
import resource
import statistics
import subprocess
import sys


def run(engine, depth):
    before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime
    out = subprocess.run([engine, "bench", str(depth)], capture_output=True, text=True, check=True).stdout
    user = resource.getrusage(resource.RUSAGE_CHILDREN).ru_utime - before
    fields = {line.split(":")[0]: line.split()[-1] for line in out.splitlines() if ":" in line}
    return int(fields["Nodes searched"]), int(fields["Nodes/second"]), user


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--depth", type=int, default=12)
    parser.add_argument("engines", nargs="+")
    args = parser.parse_args()

    nps = {e: [] for e in args.engines}
    user = {e: [] for e in args.engines}
    signature = None
    for round_number in range(args.runs):
        order = args.engines if round_number % 2 == 0 else args.engines[::-1]
        for engine in order:
            nodes, rate, seconds = run(engine, args.depth)
            signature = signature or nodes
            if nodes != signature:
                sys.exit(f"{engine}: {nodes} nodes, expected {signature}")
            nps[engine].append(rate)
            user[engine].append(seconds)
        print(f"round {round_number + 1}: user s " + " ".join(f"{user[e][-1]:.2f}" for e in args.engines),
              flush=True)

    first = args.engines[0]
    print(f"bench {args.depth}, {signature} nodes, {args.runs} runs each")
    for engine in args.engines:
        by_user = statistics.median(user[first][i] / user[engine][i] for i in range(args.runs))
        by_nps = statistics.median(nps[engine][i] / nps[first][i] for i in range(args.runs))
        print(f"{engine}: user s median {statistics.median(user[engine]):.3f}, nodes/s median "
              f"{statistics.median(nps[engine]):.0f}; speed x{by_user:.3f} (user), x{by_nps:.3f} (nodes/s)")


if __name__ == "__main__":
    main()
