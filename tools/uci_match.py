#!/usr/bin/env python3
"""Plays games between two UCI engines as a GUI would, and counts what went wrong.

Every move is checked against a referee (a UCI engine that understands "go perft 1" and "d", such as
the Debian stockfish binary used as a black box): an illegal move, a crash (the process ends or stops
answering), a loss on time or a protocol error ends the game and is counted. Pondering follows the
usual GUI script: after "bestmove X ponder Y" the engine gets "go ponder" on the position after Y, then
"ponderhit" when the opponent plays Y, or "stop" (and a fresh "go") when it does not.

example:
  tools/uci_match.py --engine1 build/ferrolune --cwd1 /tmp/fl --ponder1 \\
      --engine2 /usr/games/stockfish --option2 "Skill Level=0" --option2 Threads=1 --option2 Hash=16 \\
      --games 4 --tc 2+0.02
"""
import argparse
import os
import queue
import shlex
import subprocess
import sys
import threading
import time


class EngineDied(Exception):
    pass


class Engine:
    def __init__(self, name, command, cwd=None, log=None):
        self.name = name
        self.log = log
        self.proc = subprocess.Popen(shlex.split(command), cwd=cwd, stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                     text=True, bufsize=1)
        self.lines = queue.Queue()
        threading.Thread(target=self._reader, daemon=True).start()
        self.ponder_move = None  # the move the engine ponders on, while a "go ponder" runs

    def _reader(self):
        for line in self.proc.stdout:
            self.lines.put(line.rstrip("\r\n"))
        self.lines.put(None)

    def send(self, line):
        if self.log:
            self.log.write(f"{time.monotonic():.3f} {self.name} < {line}\n")
        try:
            self.proc.stdin.write(line + "\n")
            self.proc.stdin.flush()
        except (BrokenPipeError, OSError):
            raise EngineDied(f"{self.name}: input closed")

    def expect(self, prefix, timeout):
        """The first line starting with prefix; EngineDied when the process ends or the time runs out."""
        deadline = time.monotonic() + timeout
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                raise EngineDied(f"{self.name}: no '{prefix}' within {timeout:.2f}s")
            try:
                line = self.lines.get(timeout=left)
            except queue.Empty:
                continue
            if line is None:
                raise EngineDied(f"{self.name}: process ended (status {self.proc.wait()})")
            if self.log:
                self.log.write(f"{time.monotonic():.3f} {self.name} > {line}\n")
            if line.startswith(prefix):
                return line

    def quiet_for(self, prefix, seconds):
        """True when no line starting with prefix comes within the time."""
        try:
            self.expect(prefix, seconds)
            return False
        except EngineDied as e:
            if self.proc.poll() is not None:
                raise
            return "within" in str(e)

    def quit(self):
        try:
            self.send("quit")
            self.proc.wait(timeout=5)
            return self.proc.returncode
        except (EngineDied, subprocess.TimeoutExpired):
            self.proc.kill()
            return None


class Referee(Engine):
    def legal_moves(self, moves):
        self.send("position startpos" + (" moves " + " ".join(moves) if moves else ""))
        self.send("go perft 1")
        legal = []
        while True:
            line = self.expect("", 10)
            if line.startswith("Nodes searched"):
                return legal
            if ":" in line and len(line.split(":")[0]) in (4, 5):
                legal.append(line.split(":")[0])

    def state(self, moves):
        """(fen, in check) of the position after the moves."""
        self.send("position startpos" + (" moves " + " ".join(moves) if moves else ""))
        self.send("d")
        fen = self.expect("Fen: ", 10)[5:]
        checkers = self.expect("Checkers:", 10)[9:].strip()
        return fen, bool(checkers)


def handshake(engine, options, timings):
    start = time.monotonic()
    engine.send("uci")
    engine.expect("uciok", 30)
    timings.append(("uciok", time.monotonic() - start))
    for option in options:
        name, value = option.split("=", 1)
        engine.send(f"setoption name {name} value {value}")
    start = time.monotonic()
    engine.send("isready")
    engine.expect("readyok", 30)
    timings.append(("readyok", time.monotonic() - start))


def go_line(clock, inc, ponder=False):
    line = "go ponder" if ponder else "go"
    return (f"{line} wtime {max(int(clock['w'] * 1000), 1)} btime {max(int(clock['b'] * 1000), 1)}"
            f" winc {int(inc * 1000)} binc {int(inc * 1000)}")


def position_line(moves):
    return "position startpos" + (" moves " + " ".join(moves) if moves else "")


def play_game(white, black, referee, base, inc, ponder, max_plies, stats):
    """Returns the result text; adds failures to stats. An engine still pondering at the end is stopped."""
    try:
        return play_moves(white, black, referee, base, inc, ponder, max_plies, stats)
    finally:
        for e in (white, black):
            if e.ponder_move is not None and e.proc.poll() is None:
                e.ponder_move = None
                try:
                    e.send("stop")
                    e.expect("bestmove", 5)
                except EngineDied:
                    stats["crash"] += 1


