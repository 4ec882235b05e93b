#include "search/iterate.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "board/fen.h"
#include "board/makemove.h"
#include "board/movegen.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "settings/settings.h"
#include "tablebases/tbprobe.h"

Move lastPonderMove;

namespace {

constexpr int16_t ROOT_ALPHA = -30000;
constexpr int16_t ROOT_BETA = 30000;
constexpr int ASPIRATION = 50;
// Output switches to mate notation from here on.
constexpr int MATE_NOTATION = 19000;

void ClearLine(PvLine& line) { std::memset(&line, 0, sizeof line); }

int32_t ElapsedMs() { return int32_t(uint32_t(ClockMs()) - uint32_t(timeControl.startTime)); }

uint64_t Finish(uint64_t result) {
    timeControl.elapsed = ElapsedMs();
    RetireTimer();
    return result;
}

}  // namespace

uint64_t SearchMain(SearchThread& main) {
    BindTimerToSearch(timeControl.startTime);
    searchStop = 0;
    iterationAbort = 0;
    hashAge = uint8_t(hashAge + 1);
    lastPonderMove = 0;
    main.tbProbeLimit = uint8_t(settings.tbProbeLimit);
    ClearLine(winnerPV);
    PvLine bestLine;
    ClearLine(bestLine);
    std::memset(main.rootMoves, 0, sizeof main.rootMoves);
    main.threadId = 0;
    main.rootDepth = 0;
    main.selDepth = 0;
    main.rootAlpha = ROOT_ALPHA;
    main.rootBeta = ROOT_BETA;
    nodeCount = 0;

    main.rootMovesEnd = GenerateLegal(*main.current, main.rootMoves);
    for (MoveEntry* e = main.rootMoves; e < main.rootMovesEnd; ++e) e->score = 0;

    // Tablebase root filter: the one place the search consults DTZ tables.
    bool tbFiltered = false;
    int16_t tbScore = 0;
    if (settings.useSyzygy && PopCount(Occupied(*main.current)) <= settings.tbProbeLimit) {
        if (RootProbe(main.current, main.rootMoves, tbScore, main.rootMovesEnd)) {
            main.tbProbeLimit = 0;
            tbFiltered = true;
        } else {
            tbScore = 0;
        }
    }

    // Checkmate or stalemate at the root: the front ends announce the end of the game, so there is
    // nothing to search or print.
    if (main.rootMovesEnd == main.rootMoves) return Finish(MakeSearchResult(0, 0));

    const MoveEntry& last = main.rootMovesEnd[-1];
    uint64_t result = MakeSearchResult(last.move, last.score);

    if (main.rootMovesEnd - main.rootMoves == 1) {
        bestLine.count = 1;
        bestLine.moves[0] = last.move;
        PrintIteration(main, result, bestLine);
        return Finish(result);
    }

    int depth = 1;
    while (depth <= settings.maxDepth) {
        main.rootDepth = uint8_t(depth);
        winnerThread = 0;
        iterationAbort = 0;
        RunIteration(main);
        // Without a winner the iteration was abandoned, whoever raised the flags.
        if (searchStop || winnerThread == 0) {
            iterationAbort = 1;
            return Finish(result);
        }

        int16_t s = ResultScore(winnerResult);
        if (main.rootAlpha < s && s < main.rootBeta) {
            result = winnerResult;
            bestLine = winnerPV;
            lastPonderMove = bestLine.count >= 2 ? bestLine.moves[1] : 0;
        }
        int16_t reported = tbFiltered ? std::max(s, tbScore) : s;
        result = MakeSearchResult(ResultMove(result), reported);
        PrintIteration(main, result, bestLine);

        AspirationStep next = NextAspiration(reported, tbScore, main.rootAlpha, main.rootBeta);
        main.rootAlpha = next.alpha;
        main.rootBeta = next.beta;
        if (next.nextDepth) ++depth;
    }
    return Finish(result);
}

