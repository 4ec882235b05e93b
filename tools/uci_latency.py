#!/usr/bin/env python3
"""Measures how long a UCI engine takes to answer "uci" with "uciok" and "isready" with "readyok",
as an interface sees it over pipes, in the given working directory (its settings file, if any).

usage: tools/uci_latency.py ENGINE [WORKDIR] [REPEATS] [MOVETIME_MS]
"""
import subprocess
import sys
import time


def answer_time(proc, command, reply):
    start = time.perf_counter()
    proc.stdin.write(command + "\n")
    proc.stdin.flush()
    while True:
        line = proc.stdout.readline()
        if not line:
            sys.exit(f"engine ended before '{reply}'")
        if line.rstrip("\r\n").endswith(reply):
            return (time.perf_counter() - start) * 1000


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    engine, workdir = sys.argv[1], sys.argv[2] if len(sys.argv) > 2 else None
    repeats = int(sys.argv[3]) if len(sys.argv) > 3 else 5
    movetime = int(sys.argv[4]) if len(sys.argv) > 4 else 300
    uci, ready = [], []
    for _ in range(repeats):
        proc = subprocess.Popen([engine], cwd=workdir, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True, bufsize=1)
        time.sleep(0.2)  # start-up (banner, settings) is not part of either answer
        uci.append(answer_time(proc, "uci", "uciok"))
        ready.append(answer_time(proc, "isready", "readyok"))
        # A second "isready" after a search, when the tables hold data.
        proc.stdin.write(f"position startpos\ngo movetime {movetime}\n")
        proc.stdin.flush()
        while not proc.stdout.readline().startswith("bestmove"):
            pass
        ready.append(answer_time(proc, "isready", "readyok"))
        proc.stdin.write("quit\n")
        proc.stdin.flush()
        proc.wait(timeout=30)
    print(f"uci->uciok ms: max {max(uci):.1f}, all {', '.join(f'{t:.1f}' for t in uci)}")
    print(f"isready->readyok ms: max {max(ready):.1f}, all {', '.join(f'{t:.1f}' for t in ready)}")


if __name__ == "__main__":
    main()
