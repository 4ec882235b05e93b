#!/usr/bin/env python3
"""Cross-checks ferrolune's move generation, move making and FEN handling against Stockfish.

Random legal positions come from playouts driven by Stockfish itself (its "go perft 1" lists the legal
moves, "d" prints the FEN and the checkers). The playouts favour en passant, castling, promotions,
captures, double pawn steps and checks, and start from varied seeds. For each position:

  * `ferrolune perft D "FEN"` for D = 1..3 against the expected count under the engine's own rule (a node
    without legal moves, or whose subtrees all count 0, met before the last ply counts 1 when not in check),
    computed exactly from Stockfish's per-move counts and check information;
  * through the console: "setboard" then "getboard" must give the FEN back; "gen" and "legal" give the
    legal move list, which must equal Stockfish's and be printed in the engine's generation order; every
    legal move is then played ("e2e4"): "getboard" must give Stockfish's FEN after it (first four fields;
    the engine also names the en-passant square when no pawn can capture), "key" must show equal full and
    incremental hash keys, and "undo" takes it back; in check the evasion list must contain every legal
    move; every legal quiet checking move should appear in the quiet-check list (misses are notes).

A few hundred positions are also compared at depths 4 and 5 with Stockfish's standard count; a
difference is followed down the tree (per-move counts of both programs) to a node of depth 3 or less,
where the exact engine-rule count settles whether it is the stalemate rule or a fault.

Usage: verify_movegen.py --engine build/ferrolune [--stockfish stockfish] [--positions 2000]
                         [--deep 200] [--exact 20] [--seed 1] [--seeds-file movegen.tsv] [--no-console]
"""

import argparse
import os
import random
import shutil
import subprocess
import sys
import tempfile
import time

START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1"

SEED_FENS = [
    START,
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "r3k2r/Pppp1ppp/1b3nbN/nP6/BBP1P3/q4N2/Pp1P2PP/R2Q1RK1 w kq - 0 1",
    "rnbqkb1r/pp1p1ppp/2p5/4P3/2B5/8/PPP1NnPP/RNBQK2R w KQkq - 0 6",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "3rk2r/ppp2ppp/8/3Pp3/8/8/PPP2PPP/R3K2R w KQk d6 12 1",
    "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
    "r3k2r/pppppppp/8/8/8/8/PPPPPPPP/R3K2R w KQkq - 0 1",
    "r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq - 0 1",
    "r3k2r/8/3Q4/8/8/5q2/8/R3K2R b KQkq - 0 1",
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
    "8/P1k5/K7/8/8/8/8/8 w - - 0 1",
    "8/3k4/8/8/1PpP4/8/8/4K3 b - b3 0 1",
    "8/8/8/KPp4r/8/8/8/4k3 w - c6 0 1",
    "4k3/8/8/r2pP2K/8/8/8/8 w - d6 0 1",
    "8/8/1k6/2b5/2pP4/8/5K2/8 b - d3 0 1",
    "8/5bk1/8/2Pp4/8/1K6/8/8 w - d6 0 1",
    "3k4/3p4/8/K1P4r/8/8/8/8 b - - 0 1",
    "8/8/4k3/8/2p5/8/B2P2K1/8 w - - 0 1",
    "5k2/8/8/8/8/8/8/4K2R w K - 0 1",
    "3k4/8/8/8/8/8/8/R3K3 w Q - 0 1",
    "r3k2r/1b4bq/8/8/8/8/7B/R3K2R w KQkq - 0 1",
    "r3k2r/8/8/8/8/8/8/R3K2R b KQkq - 0 1",
    "2K2r2/4P3/8/8/8/8/8/3k4 w - - 0 1",
    "4k3/1P6/8/8/8/8/K7/8 w - - 0 1",
    "8/PPPPPPPP/8/8/8/8/8/K6k w - - 0 1",
    "k7/8/8/8/8/8/pppppp2/7K b - - 0 1",
    "6kq/8/8/8/8/8/8/7K w - - 0 1",
    "K7/8/2n5/1n6/8/8/8/k6N w - - 0 1",
    "8/8/8/8/8/8/6k1/4K2R w K - 0 1",
    "rnbqkbnr/pp1ppppp/8/8/2pPP3/8/PPP2PPP/RNBQKBNR b KQkq d3 0 3",
    "7k/8/8/8/8/8/8/K1Q5 w - - 0 1",
    "8/8/8/2k5/2pP4/8/B7/4K3 b - d3 0 3",
    "r1bqkbnr/pppppppp/n7/8/8/P7/1PPPPPPP/RNBQKBNR w KQkq - 2 2",
    "r3k2r/1P6/8/8/8/8/8/4K3 w kq - 0 1",
    "r3k2r/6P1/8/8/8/8/8/4K3 w kq - 0 1",
    "4k3/8/8/8/8/8/1p6/R3K2R b KQ - 0 1",
    "4k3/8/8/8/8/8/6p1/R3K2R b KQ - 0 1",
    "r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1",
    "2r5/3pk3/8/2P5/8/2K5/8/8 w - - 5 4",
    "8/8/1P2K3/8/2n5/1q6/8/5k2 b - - 0 1",
    "K1k5/8/P7/8/8/8/8/8 w - - 0 1",
    "8/k1P5/8/1K6/8/8/8/8 w - - 0 1",
    "8/8/2k5/5q2/5n2/8/5K2/8 b - - 0 1",
    "r3k2r/p6p/8/B7/1pp1p3/3b4/P6P/R3K2R w KQkq - 0 1",
    "8/5p2/8/2k3P1/p3K3/8/1P6/8 b - - 0 1",
    "r3k2r/pb3p2/5npp/n2p4/1p1PPB2/6P1/P2N1PBP/R3K2R b KQkq - 0 1",
    "1k6/1b6/8/8/7R/8/8/4K2R b K - 0 1",
    "3k4/8/8/8/8/8/8/R3K3 w Q - 0 1",
    "8/8/8/8/k2Pp2Q/8/8/3K4 b - d3 0 1",
    "8/8/8/8/k1pP3Q/8/8/3K4 b - d3 0 1",
    "8/8/8/8/1k1Pp2R/8/8/4K3 b - d3 0 1",
    "4k3/8/8/8/3pP3/8/8/3KQ3 b - e3 0 1",
    "7k/8/8/1b6/2pP4/8/8/4K3 b - d3 0 1",
    "k7/8/8/8/8/8/8/1QQQQK2 w - - 0 1",
    "1qqqqk2/8/8/8/8/8/8/1QQQQK2 w - - 0 1",
    "7k/PPPPPP2/8/8/8/8/pppppp2/K7 w - - 0 1",
    "8/8/8/7k/8/QQQ5/QQQ5/QQQK4 w - - 0 1",
    "qqqk4/qqq5/qqq5/8/7K/8/8/8 b - - 0 1",
]