def play_moves(white, black, referee, base, inc, ponder, max_plies, stats):
    engines = {"w": white, "b": black}
    clock = {"w": base, "b": base}
    moves = []
    seen = {}
    for e in (white, black):
        e.ponder_move = None
        e.send("ucinewgame")
        e.send("isready")
        e.expect("readyok", 30)
    while True:
        side = "w" if len(moves) % 2 == 0 else "b"
        engine = engines[side]
        try:
            if engine.ponder_move is not None and moves and moves[-1] == engine.ponder_move:
                engine.send("ponderhit")
                start = time.monotonic()
            else:
                if engine.ponder_move is not None:
                    engine.send("stop")
                    engine.expect("bestmove", 5)
                engine.send(position_line(moves))
                engine.send(go_line(clock, inc))
                start = time.monotonic()
            engine.ponder_move = None
            reply = engine.expect("bestmove", clock[side] + 5.0)
            used = time.monotonic() - start
        except EngineDied as e:
            stats["crash"] += 1
            return f"{engine.name} crashed or hung: {e}"
        clock[side] -= used
        if clock[side] < 0:
            stats["time"] += 1
            return f"{engine.name} lost on time ({-clock[side] * 1000:.0f} ms over) at ply {len(moves)}"
        clock[side] += inc
        words = reply.split()
        if len(words) < 2:
            stats["protocol"] += 1
            return f"{engine.name}: malformed '{reply}'"
        move = words[1]
        legal = referee.legal_moves(moves)
        if move not in legal:
            stats["illegal"] += 1
            return f"{engine.name} played illegal {move} at ply {len(moves)} after {' '.join(moves)}"
        moves.append(move)

        fen, check = referee.state(moves)
        fields = fen.split()
        key = " ".join(fields[:4])
        seen[key] = seen.get(key, 0) + 1
        after = referee.legal_moves(moves)
        result = None
        if not after:
            result = (f"{engine.name} mates" if check else "stalemate")
        elif seen[key] >= 3:
            result = "draw by repetition"
        elif int(fields[4]) >= 100:
            result = "draw by fifty moves"
        elif len(moves) >= max_plies:
            result = "draw by length"
        if result:
            return f"{result} after {len(moves)} plies"

        # The GUI side of pondering: go ponder on the expected reply.
        if ponder[side] and len(words) >= 4 and words[2] == "ponder" and words[3] in after:
            engine.ponder_move = words[3]
            engine.send(position_line(moves + [words[3]]))
            engine.send(go_line(clock, inc, ponder=True))


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--engine1", required=True)
    ap.add_argument("--engine2", required=True)
    ap.add_argument("--cwd1")
    ap.add_argument("--cwd2")
    ap.add_argument("--option1", action="append", default=[])
    ap.add_argument("--option2", action="append", default=[])
    ap.add_argument("--ponder1", action="store_true")
    ap.add_argument("--ponder2", action="store_true")
    ap.add_argument("--referee", default="/usr/games/stockfish")
    ap.add_argument("--games", type=int, default=2)
    ap.add_argument("--tc", default="10+0.1", help="base seconds + increment seconds")
    ap.add_argument("--max-plies", type=int, default=300)
    ap.add_argument("--log", help="file for the whole dialogue")
    args = ap.parse_args()
    base, inc = (float(x) for x in args.tc.split("+"))
    log = open(args.log, "w", buffering=1) if args.log else None

    referee = Referee("referee", args.referee)
    referee.send("uci")
    referee.expect("uciok", 30)
    one = Engine("engine1", args.engine1, args.cwd1, log)
    two = Engine("engine2", args.engine2, args.cwd2, log)
    timings = []
    handshake(one, args.option1, timings)
    print(f"engine1 handshake: " + ", ".join(f"{k} {v * 1000:.1f} ms" for k, v in timings), flush=True)
    handshake(two, args.option2, [])

    stats = {"illegal": 0, "crash": 0, "time": 0, "protocol": 0}
    for game in range(args.games):
        white, black = (one, two) if game % 2 == 0 else (two, one)
        ponder = {"w": args.ponder1 if white is one else args.ponder2,
                  "b": args.ponder1 if black is one else args.ponder2}
        result = play_game(white, black, referee, base, inc, ponder, args.max_plies, stats)
        print(f"game {game + 1}: {white.name} (white) vs {black.name}: {result}", flush=True)
        if one.proc.poll() is not None or two.proc.poll() is not None:
            break
    status = one.quit(), two.quit()
    referee.quit()
    print(f"failures: {stats}; exit status engine1 {status[0]}, engine2 {status[1]}")
    sys.exit(1 if any(stats.values()) else 0)


if __name__ == "__main__":
    main()
