#!/usr/bin/env python3
"""Plants known faults into a scratch copy of the engine, one at a time, and checks that the suite catches each.

Every fault is a small source edit of the kind a real slip makes (an off-by-one, a flipped sign, a skipped
step, a wrong constant, a missing reset): the file, the exact text it replaces (found exactly once, or the
fault is refused), the new text and what the slip does. A fault is caught when the build succeeds and the
suite fails; a fault the compiler rejects is a broken catalogue entry, not a catch.

The scratch copy (build-faults/ in the source tree) is built once; then each fault is applied, rebuilt
incrementally, the suite run with a time limit per test (a planted fault can make a search run forever) and
the file put back.

    tools/plant_faults.py --list            one fault per line, id first
    tools/plant_faults.py --check           every entry's text found exactly once; nothing is built
    tools/plant_faults.py --only ID         plant that fault; the last line says caught or missed
    tools/plant_faults.py --sample N [--seed S]   N faults drawn at random
    tools/plant_faults.py                   all of them, then the score

Exit status: 0 when every planted fault was caught, 1 when one was missed, 2 for a catalogue or build error.
"""
import argparse
import os
import random
import shutil
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SCRATCH = ROOT / "build-faults"
COPY = SCRATCH / "tree"
BUILD = SCRATCH / "build"
TEST_TIMEOUT_S = 60