class Stockfish:
    def __init__(self, path):
        self.p = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.send("uci")
        self.read_until("uciok")
        self.calls = 0

    def send(self, line):
        self.p.stdin.write(line + "\n")
        self.p.stdin.flush()

    def read_until(self, prefix):
        lines = []
        while True:
            line = self.p.stdout.readline()
            if not line:
                raise RuntimeError("stockfish ended")
            line = line.rstrip("\n")
            lines.append(line)
            if line.startswith(prefix):
                return lines

    def set(self, fen, moves=()):
        self.send("position fen " + fen + (" moves " + " ".join(moves) if moves else ""))

    def divide(self, fen, depth, moves=()):
        """Standard perft per root move and total."""
        self.calls += 1
        self.set(fen, moves)
        self.send("go perft %d" % depth)
        out = {}
        total = None
        for line in self.read_until("Nodes searched"):
            if line.startswith("Nodes searched"):
                total = int(line.split(":")[1])
            elif ": " in line and len(line.split(":")[0]) in (4, 5):
                m, n = line.split(": ")
                out[m] = int(n)
        return out, total

    def info(self, fen, moves=()):
        """(fen, number of checkers) of the position after the moves."""
        self.calls += 1
        self.set(fen, moves)
        self.send("d")
        self.send("isready")
        out_fen, checkers = None, 0
        for line in self.read_until("readyok"):
            if line.startswith("Fen: "):
                out_fen = line[5:].strip()
            elif line.startswith("Checkers:"):
                checkers = len(line[9:].split())
        return out_fen, checkers

    def close(self):
        try:
            self.send("quit")
            self.p.wait(5)
        except Exception:
            self.p.kill()


def board_of(fen):
    placement = fen.split()[0]
    board = {}
    for r, row in enumerate(placement.split("/")):
        f = 0
        for ch in row:
            if ch.isdigit():
                f += int(ch)
            else:
                board[chr(ord("a") + f) + str(8 - r)] = ch
                f += 1
    return board


