// Every test starts from the same process-wide state, whatever ran before it and however that ended: the
// suite must pass in any order (ctest runs each test in a process of its own, --gtest_shuffle in one).
#include <gtest/gtest.h>

#include <filesystem>

#include "board/position.h"
#include "frontend/config.h"
#include "frontend/input.h"
#include "frontend/uci.h"
#include "search/iterate.h"
#include "search/search.h"
#include "search/timeman.h"
#include "search/tt.h"

namespace {

class ProcessStateGuard : public testing::EmptyTestEventListener {
    EngineSettings settings_{};
    TimeControl timeControl_{};
    std::filesystem::path directory_;

    void OnTestProgramStart(const testing::UnitTest&) override {
        settings_ = settings;
        timeControl_ = timeControl;
        directory_ = std::filesystem::current_path();
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
    }
};

// Registered before main runs, so it sees the program start.
[[maybe_unused]] const bool registered = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new ProcessStateGuard);
    return true;
}();

}  // namespace