# (id, file, old text, new text, what the slip does)
#
# Left out, as no test can tell them from the engine as it is:
# - raising mate-distance pruning's alpha to ply + 1 - MATE: alpha is below ply - MATE only in a full window,
#   and a node mated there returns its own score, so no search result or node count changes;
# - wdlToDtz's cursed entries at 100 instead of 101: they matter only for a cursed win or blessed loss after
#   a zeroing move or an en-passant capture, and no shared table or reference position has one.
FAULTS = [
    # Board and moves
    ("board-ep-file", "src/board/makemove.cpp",
     "if (RankOf(from) == 1 && RankOf(to) == 3) {", "if (RankOf(from) == 1 && RankOf(to) == 2) {",
     "a double step leaves no en-passant file"),
    ("board-castle-rights-h8", "src/board/makemove.cpp",
     "if (to == 63) next.castling &= uint8_t(~OPP_KINGSIDE);",
     "if (to == 62) next.castling &= uint8_t(~OPP_KINGSIDE);",
     "taking the rook on h8 keeps the opponent's kingside right"),
    ("board-rook-move-rights", "src/board/makemove.cpp",
     "            if (from == 7) next.castling &= uint8_t(~OWN_KINGSIDE);\n"
     "            if (from == 0) next.castling &= uint8_t(~OWN_QUEENSIDE);\n"
     "            next.halfmoveClock++;",
     "            if (from == 6) next.castling &= uint8_t(~OWN_KINGSIDE);\n"
     "            if (from == 0) next.castling &= uint8_t(~OWN_QUEENSIDE);\n"
     "            next.halfmoveClock++;",
     "moving the h1 rook keeps the kingside right"),
    ("board-repetition-scan", "src/board/makemove.cpp",
     "for (int back = 2; back <= clock; back += 2) {", "for (int back = 2; back < clock; back += 2) {",
     "the repetition scan stops one record short"),
    ("board-queenside-rook", "src/board/makemove.cpp",
     "const int rookTo = type == KINGSIDE_CASTLING ? 5 : 3;", "const int rookTo = type == KINGSIDE_CASTLING ? 5 : 2;",
     "queenside castling puts the rook on c1"),
    ("board-ep-discovered-check", "src/board/makemove.cpp",
     "        occupied &= ~SquareBit(to - 8);\n", "        occupied &= ~SquareBit(to + 8);\n",
     "the legality test of en passant removes the wrong pawn"),
    ("board-castle-through-check", "src/board/movegen.cpp",
     "!Attacked(pos, E1, occupied) && !Attacked(pos, F1, occupied) && !Attacked(pos, G1, occupied);",
     "!Attacked(pos, E1, occupied) && !Attacked(pos, G1, occupied);",
     "kingside castling through an attacked f1"),
    ("board-queenside-path", "src/board/movegen.cpp",
     "!(occupied & (SquareBit(B1) | SquareBit(C1) | SquareBit(D1)))", "!(occupied & (SquareBit(C1) | SquareBit(D1)))",
     "queenside castling over a piece on b1"),
    ("board-double-push", "src/board/movegen.cpp",
     "for (Bitboard t = ((single & RANK_3) << 8) & empty; t;) {", "for (Bitboard t = ((single & RANK_3) << 8); t;) {",
     "a double step onto an occupied square"),
    ("board-ep-target", "src/board/movegen.cpp",
     "const int to = 40 + pos.epFile;", "const int to = 48 + pos.epFile;",
     "en passant aimed one rank too far"),
    ("board-see-rook-lines", "src/board/see.cpp",
     "else if ((attackers = rookLines & Rooks(*scratch) & mine))",
     "else if ((attackers = bishopLines & Rooks(*scratch) & mine))",
     "static exchange looks for rooks on the diagonals"),
    ("board-fen-castling", "src/board/fen.cpp",
     "case 'k': pos.castling |= OPP_KINGSIDE; break;", "case 'k': pos.castling |= OPP_QUEENSIDE; break;",
     "FEN 'k' read as the queenside right"),
    ("board-move-text-rank", "src/board/fen.cpp",
     "fromRank = c[1] - '1'", "fromRank = c[1] - '0'",
     "move text reads the from-rank one off"),
    ("board-perft-castle", "src/board/perft.cpp",
     "constexpr Bitboard KINGSIDE_PATH = SquareBit(F1) | SquareBit(G1);",
     "constexpr Bitboard KINGSIDE_PATH = SquareBit(F1);",
     "perft's direct count forgets g1 on the castling path"),
    # Search
    ("search-futility-margin", "src/search/search.cpp",
     "constexpr int FUTILITY_MARGIN = 70;", "constexpr int FUTILITY_MARGIN = 80;",
     "wrong futility margin"),
    ("search-mate-sign", "src/search/search.cpp",
     "const int score = inCheck ? ply - MATE : 0;", "const int score = inCheck ? MATE - ply : 0;",
     "being mated scores as mating"),
    ("search-repetition-draw", "src/search/search.cpp",
     "if (pos->repetitions == 2) return 0;", "if (pos->repetitions == 3) return 0;",
     "the repetition draw comes one repetition late"),
    ("search-null-reduction", "src/search/search.cpp",
     "int16_t(d - 4), uint8_t(ply + 1), int16_t(-beta), int16_t(-beta + 1)",
     "int16_t(d - 3), uint8_t(ply + 1), int16_t(-beta), int16_t(-beta + 1)",
     "null move reduced one ply less"),
    ("search-lmr-count", "src/search/search.cpp",
     "d >= 2 && quietCount >= 4", "d >= 2 && quietCount >= 3",
     "late-move reductions start one move early"),
    ("search-quiesce-mate", "src/search/quiesce.cpp",
     "return int16_t(legal ? b : ply - MATE);", "return int16_t(legal ? b : 0);",
     "mate in the quiescence search scored as a draw"),
    ("search-quiet-checks-depth", "src/search/quiesce.cpp",
     "if (qdepth < -1) return int16_t(b);", "if (qdepth < 0) return int16_t(b);",
     "quiet checks tried at one level instead of two"),
    ("search-history-bonus", "src/search/ordering.cpp",
     "counter = uint16_t(counter + uint16_t(depth * depth));", "counter = uint16_t(counter + uint16_t(depth * 2));",
     "history grows by twice the depth instead of its square"),
    ("search-killer-duplicate", "src/search/ordering.cpp",
     "    if (killers[0] == move) return;\n", "",
     "a killer stored twice pushes out the second"),
    ("search-uci-mate-distance", "src/search/iterate.cpp",
     "int mate = ((score >= MATE_NOTATION ? MATE + 1 : -MATE) - score) / 2;",
     "int mate = ((score >= MATE_NOTATION ? MATE : -MATE) - score) / 2;",
     "UCI mate distance one move short"),
    ("search-ponder-move", "src/search/iterate.cpp",
     "lastPonderMove = bestLine.count >= 2 ? bestLine.moves[1] : 0;",
     "lastPonderMove = bestLine.count >= 2 ? bestLine.moves[0] : 0;",
     "the ponder move is the best move itself"),
    ("search-killers-kept", "src/search/threads.cpp",
     "if (main.rootDepth == 1) {", "if (main.rootDepth == 2) {",
     "killers and history of the last search survive into the first iteration"),
    # Evaluation
    ("eval-tempo", "src/eval/evaluate.cpp",
     "constexpr int TEMPO = 10;", "constexpr int TEMPO = 12;",
     "wrong tempo bonus"),
    ("eval-knight-trap", "src/eval/evaluate.cpp",
     "t[63] = SquareBit(55) | SquareBit(53);", "t[63] = SquareBit(55) | SquareBit(54);",
     "knight trap on h8 looks at the wrong pawn"),
    ("eval-knight-mobility", "src/eval/evaluate.cpp",
     "const int mobility = 4 * PopCount(targets & safe) - 16;", "const int mobility = 4 * PopCount(targets & safe) - 12;",
     "knight mobility offset off"),
    ("eval-bishop-pair", "src/eval/evaluate.cpp",
     "            score += 30;\n            TraceAdd<Trace>(row, TRACE_BISHOP_PAIR, 30);",
     "            score += 25;\n            TraceAdd<Trace>(row, TRACE_BISHOP_PAIR, 25);",
     "wrong bishop-pair bonus"),
    ("eval-trapped-rook", "src/eval/evaluate.cpp",
     "(sq == 6 || sq == 7 || sq == 15)", "(sq == 6 || sq == 7 || sq == 14)",
     "the rook shut in by its king on g2 instead of h2"),
    ("eval-seventh-rank", "src/eval/evaluate.cpp",
     "if (RankOf(sq) == 6 && enemyKingOnRank8) {\n            score += 20;",
     "if (RankOf(sq) == 5 && enemyKingOnRank8) {\n            score += 20;",
     "rook on the sixth rank scored as on the seventh"),
    ("eval-tarrasch-sign", "src/eval/evaluate.cpp",
     "            score -= 25 * blocked;\n", "            score += 25 * blocked;\n",
     "a rook in front of its passed pawn earns a bonus"),
    ("eval-passed-rank", "src/eval/pawns.cpp",
     "if (!(PassedMask[sq] & enemyPawns) || rank == 6) {", "if (!(PassedMask[sq] & enemyPawns) || rank == 5) {",
     "every pawn on the sixth rank counts as passed instead of the seventh"),
    ("eval-dispersion-abs", "src/eval/pawns.cpp",
     "        if (dispersion < 0) dispersion = -dispersion;\n", "",
     "dispersion taken with its sign"),
    ("eval-doubled", "src/eval/pawns.cpp",
     "        if (stacked > 1) {\n", "        if (stacked > 2) {\n",
     "doubled pawns go unpunished"),
    ("eval-pawn-key-view", "src/eval/pawns.cpp",
     "key ^= PieceKeys[(side ^ 1) * 8 + PAWN][PopLsb(b) ^ 56];", "key ^= PieceKeys[(side ^ 1) * 8 + PAWN][PopLsb(b)];",
     "opponent pawns hashed in the wrong view"),
    # Front end
    ("frontend-fifty-moves", "src/frontend/gameend.cpp",
     "if (pos.halfmoveClock > 99)", "if (pos.halfmoveClock > 100)",
     "the fifty-move draw announced a move late"),
    ("frontend-mate-colour", "src/frontend/gameend.cpp",
     "        else if (pos.side == 1)\n", "        else if (pos.side == 0)\n",
     "the wrong side announced as the winner"),
    ("frontend-uci-wtime", "src/frontend/uci.cpp",
     "(white ? timeControl.myTime : timeControl.oppTime) = KeywordValue(p) / 10;",
     "(white ? timeControl.myTime : timeControl.oppTime) = KeywordValue(p) / 100;",
     "wtime converted to tenths of a second"),
    ("frontend-uci-binc", "src/frontend/uci.cpp",
     "if (!white) timeControl.increment = KeywordValue(p) / 10;", "if (white) timeControl.increment = KeywordValue(p) / 10;",
     "Black's increment taken for White"),
    ("frontend-uci-movestogo", "src/frontend/uci.cpp",
     "timeControl.movesToGo = KeywordValue(p);", "timeControl.movesToGo = KeywordValue(p) + 1;",
     "movestogo off by one"),
    ("frontend-pawn-hash-fallback", "src/frontend/config.cpp",
     "{\"ENGINE\", \"HashPawnSize\", 24, 1, 24, 4};", "{\"ENGINE\", \"HashPawnSize\", 24, 1, 24, 8};",
     "wrong fallback for an out-of-range HashPawnSize"),
    ("frontend-max-depth-low", "src/frontend/config.cpp",
     "{\"ENGINE\", \"MaxDepth\", 64, 2, 63, 63};", "{\"ENGINE\", \"MaxDepth\", 64, 1, 63, 63};",
     "MaxDepth 1 accepted"),
    ("frontend-st-units", "src/frontend/console.cpp",
     "INT32_MAX : number * 100;", "INT32_MAX : number * 10;",
     "st seconds converted to tenths"),
    ("frontend-sd-range", "src/frontend/console.cpp",
     "if (given && number >= 2 && number <= 63)", "if (given && number >= 1 && number <= 63)",
     "sd 1 accepted"),
    # Opening book
    ("book-ep-rank", "src/book/book.cpp",
     "PawnBeside(grid, 'p', 3, f)", "PawnBeside(grid, 'p', 2, f)",
     "Black's en-passant capturers looked for on the wrong rank"),
    ("book-side-key", "src/book/book.cpp",
     "if (side == 'w') key ^= Random64[780];", "if (side == 'b') key ^= Random64[780];",
     "the side key added for the wrong side"),
    ("book-castle-key", "src/book/book.cpp",
     "if (*c == 'Q') key ^= Random64[769];", "if (*c == 'Q') key ^= Random64[770];",
     "White's queenside right hashed as Black's kingside"),
    ("book-castle-rewrite", "src/book/book.cpp",
     "{\"e1a1\", \"e1c1\"}", "{\"e1a1\", \"e1b1\"}",
     "White's queenside castling rewritten to the wrong square"),
    ("book-move-rank", "src/book/book.cpp",
     "text[1] = char('1' + ((move >> 9) & 7));", "text[1] = char('1' + ((move >> 8) & 7));",
     "the from-rank read from the wrong bits"),
    ("book-next-entries", "src/book/book.cpp",
     "if (std::fseek(file, (hi + 1) * 16, SEEK_SET) == 0) {", "if (std::fseek(file, (hi + 2) * 16, SEEK_SET) == 0) {",
     "the entry after the first match is skipped"),
    ("book-binary-search", "src/book/book.cpp",
     "if (key <= entry.key) {", "if (key < entry.key) {",
     "the binary search passes over the first entry of the key"),
    # Tablebases
    ("tb-symmetric-flip", "src/tablebases/tbprobe.cpp",
     "if (e.symmetric) return side ? Orientation{8, 56, 0} : Orientation{0, 0, 0};",
     "if (e.symmetric) return side ? Orientation{8, 0, 0} : Orientation{0, 0, 0};",
     "symmetric tables read for Black without mirroring the squares"),
    ("tb-dtz-plus-one", "src/tablebases/tbprobe.cpp",
     "int d = 1 + res + (wdl & 1 ? 100 : 0);", "int d = res + (wdl & 1 ? 100 : 0);",
     "DTZ one short"),
    ("tb-dtz-one-ply", "src/tablebases/tbprobe.cpp",
     "if (-v > 0 && 1 - v < best) best = 1 - v;", "if (-v > 0 && 1 - v < best) best = -v;",
     "the one-ply DTZ search forgets its own move"),
    ("tb-capture-win", "src/tablebases/tbprobe.cpp",
     "success = alpha > 0 ? 2 : 1;", "success = alpha >= 0 ? 2 : 1;",
     "a drawing capture reported as a winning one"),
    ("tb-root-sort", "src/tablebases/tbprobe.cpp",
     "if (list[left].score > pivot) ++left;", "if (list[left].score < pivot) ++left;",
     "root moves sorted lowest first"),
    ("tb-decode-block-back", "src/tablebases/tbdecode.cpp",
     "lit += ReadLe16(d.sizeTable + 2 * uint64_t(block)) + 1;", "lit += ReadLe16(d.sizeTable + 2 * uint64_t(block));",
     "stepping back a block forgets the block's last value"),
    ("tb-file-fold", "src/tablebases/tbdecode.cpp",
     "constexpr uint8_t fileToFile[8] = {0, 1, 2, 3, 3, 2, 1, 0};",
     "constexpr uint8_t fileToFile[8] = {0, 1, 2, 3, 3, 2, 1, 1};",
     "the h-file folded onto the b-file"),
]

