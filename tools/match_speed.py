#!/usr/bin/env python3
"""Replays what a match runner does and reports the engine's speed and its share of system time.

For each thread count and table setting the engine is started in a fresh working directory whose
"ferrolune.ini" holds only [ENGINE] Thread=N (and HashSize=MB for the small-table run). It is sent "uci", then
"isready" before every "position fen ... / go movetime T", SEARCHES searches on each of three middlegame
positions. Printed per run: the median nodes/s over the searches (nodes over time of each search's last info line) and the
share of the process's CPU time spent in the kernel (from its rusage), and all searches' nodes over the
process's CPU time, which a busy machine disturbs less than the wall-clock rates. Runs of the default and the small
table alternate, ROUNDS times, so that their ratio is measured side by side.

With --first, each run reports the speed of the session's first search instead of the median: the search
that meets the table's fresh memory.

usage: tools/match_speed.py ENGINE [--threads 1,2] [--searches 8] [--movetime 1000] [--small 64] [--rounds 1]
                            [--first]
"""
import argparse
import os
import re
import statistics
import subprocess
import tempfile

POSITIONS = [
    "r1bqkb1r/pp1n1ppp/2p1pn2/3p4/2PP4/2N1PN2/PP3PPP/R1BQKB1R w KQkq - 0 6",
    "r2q1rk1/pp2bppp/2n1bn2/2pp4/3P4/2P1PN2/PP1NBPPP/R1BQ1RK1 w - - 0 9",
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
]


def run_session(engine, threads, hash_mb, searches, movetime, first=False):
    with tempfile.TemporaryDirectory(prefix="ferrolune_match_") as workdir:
        ini = f"[ENGINE]\nThread={threads}\n" + (f"HashSize={hash_mb}\n" if hash_mb else "")
        with open(os.path.join(workdir, "ferrolune.ini"), "w") as f:
            f.write(ini)
        proc = subprocess.Popen([os.path.abspath(engine)], cwd=workdir, stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, bufsize=1)

        def send(line):
            proc.stdin.write(line + "\n")
            proc.stdin.flush()

        def wait_for(prefix):
            last_info = None
            while True:
                line = proc.stdout.readline()
                if not line:
                    raise SystemExit(f"engine ended before '{prefix}'")
                if line.startswith("info ") and " nodes " in line:
                    last_info = line
                if line.startswith(prefix):
                    return last_info

        send("uci")
        wait_for("uciok")
        rates = []
        nodes = 0
        for fen in POSITIONS:
            for _ in range(searches):
                send("isready")
                wait_for("readyok")
                send(f"position fen {fen}")
                send(f"go movetime {movetime}")
                info = wait_for("bestmove")
                # The nps field reads 0 below half a second of search, so nodes over time is used.
                match = re.search(r" nodes +(\d+) time (\d+)", info or "")
                if match and int(match.group(2)) > 0:
                    rates.append(int(match.group(1)) * 1000 / int(match.group(2)))
                    nodes += int(match.group(1))
        send("quit")
        proc.stdin.close()
        _, _, usage = os.wait4(proc.pid, 0)
        proc.returncode = 0
        cpu = usage.ru_utime + usage.ru_stime
        return (rates[0] if first else statistics.median(rates), usage.ru_stime / cpu if cpu else 0.0,
                usage.ru_maxrss / 1024, nodes / cpu if cpu else 0.0)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("engine")
    parser.add_argument("--threads", default="1,2")
    parser.add_argument("--searches", type=int, default=8, help="searches per position")
    parser.add_argument("--movetime", type=int, default=1000)
    parser.add_argument("--small", type=int, default=64, help="HashSize of the comparison run")
    parser.add_argument("--rounds", type=int, default=1)
    parser.add_argument("--first", action="store_true", help="the first search's speed, not the median")
    args = parser.parse_args()

    print(f"{'threads':>7} {'HashSize':>8} {'round':>5} {'nodes/s (first)' if args.first else 'nodes/s (median)':>17} {'system time':>11} {'max RSS MB':>10} {'nodes/CPU s':>11}")
    results = {}
    per_cpu = {}
    for threads in [int(t) for t in args.threads.split(",")]:
        for round_number in range(1, args.rounds + 1):
            for hash_mb in (None, args.small):
                nps, system, rss, cpu_rate = run_session(args.engine, threads, hash_mb, args.searches, args.movetime, args.first)
                results.setdefault((threads, hash_mb), []).append(nps)
                per_cpu.setdefault((threads, hash_mb), []).append(cpu_rate)
                label = str(hash_mb) if hash_mb else "default"
                print(f"{threads:>7} {label:>8} {round_number:>5} {nps:>17.0f} {system:>10.1%} {rss:>10.0f} {cpu_rate:>11.0f}",
                      flush=True)
        default, small = statistics.median(results[(threads, None)]), statistics.median(results[(threads, args.small)])
        print(f"threads {threads}: default / HashSize={args.small} = {default / small:.3f}")
        default, small = statistics.median(per_cpu[(threads, None)]), statistics.median(per_cpu[(threads, args.small)])
        print(f"threads {threads}: by nodes/CPU s, default / HashSize={args.small} = {default / small:.3f}")


if __name__ == "__main__":
    main()