def classify(board, move):
    """Set of kinds of a move given as coordinate text."""
    frm, to = move[:2], move[2:4]
    piece = board.get(frm, "?")
    kinds = set()
    if len(move) == 5:
        kinds.add("promotion")
    if piece in "Pp":
        if frm[0] != to[0] and to not in board:
            kinds.add("ep")
        if abs(int(to[1]) - int(frm[1])) == 2:
            kinds.add("double")
    if piece in "Kk" and abs(ord(to[0]) - ord(frm[0])) == 2:
        kinds.add("castle")
    if to in board:
        kinds.add("capture")
    return kinds


def with_ep(fen, move, board):
    """The FEN with the en-passant square of a double pawn step written even when no pawn can capture."""
    fields = fen.split()
    if "double" in classify(board, move) and fields[3] == "-":
        fields[3] = move[0] + ("3" if move[1] == "2" else "6")
    return " ".join(fields)


PIECE_ORDER = {"K": 0, "Q": 1, "R": 2, "B": 3, "N": 4}
PROMOTION_ORDER = {"q": 0, "r": 1, "b": 2, "n": 3}


def generation_key(board, black, move):
    """Where a legal move stands in the engine's generation order: quiet moves (king, queen, rook, bishop,
    knight, pawn steps, double steps, queenside then kingside castling), then noisy moves (king, queen, rook,
    bishop, knight captures, pawn captures, capturing promotions, step promotions, en passant); pieces in
    increasing square order and targets likewise, squares seen from the side to move."""
    def square(t):
        s = (ord(t[0]) - 97) + 8 * (int(t[1]) - 1)
        return s ^ 56 if black else s
    kinds = classify(board, move)
    piece = board[move[:2]].upper()
    frm, to = square(move[:2]), square(move[2:4])
    if "castle" in kinds:
        return (0, 7 if to < frm else 8)
    if not kinds & {"capture", "promotion", "ep"}:
        if piece == "P":
            return (0, 6 if "double" in kinds else 5, to)
        return (0, PIECE_ORDER[piece], frm, to)
    if "ep" in kinds:
        return (1, 8, frm)
    if "promotion" in kinds:
        if "capture" in kinds:
            return (1, 6, frm, to, PROMOTION_ORDER[move[4]])
        return (1, 7, frm, PROMOTION_ORDER[move[4]])
    return (1, 5 if piece == "P" else PIECE_ORDER[piece], frm, to)


class Generator:
    """Random playouts driven by Stockfish, favouring special moves."""

    WEIGHTS = {"ep": 40, "castle": 15, "promotion": 12, "capture": 3, "double": 3}

    def __init__(self, sf, rng, seeds):
        self.sf, self.rng, self.seeds = sf, rng, seeds

    # Playout styles: plain, material-thinning (endings, mates, stalemates, queens from promotions) and
    # check-hunting (double and discovered checks).
    STYLES = [({}, 0.25), ({"capture": 25, "promotion": 40}, 0.25), ({}, 0.9)]

    def weight(self, kinds):
        w = 1
        for k in kinds:
            w = max(w, self.weights.get(k, self.WEIGHTS[k]))
        return w

    def playout(self, want):
        """Yields up to `want` positions from one playout."""
        fen = self.rng.choice(self.seeds)
        fen, _ = self.sf.info(fen)
        length = self.rng.randint(0, 120)
        found = []
        checked = False
        self.weights, probe = self.rng.choice(self.STYLES)
        for ply in range(length + 1):
            moves, _ = self.sf.divide(fen, 1)
            board = board_of(fen)
            kinds = {m: classify(board, m) for m in moves}
            chance = 0.08
            if any(kinds[m] & {"ep", "promotion"} for m in moves):
                chance = 0.5
            elif any("castle" in kinds[m] for m in moves):
                chance = 0.15
            if checked:
                chance = 0.9 if checked > 1 else 0.4
            if not moves or self.rng.random() < chance:
                found.append(fen)
                if len(found) >= want:
                    break
            if not moves:
                break
            move_list = sorted(moves)
            choice = None
            if self.rng.random() < probe:
                sample = self.rng.sample(move_list, min(len(move_list), 12 if probe < 0.5 else 40))
                checks = {m: self.sf.info(fen, [m])[1] for m in sample}
                double = [m for m in sample if checks[m] > 1]
                checking = [m for m in sample if checks[m] > 0]
                if double:
                    choice = self.rng.choice(double)
                elif checking and self.rng.random() < 0.7:
                    choice = self.rng.choice(checking)
            if choice is None:
                weights = [self.weight(kinds[m]) for m in move_list]
                choice = self.rng.choices(move_list, weights)[0]
            nfen, checkers = self.sf.info(fen, [choice])
            checked = checkers
            if self.rng.random() < 0.5:
                nfen = with_ep(nfen, choice, board)
            fen = nfen
        return found