SUBSYSTEMS = ["board", "search", "eval", "frontend", "book", "tb"]


def check_catalogue(root):
    """Problems with the catalogue as it stands against the sources under root; empty when valid."""
    problems = []
    ids = [f[0] for f in FAULTS]
    for dup in sorted({i for i in ids if ids.count(i) > 1}):
        problems.append(f"{dup}: id used twice")
    for fid, path, old, new, what in FAULTS:
        if fid.split("-")[0] not in SUBSYSTEMS:
            problems.append(f"{fid}: the id does not begin with a subsystem ({', '.join(SUBSYSTEMS)})")
        if old == new:
            problems.append(f"{fid}: the new text is the old text")
        file = root / path
        if not file.is_file():
            problems.append(f"{fid}: {path} does not exist")
            continue
        count = file.read_text().count(old)
        if count != 1:
            problems.append(f"{fid}: the old text occurs {count} times in {path}, not once")
    return problems


def run(cmd, cwd=None, timeout=None, env=None):
    return subprocess.run(cmd, cwd=cwd, env=env, timeout=timeout, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True)


def tracked_files():
    """The files git tracks, as they are in the working tree (uncommitted edits included)."""
    r = run(["git", "ls-files", "-z"], cwd=ROOT)
    return [Path(name) for name in r.stdout.split("\0") if name and (ROOT / name).is_file()]