AspirationStep NextAspiration(int16_t reported, int16_t tbScore, int16_t alpha, int16_t beta) {
    if (reported == tbScore) return {ROOT_ALPHA, ROOT_BETA, true};
    if (reported <= alpha || reported >= beta) {
        // No score falls outside the full window (an empty root list reports -30000): repeating would
        // never end.
        bool wasFull = alpha == ROOT_ALPHA && beta == ROOT_BETA;
        return {ROOT_ALPHA, ROOT_BETA, wasFull};
    }
    return {int16_t(reported - ASPIRATION), int16_t(reported + ASPIRATION), true};
}

void PrintPv(const SearchThread& main, const PvLine& line) {
    uint32_t side = main.current->side;
    char text[8];
    for (int i = 0; i < line.count && i < 64; ++i) {
        if (line.moves[i] == 0) continue;
        MoveToText(text, line.moves[i], side);
        std::printf("%s ", text);
        side ^= 1;
    }
    std::printf("\n");
    std::fflush(stdout);
}

void PrintIteration(const SearchThread& main, uint64_t result, const PvLine& line) {
    int depth = main.rootDepth;
    int score = ResultScore(result);
    uint64_t nodes = nodeCount;
    int32_t elapsed = ElapsedMs();

    if (ProtocolMode == MODE_UCI) {
        if (score > -MATE_NOTATION && score < MATE_NOTATION) {
            double nps = elapsed >= 500 ? double(nodes) / double(elapsed) * 1000.0 : 0.0;
            std::printf("info depth %2d seldepth %2d score cp %6d nodes %10" PRIu64 " time %.0f nps %.0f pv ", depth,
                        int(winnerSelDepth), score, nodes, double(elapsed), nps);
        } else {
            int mate = ((score >= MATE_NOTATION ? MATE + 1 : -MATE) - score) / 2;
            std::printf("info depth %2d score mate %2d nodes %10" PRIu64 " time %6d pv ", depth, mate, nodes,
                        int(elapsed));
        }
        PrintPv(main, line);
        return;
    }

    if (settings.postThinking) {
        std::printf("%2d %6d %6d %10" PRIu64 " ", depth, score, int(elapsed / 10), nodes);
        PrintPv(main, line);
    }
    if (score >= MATE_NOTATION) std::printf("Mate in% d \n", (MATE + 1 - score) / 2);
    else if (score <= -MATE_NOTATION) std::printf("Mated to% d \n", (score + MATE) / 2);
    std::fflush(stdout);
}

void PrintBestMove(uint64_t result, Move ponderMove) {
    // The best move is already on the board: the side that played it is the one not to move now.
    uint32_t moverSide = mainContext.current->side ^ 1;
    char best[8] = "0000";
    char ponder[8] = "";
    Move move = ResultMove(result);
    if (move) MoveToText(best, move, moverSide);
    // The line's second move can be a leftover of another line (a child that wrote no line of its own
    // passes its predecessor's on): it is named only when it can be played next.
    if (ponderMove && !IsLegalMove(*mainContext.current, ponderMove)) ponderMove = 0;
    if (ponderMove) MoveToText(ponder, ponderMove, moverSide ^ 1);

    if (ProtocolMode == MODE_UCI) {
        if (ponderEnabled && ponderMove) std::printf("bestmove %s ponder %s\n", best, ponder);
        else std::printf("bestmove %s\n", best);
    } else {
        int32_t ms = timeControl.elapsed;
        double knps = ms > 0 ? double(uint64_t(nodeCount) / uint64_t(ms)) : 0.0;
        if (ponderMove)
            std::printf("Bestmove: %s   Score: %d   Pondermove: %s   Knps: %.0f\n", best, int(ResultScore(result)),
                        ponder, knps);
        else
            std::printf("Bestmove: %s   Score: %d    Knps: %.0f\n", best, int(ResultScore(result)), knps);
    }
    std::fflush(stdout);
}