class Expected:
    """Stockfish's view of one position: moves, child FENs, checks, and the counts of both rules."""

    def __init__(self, sf, fen, depth=3):
        self.fen = fen
        _, self.checkers = sf.info(fen)
        root, _ = sf.divide(fen, 1)
        self.moves = sorted(root)
        self.child = {}
        board = board_of(fen)
        for m in self.moves:
            cfen, cchk = sf.info(fen, [m])
            grand = {}
            if depth >= 2:
                grand, _ = sf.divide(fen, 2, [m])
            gcheck = {}
            if depth >= 3:
                for g, n in grand.items():
                    if n == 0:
                        gcheck[g] = sf.info(fen, [m, g])[1]
            self.child[m] = {"fen": cfen, "check": cchk, "grand": grand, "gcheck": gcheck,
                             "kinds": classify(board, m)}
        self.depth = depth

    @staticmethod
    def rule(total, has_moves, in_check):
        if total:
            return total
        return 0 if in_check else 1

    def child_engine(self, m, d):
        c = self.child[m]
        if d == 0:
            return 1
        if d == 1:
            return self.rule(len(c["grand"]), c["grand"], c["check"])
        total = 0
        for g, n in c["grand"].items():
            total += n if n else (0 if c["gcheck"][g] else 1)
        return self.rule(total, c["grand"], c["check"])

    def engine(self, d):
        if d == 0:
            return 1
        return self.rule(sum(self.child_engine(m, d - 1) for m in self.moves), self.moves, self.checkers)

    def standard(self, d):
        if d == 0:
            return 1
        if d == 1:
            return len(self.moves)
        if d == 2:
            return sum(len(self.child[m]["grand"]) for m in self.moves)
        return sum(sum(c["grand"].values()) for c in self.child.values())


class Engine:
    def __init__(self, path, workdir):
        self.path, self.workdir = path, workdir
        self.calls = 0

    def perft(self, depth, fen):
        self.calls += 1
        r = subprocess.run([self.path, "perft", str(depth), fen], capture_output=True, text=True,
                           cwd=self.workdir, timeout=600)
        lines = r.stdout.strip().splitlines()
        if r.returncode != 0 or not lines:
            return None, r.returncode, (r.stdout + r.stderr).strip()
        try:
            return int(lines[-1]), 0, ""
        except ValueError:
            return None, r.returncode, r.stdout.strip()

    def console(self, commands, timeout=600):
        text = "c\n" + "\n".join(commands) + "\nquit\n"
        r = subprocess.run([self.path], input=text, capture_output=True, text=True, cwd=self.workdir,
                           timeout=timeout)
        parts = r.stdout.split("ferrolune> ")
        return parts[1:], r.returncode, r.stderr


def norm4(fen):
    return " ".join(fen.split()[:4])


def fen_after_ok(engine_fen, sf_fen, move, parent_board):
    e, s = engine_fen.split(), sf_fen.split()
    if len(e) < 4:
        return False
    if e[:3] != s[:3]:
        return False
    if e[3] == s[3]:
        return True
    # The engine names the skipped square after every double step; Stockfish only when a pawn can take.
    return s[3] == "-" and "double" in classify(parent_board, move) and e[3] == move[0] + ("3" if move[1] == "2" else "6")


def parse_moves(text):
    return [line[6:].split()[0] for line in text.splitlines() if line.startswith("Move: ")]


def parse_legal(text):
    sections = {}
    name = None
    for line in text.splitlines():
        for key in ("All moves:", "Legal moves:", "Check moves:", "Evasion moves:"):
            if line.startswith(key):
                name = key[:-1]
                sections[name] = []
        if line.startswith("Move: ") and name:
            sections[name].append(line[6:].split()[0])
    return sections


class Report:
    def __init__(self):
        self.problems = []
        self.notes = []

    def bug(self, text):
        self.problems.append(text)
        print("MISMATCH " + text, flush=True)

    def note(self, text):
        self.notes.append(text)