def mirror():
    """Brings the scratch copy up to the source tree, writing only files that differ so that the build
    after it stays incremental."""
    wanted = set(tracked_files())
    for rel in wanted:
        dst = COPY / rel
        data = (ROOT / rel).read_bytes()
        if not dst.is_file() or dst.read_bytes() != data:
            dst.parent.mkdir(parents=True, exist_ok=True)
            dst.write_bytes(data)
    for p in COPY.rglob("*"):
        if p.is_file() and p.relative_to(COPY) not in wanted:
            p.unlink()


def build():
    if not (BUILD / "CMakeCache.txt").is_file():
        r = run(["cmake", "-S", str(COPY), "-B", str(BUILD), "-DCMAKE_BUILD_TYPE=Release"])
        if r.returncode:
            return r
    return run(["cmake", "--build", str(BUILD), "-j2"])


def suite():
    """True when the suite passes. Stops at the first failure: one is enough to catch a fault."""
    env = dict(os.environ)
    env.setdefault("FERROLUNE_SHARED", str((ROOT / ".." / "shared").resolve()))
    r = run(["ctest", "--test-dir", str(BUILD), "-j2", "--timeout", str(TEST_TIMEOUT_S), "--stop-on-failure",
             "--output-on-failure"], env=env)
    return r.returncode == 0, r.stdout


