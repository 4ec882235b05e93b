// Every test starts from the same process-wide state, whatever ran before it and however that ended: the
// suite must pass in any order (ctest runs each test in a process of its own, --gtest_shuffle in one).
#include "eval/pawns.h"
#include "frontend/input.h"
#include "frontend/uci.h"
#include "search/iterate.h"
#include "search/threads.h"
#include "search/timeman.h"
#include "search/tt.h"
#include "settings/settings.h"
#include "support.h"

namespace {

class ProcessStateGuard : public testing::EmptyTestEventListener {
    EngineSettings settings_{};
    TimeControl timeControl_{};
    std::filesystem::path directory_;

    // A 16 MB table, and pawn tables for the first four search threads.
    void OnTestProgramStart(const testing::UnitTest&) override {
        settings_ = settings;
        timeControl_ = timeControl;
        directory_ = std::filesystem::current_path();
        testing::internal::CaptureStdout();
        AllocateHashTable(HashEntriesForMB(16), 16);
        for (int i = 0; i < 4; ++i) AllocPawnHash(threadContexts[i].pawnHash, 1 << 12, 0, false, i + 1);
        testing::internal::GetCapturedStdout();
    }

    void OnTestStart(const testing::TestInfo&) override {
        // A search ends with its flags raised and a timer may still be counting down.
        RetireTimer();
        searchStop = 0;
        iterationAbort = 0;
        pondering = 0;
        infiniteSearch = 0;
        ponderEnabled = 0;
        lastPonderMove = 0;
        ProtocolMode = MODE_CONSOLE;
        settings = settings_;
        timeControl = timeControl_;
        mainContext.current = NewGame();  // also the first search of a game
        SetInputSource(nullptr);
        std::filesystem::current_path(directory_);
        // No tables from a directory an earlier test has removed, nor from the caller's environment.
        UnsetEnv("RTBWDIR");
        UnsetEnv("RTBZDIR");
        testing::internal::CaptureStdout();
        if (pieceTableCount + pawnTableCount > 0 || wdlDirectory[0]) InitTablebases("", "");
        if (transpositionTable.entries != HashEntriesForMB(16)) AllocateHashTable(HashEntriesForMB(16), 16);
        testing::internal::GetCapturedStdout();
        ClearHashTable();
        hashAge = 1;
    }
};

// Registered before main runs, so it sees the program start.
[[maybe_unused]] const bool registered = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new ProcessStateGuard);
    return true;
}();

}  // namespace