def divide_text(engine, exp, d):
    """Per-move counts at depth d-1 of both programs, the differing ones first."""
    rows = []
    for m in exp.moves:
        want = exp.child_engine(m, d - 1)
        got, rc, err = engine.perft(d - 1, exp.child[m]["fen"])
        rows.append((got != want, m, want, got, exp.child[m]["fen"]))
    rows.sort(key=lambda r: not r[0])
    lines = ["    %s %-6s expected %-8s ferrolune %-8s %s" % ("!!" if bad else "  ", m, want, got, cfen)
             for bad, m, want, got, cfen in rows]
    return "\n".join(lines[:60])


def check_perft(engine, exp, report, stats, max_depth=3):
    for d in range(1, max_depth + 1):
        want = exp.engine(d)
        if exp.standard(d) != want:
            stats["rule_differs"] += 1
        got, rc, err = engine.perft(d, exp.fen)
        stats["perft_runs"] += 1
        if got != want:
            report.bug("perft %d \"%s\": expected %d (standard %d), ferrolune %s %s\n%s" %
                       (d, exp.fen, want, exp.standard(d), got, err, divide_text(engine, exp, d)))
            return False
    return True


def console_batch(engine, exps, report, stats):
    cmds = []
    plan = []
    for exp in exps:
        start = len(cmds)
        cmds += ["setboard " + exp.fen, "getboard", "gen", "legal"]
        for m in exp.moves:
            cmds += [m, "getboard", "key", "undo"]
        plan.append((exp, start))
    outs, rc, err = engine.console(cmds)
    if rc != 0 or len(outs) < len(cmds):
        report.bug("console ended early (rc %s, %d of %d answers) in batch starting %s; stderr %s" %
                   (rc, len(outs), len(cmds), exps[0].fen, err[-300:]))
        return
    for exp, start in plan:
        stats["console_positions"] += 1
        back = [l[5:] for l in outs[start + 1].splitlines() if l.startswith("FEN: ")]
        if not back or norm4(back[0]) != norm4(exp.fen):
            report.bug("setboard/getboard \"%s\" gives %s" % (exp.fen, back))
        gen = parse_moves(outs[start + 2])
        want = set(exp.moves)
        if sorted(gen) != sorted(exp.moves):
            report.bug("gen \"%s\": missing %s extra %s%s" % (
                exp.fen, sorted(want - set(gen)), sorted(set(gen) - want),
                " duplicated" if len(gen) != len(set(gen)) else ""))
        board = board_of(exp.fen)
        if sorted(gen) == sorted(exp.moves):
            black = exp.fen.split()[1] == "b"
            order = sorted(exp.moves, key=lambda m: generation_key(board, black, m))
            if gen[::-1] != order:
                stats["order_differs"] += 1
                report.bug("gen \"%s\": printed %s, generation order gives (printed last first) %s" %
                           (exp.fen, " ".join(gen), " ".join(order[::-1])))
        total_line = [l for l in outs[start + 2].splitlines() if l.startswith("Total Legal moves:")]
        if not total_line or int(total_line[0].split(":")[1]) != len(gen):
            report.bug("gen \"%s\": total line %s for %d moves" % (exp.fen, total_line, len(gen)))
        sec = parse_legal(outs[start + 3])
        if sorted(sec.get("Legal moves", [])) != sorted(exp.moves):
            report.bug("legal \"%s\": Legal moves section differs from Stockfish" % exp.fen)
        if not want <= set(sec.get("All moves", [])):
            report.bug("legal \"%s\": All moves lacks %s" % (exp.fen, sorted(want - set(sec.get("All moves", [])))))
        if exp.checkers:
            if "Evasion moves" not in sec:
                report.bug("legal \"%s\": in check but no evasion list" % exp.fen)
            elif not want <= set(sec["Evasion moves"]):
                report.bug("legal \"%s\": evasions lack %s" % (exp.fen, sorted(want - set(sec["Evasion moves"]))))
        elif "Evasion moves" in sec:
            report.bug("legal \"%s\": evasion list printed when not in check" % exp.fen)
        quiet_checks = [m for m in exp.moves if exp.child[m]["check"] and not
                        exp.child[m]["kinds"] & {"capture", "promotion", "ep"}]
        missed = [m for m in quiet_checks if m not in sec.get("Check moves", [])]
        stats["quiet_checks"] += len(quiet_checks)
        if missed:
            stats["quiet_checks_missed"] += len(missed)
            report.note("quiet checks missing in \"%s\": %s" % (exp.fen, missed))
        for i, m in enumerate(exp.moves):
            made = outs[start + 4 + 4 * i]
            fen_out = outs[start + 5 + 4 * i]
            keys = [l.split(":")[1].strip() for l in outs[start + 6 + 4 * i].splitlines() if l.startswith("HashKey")]
            if len(keys) != 2 or keys[0] != keys[1]:
                report.bug("after %s in \"%s\": hash keys full/incremental %s" % (m, exp.fen, keys))
            stats["moves_made"] += 1
            if "Illegal move" in made:
                report.bug("move %s refused in \"%s\"" % (m, exp.fen))
                continue
            line = [l for l in fen_out.splitlines() if l.startswith("FEN: ")]
            got = line[0][5:] if line else ""
            if not fen_after_ok(got, exp.child[m]["fen"], m, board):
                report.bug("after %s in \"%s\": ferrolune \"%s\", Stockfish \"%s\"" %
                           (m, exp.fen, got.strip(), norm4(exp.child[m]["fen"])))