def failed_tests(output):
    return [line.split(" - ", 1)[1].split(" (")[0] for line in output.splitlines() if " - " in line and "(" in line
            and line.strip()[0].isdigit()]


def plant(fault):
    fid, path, old, new, what = fault
    target = COPY / path
    original = target.read_text()
    if original.count(old) != 1:
        return "refused", f"the old text occurs {original.count(old)} times in {path}"
    target.write_text(original.replace(old, new))
    try:
        r = build()
        if r.returncode:
            return "broken", "the planted fault does not build:\n" + r.stdout[-2000:]
        passed, output = suite()
        if passed:
            return "missed", ""
        return "caught", ", ".join(failed_tests(output)[:3]) or "the suite failed"
    finally:
        target.write_text(original)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--list", action="store_true", help="print the catalogue, one fault per line")
    parser.add_argument("--check", action="store_true", help="validate every entry against the sources")
    parser.add_argument("--only", metavar="ID", help="plant this fault only")
    parser.add_argument("--sample", type=int, metavar="N", help="plant N faults drawn at random")
    parser.add_argument("--seed", type=int, help="seed of --sample (default: from the clock, printed)")
    args = parser.parse_args()

    if args.list:
        for fid, path, old, new, what in FAULTS:
            print(f"{fid}\t{path}\t{what}")
        return 0
    problems = check_catalogue(ROOT)
    if args.check or problems:
        for p in problems:
            print(p)
        if problems:
            print(f"plant_faults: {len(problems)} problem(s) in the catalogue")
            return 2
        counts = {s: sum(f[0].startswith(s + "-") for f in FAULTS) for s in SUBSYSTEMS}
        print(f"plant_faults: {len(FAULTS)} faults, all found once (" +
              ", ".join(f"{s} {n}" for s, n in counts.items()) + ")")
        return 0

    if args.only:
        chosen = [f for f in FAULTS if f[0] == args.only]
        if not chosen:
            print(f"plant_faults: no fault '{args.only}' (--list shows them)")
            return 2
    elif args.sample:
        seed = args.seed if args.seed is not None else int(time.time())
        print(f"plant_faults: {args.sample} faults drawn with --seed {seed}")
        chosen = random.Random(seed).sample(FAULTS, min(args.sample, len(FAULTS)))
    else:
        chosen = FAULTS

    COPY.mkdir(parents=True, exist_ok=True)
    mirror()
    print("plant_faults: building the scratch copy in build-faults/ ...", flush=True)
    r = build()
    if r.returncode:
        print(r.stdout[-3000:])
        print("plant_faults: the unchanged sources do not build")
        return 2
    passed, output = suite()
    if not passed:
        print(output[-3000:])
        print("plant_faults: the suite fails without any fault planted")
        return 2

    results = []
    for fault in chosen:
        start = time.time()
        verdict, detail = plant(fault)
        results.append((fault[0], verdict))
        print(f"{fault[0]}: {verdict} ({time.time() - start:.0f} s){' by ' + detail if verdict == 'caught' else ''}"
              f"{': ' + detail if verdict in ('broken', 'refused') else ''}", flush=True)
    build()  # leave the scratch build matching the sources

    caught = sum(v == "caught" for _, v in results)
    if args.only:
        print(results[0][1])
    else:
        missed = [fid for fid, v in results if v != "caught"]
        print(f"score: {caught} of {len(results)} caught ({100.0 * caught / len(results):.1f}%)")
        if missed:
            print("not caught: " + ", ".join(f"{fid} ({v})" for fid, v in results if v != "caught"))
    if any(v in ("broken", "refused") for _, v in results):
        return 2
    return 0 if caught == len(results) else 1


if __name__ == "__main__":
    sys.exit(main())
