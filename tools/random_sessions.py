#!/usr/bin/env python3
"""Seeded random sessions against the engine, in the console and in UCI.

Each session runs the engine in a scratch directory (small tables, the shared book and tablebases when
present) and talks to it as a user or an interface would: random legal and illegal commands, accepted and
rejected FENs, moves the engine itself listed or played, searches with tiny limits, pondering and infinite
searches ended by "stop" or "ponderhit", undo, table commands, odd bytes and over-long lines. A session
fails on a sanitizer report, a crash, a non-zero exit status, or a reply that does not come in time; its
input, output and standard error are then kept for replay.

Usage: tools/random_sessions.py ENGINE [--seeds 1-20] [--commands 40] [--valid-fens-only] [--keep DIR]
The same seed always sends the same commands (the engine's replies can steer a session, so searches
whose result depends on timing may differ).
"""
import argparse
import os
import random
import re
import select
import subprocess
import sys
import tempfile
import time

SANITIZER_MARKS = ("ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                   "UndefinedBehaviorSanitizer", "WARNING: ThreadSanitizer")
PROMPT = b"ferrolune> "
REPLY_TIMEOUT = 60.0

START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"
VALID_FENS = [
    START,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3",
    "r1bqkb1r/pp2pppp/3p1n2/6B1/3nP3/2N5/PPP2PPP/R2QKB1R b KQkq - 0 7",
    "6k1/5ppp/8/8/8/8/8/R5K1 w - - 0 1",          # mate in one
    "R5k1/5ppp/8/8/8/8/8/6K1 b - - 1 1",          # checkmated
    "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1",             # stalemate
    "8/P7/8/8/8/8/7p/K6k w - - 0 1",              # promotions on both sides
    "8/8/8/4k3/8/8/4P3/4K3 w - - 0 1",            # tablebase positions from here on
    "8/8/8/8/3k4/8/8/R3K3 b - - 0 1",
    "8/8/3k4/8/8/3r4/8/Q3K3 w - - 0 1",
    "8/8/8/3k4/8/8/8/1BN1K3 w - - 0 1",
    "4k3/8/8/8/8/8/8/4K2R w K - 99 120",
    "8/8/8/8/8/8/k7/K7 w - - 0 1",
]
# Accepted by the reader or not, these are not safe positions to go on from.
SUSPECT_FENS = [
    "",
    "8/8/8 w",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR x KQkq - 0 1",
    "rnbqkbnr/pppppppp/9/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP w KQkq - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR/8 w KQkq - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e9 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq z3 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e4 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w XYZ - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNX w KQkq - 0 1",
    "4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1",           # rights without rooks
    "8/8/8/8/8/8/8/8 w - - 0 1",                  # no kings
    "4k3/8/8/8/8/8/8/3KK3 w - - 0 1",
    "4k3/8/8/8/8/8/8/P3K3 w - - 0 1",             # pawn on the first rank
    "4k3/4Q3/8/8/8/8/8/4K3 w - - 0 1",            # the side not to move is in check
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 999999 -5",
]


NUMBER_COMMANDS = {"sd": ["2", "3", "1", "64", "9999"], "st": ["1", "2147483647"], "thread": ["1", "2", "3", "25"],
                   "memory": ["1", "2", "4", "9000"], "hstore": ["7", "300"]}


def mutated(rng, fen):
    """A FEN with a cut, a changed character or a dropped field."""
    choice = rng.randrange(3)
    if choice == 0 or not fen:
        return fen[:rng.randrange(len(fen) + 1)]
    if choice == 1:
        i = rng.randrange(len(fen))
        return fen[:i] + rng.choice("pnbrqkPNBRQK0123456789/ -wbx") + fen[i + 1:]
    fields = fen.split(" ")
    del fields[rng.randrange(len(fields))]
    return " ".join(fields)


def random_square(rng):
    return rng.choice("abcdefgh") + rng.choice("12345678")


class Engine:
    def __init__(self, binary, workdir):
        self.stderr = open(os.path.join(workdir, "stderr.txt"), "wb")
        env = dict(os.environ)
        env.setdefault("ASAN_OPTIONS", "detect_leaks=1:abort_on_error=1")
        env.setdefault("UBSAN_OPTIONS", "print_stacktrace=1:halt_on_error=1")
        self.proc = subprocess.Popen([binary], cwd=workdir, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=self.stderr, env=env)
        self.sent = []
        self.out = b""
        self.closed = False

    def send(self, line):
        data = line if isinstance(line, bytes) else line.encode()
        self.sent.append(data)
        try:
            self.proc.stdin.write(data + b"\n")
            self.proc.stdin.flush()
        except BrokenPipeError:
            pass

    def close_input(self):
        if not self.closed:
            self.closed = True
            try:
                self.proc.stdin.close()
            except BrokenPipeError:
                pass

    def wait_until(self, done):
        """Reads output until done(output) holds; False when the engine ends or falls silent first."""
        deadline = time.monotonic() + REPLY_TIMEOUT
        fd = self.proc.stdout.fileno()
        while not done(self.out):
            left = deadline - time.monotonic()
            if left <= 0:
                return False
            ready, _, _ = select.select([fd], [], [], left)
            if ready:
                chunk = os.read(fd, 65536)
                if not chunk:
                    return False
                self.out += chunk
        return True

    def wait_for(self, text):
        start = len(self.out)
        if not self.wait_until(lambda out: text in out[start:]):
            return None
        return self.out[start:]

    def finish(self):
        """Ends the input and returns the exit status, or None when the engine does not end."""
        self.close_input()
        self.wait_until(lambda out: self.proc.poll() is not None)
        try:
            status = self.proc.wait(timeout=REPLY_TIMEOUT)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
            status = None
        rest = self.proc.stdout.read()
        self.out += rest or b""
        self.stderr.close()
        return status


def junk_line(rng):
    """A line no front end understands; random bytes never begin with "q", which would end the session."""
    return rng.choice([
        b"", b"   ", b"\t", b"x" * rng.randrange(200, 5000), b"#" + bytes(rng.randrange(256) for _ in range(20)).replace(b"\n", b"."),
        b"setoption name Hash value 1", b"debug on", b"stop", b"ponderhit", b"help\r", b"\x00go",
    ])


def console_session(rng, engine, args):
    legal = []
    fens = VALID_FENS if args.valid_fens_only else VALID_FENS + SUSPECT_FENS
    prompts = 0

    def command(line):
        nonlocal prompts, legal
        start = len(engine.out)
        engine.send(line)
        prompts += 1
        if not engine.wait_until(lambda out: out.count(PROMPT) > prompts):
            raise SessionError("no prompt after %r" % line)
        found = re.findall(rb"^Move: ([a-h][1-8][a-h][1-8][qrbn]?)$", engine.out[start:], re.M)
        if line in ("gen", b"gen"):
            legal = [m.decode() for m in found]

    engine.send("console")
    if not engine.wait_until(lambda out: out.count(PROMPT) > 0):
        raise SessionError("no console prompt")
    simple = ["help", "size", "key", "hprobe", "inv", "clear", "dump", "book", "see", "score", "legal",
              "probe", "gen", "new", "getboard", "b", "turn", "undo", "n1", "p", "bug", "killer", "good", "test",
              "m1", "m5", "m8", "t", "o", "c", "d", "e", "mob", "fianc", "bb", "getboard x"]
    for _ in range(args.commands):
        kind = rng.random()
        if kind < 0.25 and legal:
            command(rng.choice(legal))
            legal = []
        elif kind < 0.35:
            command("gen")
        elif kind < 0.45:
            fen = rng.choice(fens)
            if not args.valid_fens_only and rng.random() < 0.3:
                fen = mutated(rng, fen)
            command("setboard " + fen)
            legal = []
        elif kind < 0.55:
            command("go")
            legal = []
        elif kind < 0.62:
            # In range and out of range; the search depth stays small.
            word, values = rng.choice(list(NUMBER_COMMANDS.items()))
            command((word + " " + rng.choice(values + ["", "x", "0", "-3"])).strip())
        elif kind < 0.67:
            command(random_square(rng) + random_square(rng) + rng.choice(["", "", "q", "n", "x"]))
        elif kind < 0.72:
            command(junk_line(rng))
        else:
            command(rng.choice(simple))
    # Both ways out: a line beginning with "q", or the end of the input.
    if rng.random() < 0.5:
        engine.send(rng.choice(["quit", "q", "qwerty"]))


def uci_session(rng, engine, args):
    fens = VALID_FENS if args.valid_fens_only else VALID_FENS + SUSPECT_FENS
    base, moves = "startpos", []

    def position():
        text = "position " + base
        return text + (" moves " + " ".join(moves) if moves else "")

    def time_words():
        words = []
        for word in rng.sample(["wtime", "btime", "winc", "binc", "movestogo", "movetime", "depth", "nodes"],
                               rng.randrange(4)):
            value = {"movestogo": rng.randrange(0, 40), "depth": rng.choice([1, 2, 3, 65]),
                     "nodes": 1000}.get(word, rng.choice([0, 5, 30, 100, 300, -10]))
            words.append("%s %d" % (word, value))
        return " ".join(words)

    def best_move():
        reply = engine.wait_for(b"bestmove ")
        if reply is None:
            raise SessionError("no bestmove")
        engine.wait_until(lambda out: out.endswith(b"\n"))

    engine.send("uci")
    if engine.wait_for(b"uciok") is None:
        raise SessionError("no uciok")
    for _ in range(args.commands):
        kind = rng.random()
        if kind < 0.3:
            engine.send(position())
            start = len(engine.out)
            engine.send(("go " + time_words()).strip())
            best_move()
            m = re.search(rb"bestmove ([a-h][1-8][a-h][1-8][qrbn]?)", engine.out[start:])
            if m and rng.random() < 0.8:
                moves.append(m.group(1).decode())
        elif kind < 0.4:
            # Pondering and infinite searches: the monitor alone reads until "ponderhit" or "stop".
            engine.send(position())
            engine.send(rng.choice(["go ponder ", "go infinite ", "go ponder infinite "]) + time_words())
            for _ in range(rng.randrange(3)):
                engine.send(rng.choice(["isready", "position startpos", "go", "ucinewgame", "xyzzy"]))
            # After "ponderhit" the search goes on under its clock or its depth limit.
            engine.send(rng.choice(["stop", "ponderhit", "stop"]))
            best_move()
        elif kind < 0.5:
            base = "fen " + rng.choice(fens) if rng.random() < 0.8 else "startpos"
            if not args.valid_fens_only and rng.random() < 0.3:
                base = "fen " + mutated(rng, base[4:] if base.startswith("fen ") else START)
            moves = []
        elif kind < 0.55:
            moves.append(random_square(rng) + random_square(rng))
            engine.send(position())
            moves.pop()
        elif kind < 0.63:
            engine.send("isready")
            if engine.wait_for(b"readyok") is None:
                raise SessionError("no readyok")
        elif kind < 0.68:
            engine.send("ucinewgame")
            base, moves = "startpos", []
        elif kind < 0.73:
            # A stop during a timed search is read after it and ignored.
            engine.send(position())
            engine.send("go movetime 50")
            engine.send("stop")
            best_move()
        else:
            engine.send(junk_line(rng))
    end = rng.random()
    if end < 0.3:
        engine.send("quit")
    elif end < 0.5:
        engine.send(position())
        engine.send("go ponder wtime 100000 btime 100000")
        engine.send(rng.choice(["quit", "q"]))


class SessionError(Exception):
    pass


def run_session(binary, dialect, seed, args, shared):
    rng = random.Random("%s-%d" % (dialect, seed))
    workdir = tempfile.mkdtemp(prefix="ferrolune_session_")
    threads = rng.choice([1, 1, 2, 3])
    ini = ["[ENGINE]", "Thread=%d" % threads, "HashSize=%d" % rng.choice([1, 2, 4, 128]), "HashPawnSize=1",
           "MaxDepth=%d" % rng.choice([2, 3]), "[BOOK]"]
    book = os.path.join(shared, "books", "performance.bin")
    if os.path.exists(book):
        os.symlink(os.path.abspath(book), os.path.join(workdir, "Tellarin_12.9c.bin"))
        ini += ["Book=%d" % rng.randrange(2), "RandBook=%d" % rng.randrange(2)]
    else:
        ini += ["Book=0"]
    tables = os.path.abspath(os.path.join(shared, "syzygy"))
    ini += ["[TABLEBASE]"]
    if os.path.isdir(tables):
        ini += ["Syzygy=1", "dtzPath=" + tables, "wdlPath=" + tables]
    else:
        ini += ["Syzygy=0"]
    with open(os.path.join(workdir, "ferrolune.ini"), "w") as f:
        f.write("\n".join(ini) + "\n")
    os.mkdir(os.path.join(workdir, "DumpHash"))

    engine = Engine(binary, workdir)
    problem = None
    try:
        (console_session if dialect == "console" else uci_session)(rng, engine, args)
    except SessionError as e:
        problem = str(e)
    status = engine.finish()
    with open(os.path.join(workdir, "stderr.txt"), "rb") as f:
        errors = f.read().decode(errors="replace")
    if status is None:
        problem = problem or "did not end"
    elif status != 0:
        problem = problem or "exit status %d" % status
    marks = [m for m in SANITIZER_MARKS if m in errors]
    if marks:
        problem = "sanitizer report (%s)%s" % (", ".join(marks), "; " + problem if problem else "")
    if problem:
        keep = os.path.join(args.keep, "%s-%d" % (dialect, seed))
        os.makedirs(keep, exist_ok=True)
        with open(os.path.join(keep, "input.txt"), "wb") as f:
            f.write(b"".join(line + b"\n" for line in engine.sent))
        with open(os.path.join(keep, "stdout.txt"), "wb") as f:
            f.write(engine.out)
        with open(os.path.join(keep, "stderr.txt"), "w") as f:
            f.write(errors)
        with open(os.path.join(keep, "ferrolune.ini"), "w") as f:
            f.write("\n".join(ini) + "\n")
    subprocess.run(["rm", "-rf", workdir])
    return problem


def seed_list(text):
    seeds = []
    for part in text.split(","):
        low, _, high = part.partition("-")
        seeds += range(int(low), int(high or low) + 1)
    return seeds


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("engine")
    parser.add_argument("--seeds", default="1-20", help="seeds, e.g. 1-20 or 1,4,7-9")
    parser.add_argument("--commands", type=int, default=40, help="commands per session")
    parser.add_argument("--dialects", default="console,uci")
    parser.add_argument("--valid-fens-only", action="store_true",
                        help="set only positions that are accepted and safe (no rejected or suspect FENs)")
    parser.add_argument("--keep", default="random_sessions_failed", help="where failed sessions are kept")
    parser.add_argument("--shared", default=os.environ.get("FERROLUNE_SHARED",
                        os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "shared")))
    args = parser.parse_args()

    failures = 0
    began = time.monotonic()
    for seed in seed_list(args.seeds):
        for dialect in args.dialects.split(","):
            problem = run_session(os.path.abspath(args.engine), dialect, seed, args, args.shared)
            if problem:
                failures += 1
                print("FAILED %-7s seed %-4d %s (kept in %s/%s-%d)" % (dialect, seed, problem, args.keep, dialect, seed))
            else:
                print("ok     %-7s seed %d" % (dialect, seed))
            sys.stdout.flush()
    print("%d failed session(s), %.0f s" % (failures, time.monotonic() - began))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