def deep_check(engine, sf, fen, depth, report, stats, path=()):
    """Compares at depth 4-5; follows a difference down to a depth-3 node, where the rule is exact."""
    got, rc, err = engine.perft(depth, fen)
    stats["deep_runs"] += 1
    root, standard = sf.divide(fen, depth)
    if got == standard:
        return True
    return localise(engine, sf, fen, depth, got, report, stats, path)


def localise(engine, sf, fen, depth, got, report, stats, path):
    if depth <= 3:
        exp = Expected(sf, fen, depth)
        want = exp.engine(depth)
        if got == want:
            stats["deep_rule_explained"] += 1
            return True
        report.bug("perft %d \"%s\" (reached by %s): expected %d, ferrolune %s\n%s" %
                   (depth, fen, " ".join(path) or "root", want, got, divide_text(engine, exp, depth)))
        return False
    moves, _ = sf.divide(fen, depth)
    _, checkers = sf.info(fen)
    total = 0
    ok = True
    for m in sorted(moves):
        cfen, _ = sf.info(fen, [m])
        cgot, _, _ = engine.perft(depth - 1, cfen)
        if cgot == moves[m]:
            total += cgot
            continue
        if localise(engine, sf, cfen, depth - 1, cgot, report, stats, path + (m,)):
            total += cgot
        else:
            ok = False
    if not ok:
        return False
    want = total if total or moves else 0
    if not total:
        want = 0 if checkers else 1
    if want != got:
        report.bug("perft %d \"%s\" (reached by %s): children agree but total %s, expected %d" %
                   (depth, fen, " ".join(path) or "root", got, want))
        return False
    stats["deep_rule_explained"] += 1
    return True


def engine_rule_count(sf, fen, depth):
    """The exact count under the engine's rule, from Stockfish's move lists and checks (no shortcuts)."""
    if depth <= 3:
        return Expected(sf, fen, depth).engine(depth)
    root = Expected(sf, fen, 1)
    total = sum(engine_rule_count(sf, root.child[m]["fen"], depth - 1) for m in root.moves)
    return Expected.rule(total, root.moves, root.checkers)


MALFORMED = [
    "", " ", "x", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR x KQkq - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkx - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e9 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e3 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq i6 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - -5 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP w KQkq - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPP/RNBQKBNR w KQkq - 0 1",
    "rnbqkbnr/pppppppp/9/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "rnbqkbnr/ppppxppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq",
    "rnbqkbnr/pppppppp/0/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "////////", "8/8/8/8/8/8/8/8/8/8/8 w - - 0 1", "/" * 300 + " w - - 0 1",
    "r" * 500 + " w - - 0 1", "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1 " + "x" * 400,
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq e",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR b KQkq e6 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR W KQkq - 0 1",
]

# Legal-looking but odd positions: must not crash; counts are printed for the report.
ODD = [
    "QQQQQQQK/QQQQQQQQ/QQQQQQQQ/QQQQQQQQ/8/8/8/k7 b - - 0 1",
    "k7/8/8/8/3QQQQQ/3QQQQQ/3QQQQQ/3QQQQK w - - 0 1",
    "7k/QQQQQQQ1/8/8/8/8/8/K7 w - - 0 1",
    "4k3/8/8/8/8/8/8/4K3 w KQkq - 0 1",
    "4k3/8/8/8/8/8/8/R3K3 w KQkq - 0 1",
    "r3k3/8/8/8/8/8/8/4K2R b KQkq - 0 1",
    "4k3/8/8/8/8/8/8/4K3 w - e6 0 1",
    "4k3/8/8/3P4/8/8/8/4K3 w - a6 0 1",
    "4k3/8/8/8/4p3/8/8/4K3 b - h3 0 1",
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w - a6 0 1",
    "k7/8/8/8/8/8/8/K7 w - - 255 1",
    "k7/8/8/8/8/8/8/K7 w - - 300 1",
    "1nbqkbn1/pppppppp/8/8/8/8/PPPPPPPP/1NBQKBN1 w KQkq - 0 1",
    "R6k/8/8/8/8/8/8/K7 b - - 0 1",
    "7k/5Q2/6K1/8/8/8/8/8 b - - 0 1",
    "k7/pppppppp/QQQQQQQQ/pppppppp/QQQQQQQQ/pppppppp/8/K7 w - - 0 1",
    "k7/8/pppppppp/QQQQQQQQ/pppppppp/QQQQQQQQ/pppppppp/K7 b - - 0 1",
    "qqqqkqqq/qqqqqqqq/8/8/8/8/QQQQQQQQ/QQQQKQQQ w - - 0 1",
]


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--engine", required=True)
    ap.add_argument("--stockfish", default=shutil.which("stockfish") or "/usr/games/stockfish")
    ap.add_argument("--positions", type=int, default=1000)
    ap.add_argument("--deep", type=int, default=100, help="positions also compared at depths 4 and 5")
    ap.add_argument("--exact", type=int, default=20,
                    help="positions compared at depth 4 with the exact engine-rule count (slow: whole tree)")
    ap.add_argument("--seed", type=int, default=1)
    ap.add_argument("--seeds-file", help="a movegen.tsv-like file whose first field is a FEN (extra seeds)")
    ap.add_argument("--no-console", action="store_true")
    ap.add_argument("--batch", type=int, default=150, help="positions per console session")
    ap.add_argument("--save", help="write the generated FENs to this file")
    args = ap.parse_args()

    engine_path = os.path.abspath(args.engine)
    workdir = tempfile.mkdtemp(prefix="verify_movegen_")
    with open(os.path.join(workdir, "ferrolune.ini"), "w") as f:
        f.write("[ENGINE]\nHashSize=1\nHashPawnSize=1\nThread=1\n[TABLEBASE]\nSyzygy=false\n")
    engine = Engine(engine_path, workdir)
    sf = Stockfish(args.stockfish)
    rng = random.Random(args.seed)
    report = Report()
    stats = {k: 0 for k in ("perft_runs", "rule_differs", "console_positions", "moves_made", "quiet_checks",
                            "quiet_checks_missed", "deep_runs", "deep_rule_explained", "order_differs",
                            "exact_runs", "exact_rule_differs")}
    features = {k: 0 for k in ("in_check", "double_check", "mate", "stalemate", "ep_legal", "ep_field",
                               "ep_field_no_capture", "castle_legal", "castle_rights_no_castle",
                               "promotion", "zero_subtree", "four_queens")}

    seeds = list(SEED_FENS)
    if args.seeds_file and os.path.exists(args.seeds_file):
        with open(args.seeds_file) as f:
            seeds += [line.split("\t")[0] for line in f if line.strip()]

    t0 = time.time()
    gen = Generator(sf, rng, seeds)
    fens, seen = [], set()
    while len(fens) < args.positions:
        for fen in gen.playout(rng.randint(1, 6)):
            key = norm4(fen)
            if key not in seen:
                seen.add(key)
                fens.append(fen)
    fens = fens[:args.positions]
    print("generated %d positions in %.0f s" % (len(fens), time.time() - t0), flush=True)
    if args.save:
        with open(args.save, "w") as f:
            f.write("\n".join(fens) + "\n")

    exps = []
    for i, fen in enumerate(fens):
        exp = Expected(sf, fen, 3)
        exps.append(exp)
        board = board_of(fen)
        kinds = [exp.child[m]["kinds"] for m in exp.moves]
        features["in_check"] += exp.checkers >= 1
        features["double_check"] += exp.checkers >= 2
        features["mate"] += not exp.moves and exp.checkers > 0
        features["stalemate"] += not exp.moves and exp.checkers == 0
        features["ep_legal"] += any("ep" in k for k in kinds)
        ep = fen.split()[3]
        features["ep_field"] += ep != "-"
        features["ep_field_no_capture"] += ep != "-" and not any("ep" in k for k in kinds)
        features["castle_legal"] += any("castle" in k for k in kinds)
        features["castle_rights_no_castle"] += fen.split()[2] != "-" and not any("castle" in k for k in kinds)
        features["promotion"] += any("promotion" in k for k in kinds)
        features["four_queens"] += sum(fen.split()[0].count(q) for q in "Qq") >= 4
        features["zero_subtree"] += any(exp.standard(d) != exp.engine(d) for d in (1, 2, 3))
        check_perft(engine, exp, report, stats)
        if (i + 1) % 250 == 0:
            print("perft-checked %d positions, %d mismatches, %.0f s" % (i + 1, len(report.problems),
                                                                          time.time() - t0), flush=True)
        del board

    if not args.no_console:
        for b in range(0, len(exps), args.batch):
            console_batch(engine, exps[b:b + args.batch], report, stats)
        print("console-checked %d positions, %d moves made" % (stats["console_positions"], stats["moves_made"]),
              flush=True)

    deep = rng.sample(fens, min(args.deep, len(fens)))
    for i, fen in enumerate(deep):
        for d in (4, 5):
            deep_check(engine, sf, fen, d, report, stats)
    for fen in SEED_FENS:
        sfen, _ = sf.info(fen)
        for d in (4, 5):
            deep_check(engine, sf, sfen, d, report, stats)
    print("deep-checked %d positions and %d seeds at depths 4 and 5" % (len(deep), len(SEED_FENS)), flush=True)

    # Stalemates inside the tree are likeliest with little material, so half the sample is the sparsest boards.
    sparse = sorted(fens, key=lambda f: sum(ch.isalpha() for ch in f.split()[0]))[:args.exact // 2]
    rest = [f for f in fens if f not in sparse]
    exact = sparse + rng.sample(rest, min(args.exact - len(sparse), len(rest)))
    for fen in exact:
        want = engine_rule_count(sf, fen, 4)
        got, rc, err = engine.perft(4, fen)
        stats["exact_runs"] += 1
        stats["exact_rule_differs"] += sf.divide(fen, 4)[1] != want
        if got != want:
            report.bug("perft 4 \"%s\": exact engine-rule count %d, ferrolune %s" % (fen, want, got))
    print("exact engine-rule depth-4 counts for %d positions" % len(exact), flush=True)

    crashes = 0
    for fen in MALFORMED:
        got, rc, err = engine.perft(2, fen)
        if rc != 1 or got is not None or len(err.splitlines()) != 1:
            crashes += 1
            report.bug("malformed FEN %r: rc %s, output %r" % (fen[:80], rc, err[:200]))
    for fen in ODD:
        for d in (1, 2, 3, 4):
            got, rc, err = engine.perft(d, fen)
            if rc not in (0, 1):
                crashes += 1
                report.bug("odd position \"%s\" perft %d: rc %s, %r" % (fen, d, rc, err[:200]))
                break
        print("odd \"%s\": perft 4 = %s%s" % (fen, got, "" if rc == 0 else " (rejected: %s)" % err), flush=True)

    print()
    print("positions %d, perft runs %d (depths 1-3), engine rule differs from standard in %d runs" %
          (len(fens), stats["perft_runs"], stats["rule_differs"]))
    print("features: " + ", ".join("%s %d" % kv for kv in features.items()))
    print("console: %d positions, %d moves made and compared; quiet checks %d, missing from the check list %d; "
          "lists out of generation order %d" % (stats["console_positions"], stats["moves_made"], stats["quiet_checks"],
                                                stats["quiet_checks_missed"], stats["order_differs"]))
    print("deep: %d runs, %d differences explained by the stalemate rule" %
          (stats["deep_runs"], stats["deep_rule_explained"]))
    print("exact depth 4: %d runs, %d of them where the engine rule differs from the standard count" %
          (stats["exact_runs"], stats["exact_rule_differs"]))
    print("malformed/odd FEN failures: %d" % crashes)
    print("stockfish calls %d, ferrolune runs %d, %.0f s" % (sf.calls, engine.calls, time.time() - t0))
    for n in report.notes[:20]:
        print("note: " + n)
    print("MISMATCHES: %d" % len(report.problems))
    sf.close()
    shutil.rmtree(workdir, ignore_errors=True)
    return 1 if report.problems else 0


if __name__ == "__main__":
    sys.exit(main())
