#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>

#include "frontend/uci.h"
#include "search/timeman.h"
#include "settings/settings.h"
#include "support.h"

namespace {

const std::string PROMPT = "enter 'console' for console mode... ";

// The engine as a GUI sees it: lines written to its input as the test goes, its output read as it comes.
class UciSession {
public:
    explicit UciSession(const std::string& book) : dir_("uci") {
        dir_.Write("ferrolune.ini", "[ENGINE]\nThread=1\nHashSize=16\nHashPawnSize=1\n[BOOK]\n" + book +
                                        "\n[TABLEBASE]\nSyzygy=false\n");
#ifdef SIGPIPE
        std::signal(SIGPIPE, SIG_IGN);  // an engine that dies must fail the test, not end it
#endif
        const std::string cmd = EngineCommand(dir_.path, "", std::string("> out.txt 2> ") + NULL_DEVICE);
        engine_ = ::popen(cmd.c_str(), "w");
    }
    ~UciSession() {
        if (engine_) Send("quit"), Close();
    }
    void Send(const std::string& line) {
        const std::string text = line + "\n";  // written whole: the line may hold a NUL byte
        std::fwrite(text.data(), 1, text.size(), engine_);
        std::fflush(engine_);
    }
    // Ends the input and waits for the engine to end; its exit status.
    int Close() {
        const int status = ::pclose(engine_);
        engine_ = nullptr;
        return ExitStatus(status);
    }
    // The next line beginning with prefix, or "" when none came within the time; all lines read are kept.
    std::string WaitFor(const std::string& prefix, int timeoutMs) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;; std::this_thread::sleep_for(std::chrono::milliseconds(2))) {
            const std::string out = ReadFile(dir_.path / "out.txt");
            for (size_t eol; (eol = out.find('\n', read_)) != std::string::npos; read_ = eol + 1) {
                std::string line = out.substr(read_, eol - read_);
                // The start-up prompt ends without a newline, so the first answer shares its line.
                if (line.starts_with(PROMPT)) line.erase(0, PROMPT.size());
                lines_.push_back(line);
                if (line.starts_with(prefix)) return read_ = eol + 1, line;
            }
            if (std::chrono::steady_clock::now() > deadline) return "";
        }
    }
    bool Saw(const std::string& prefix) const {
        return std::any_of(lines_.begin(), lines_.end(), [&](const std::string& l) { return l.starts_with(prefix); });
    }

    std::vector<std::string> lines_;

private:
    ScratchDir dir_;
    FILE* engine_ = nullptr;
    size_t read_ = 0;
};

std::string MoveOf(const std::string& bestmoveLine) {
    return bestmoveLine.substr(9, bestmoveLine.find(' ', 9) - 9);
}

}  // namespace

// Black's clocks after 1.e4 are converted in the end-to-end game below; here what persists and what is a keyword.
TEST(UciCommands, GoValuesPersistAndOnlyWholeWordsCount) {
    const auto clocks = [] {
        const TimeControl& t = timeControl;
        return std::to_string(t.moveTimeLimit) + " " + std::to_string(t.movesToGo) + " " + std::to_string(t.myTime) +
               " " + std::to_string(t.oppTime) + " " + std::to_string(t.increment) + " " + std::to_string(settings.maxDepth);
    };
    ASSERT_EQ(SetUciPosition("position startpos moves e2e4"), 1);  // Black to move
    timeControl.movesToGo = 0;
    settings.maxDepth = 63;
    // Values a command does not give keep their earlier value; the depth limit takes 2..64 only.
    for (const char* go : {"go wtime 60000 btime 30000 winc 1000 binc 2000", "go movetime 1000 movestogo 7",
                           "go wtime 5009 btime 40", "go depth 1 nodes 5 mate 3 xwtime 7 wtimex 8", "go depth 65"})
        EXPECT_FALSE(ReadGoParameters(go)) << go;
    EXPECT_EQ(clocks(), "100 7 4 500 200 63");
    EXPECT_FALSE(ReadGoParameters("go depth 5"));
    ASSERT_EQ(SetUciPosition("position startpos"), 1);  // White's values are ours
    EXPECT_FALSE(ReadGoParameters("go btime 70000 wtime 80000 binc 3000 winc 500"));
    EXPECT_EQ(clocks(), "100 7 8000 7000 50 5");

    const std::string out = Printed([] {
        EXPECT_TRUE(ReadGoParameters("go ponder wtime 1000"));
        EXPECT_EQ(pondering.load() * 2 + infiniteSearch.load(), 2u);
        EXPECT_TRUE(ReadGoParameters("go infinite"));
        EXPECT_EQ(infiniteSearch.load(), 1u);
        EXPECT_FALSE(ReadGoParameters("go"));
        EXPECT_EQ(pondering.load() + infiniteSearch.load(), 0u);
    });
    EXPECT_EQ(out, "#DEBUG: go ponder\nCommand: infinite\n");
}

TEST(UciEndToEnd, AGameAsAnInterfacePlaysIt) {
    UciSession engine("Book=false");
    engine.Send("uci");
    EXPECT_NE(engine.WaitFor("id name ferrolune", 5000), "");
    EXPECT_NE(engine.WaitFor("option name Ponder type check default true", 5000), "");
    ASSERT_NE(engine.WaitFor("uciok", 5000), "");
    // Lines of any length or content are read whole or cut, never fatal.
    engine.Send(std::string(UCI_LINE_MAX + 1000, 'x'));
    engine.Send(std::string("stop\0go\r", 9));
    engine.Send("ucinewgame");
    engine.Send("isready");
    ASSERT_EQ(engine.WaitFor("readyok", 5000), "readyok");

    // Clocks in milliseconds are the engine's centiseconds; Black's are ours after 1.e4, and the opening's
    // divisor applies. Positions that cannot be set are reported.
    engine.Send("position startpos moves e2e4");
    engine.Send("go wtime 60000 btime 30000 winc 1000 binc 2000");
    EXPECT_EQ(engine.WaitFor("#DEBUG: Allocated Time:", 5000), "#DEBUG: Allocated Time: 275  myTime: 3000 moveSpeed 40");
    EXPECT_NE(engine.WaitFor("bestmove ", 5000), "");
    for (const char* bad : {"position fen 4k3/8/8/8/8/8/8/4K3 x - - 0 1", "position startpos moves e2e5"}) {
        engine.Send(bad);
        EXPECT_EQ(engine.WaitFor("#DEBUG: BAD FEN|MOVES!", 5000), "#DEBUG: BAD FEN|MOVES!") << bad;
    }

    // Both sides played by the engine on fast clocks; every move is fed back in the growing list.
    engine.lines_.clear();
    std::string position = "position startpos moves";
    for (int ply = 0; ply < 8; ++ply) {
        engine.Send(position);
        engine.Send("go wtime 3000 btime 3000 winc 30 binc 30");
        std::string best = engine.WaitFor("bestmove ", 5000);
        ASSERT_NE(best, "") << "no move at ply " << ply;
        ASSERT_NE(MoveOf(best), "0000");
        position.append(1, ' ').append(MoveOf(best));
    }
    EXPECT_FALSE(engine.Saw("#DEBUG: BAD FEN|MOVES!"));

    // Pondering: no move before "ponderhit"; then the timed search ends by itself.
    engine.Send(position);
    engine.Send("go ponder wtime 2000 btime 2000 winc 20 binc 20");
    EXPECT_EQ(engine.WaitFor("bestmove ", 300), "");
    engine.Send("ponderhit");
    EXPECT_NE(engine.WaitFor("bestmove ", 3000), "");

    // Infinite analysis holds its move until "stop"; meanwhile the monitor alone reads the input.
    engine.lines_.clear();
    engine.Send("go infinite");
    EXPECT_NE(engine.WaitFor("Command: infinite", 1000), "");
    engine.Send("isready");
    EXPECT_EQ(engine.WaitFor("bestmove ", 300), "");
    EXPECT_FALSE(engine.Saw("readyok"));
    engine.Send("stop");
    EXPECT_NE(engine.WaitFor("bestmove ", 1000), "");
    engine.Send("isready");
    EXPECT_EQ(engine.WaitFor("readyok", 5000), "readyok");

    // An infinite search that ends by itself (here by the depth limit) still waits for "stop".
    engine.Send("go infinite depth 3");
    EXPECT_NE(engine.WaitFor("#DEBUG: end Think", 3000), "");
    EXPECT_EQ(engine.WaitFor("bestmove ", 300), "");
    engine.Send("stop");
    EXPECT_NE(engine.WaitFor("bestmove ", 1000), "");
    engine.Send("quit");
    EXPECT_EQ(engine.Close(), 0);
}

// Batch sessions: the whole input at once, so "quit" or the end of the input meets a search still running.
TEST(UciEndToEnd, QuitOrEndOfInputWhilePonderingAndBookMoves) {
    const std::string ini = "[ENGINE]\nThread=1\nHashSize=1\nHashPawnSize=1\n[TABLEBASE]\nSyzygy=0\n[BOOK]\n";
    for (const char* end : {"quit\n", ""}) {
        EngineRun run = RunEngine(std::string("uci\ngo ponder wtime 60000 btime 60000\n") + end, ini + "Book=0\n");
        EXPECT_EQ(run.status, 0) << end;
        EXPECT_NE(run.out.find("#DEBUG: start Think"), std::string::npos) << run.out;
    }
    // The start position's first entry in the book file is e2e4, played without a search; out of book a
    // search answers.
    REQUIRE_SHARED_FILE(book, "books/performance.bin");
    EngineRun run = RunEngine("uci\nposition startpos\ngo wtime 1000 btime 1000\nisready\n"
                              "position startpos moves a2a3 h7h6 h2h3\ngo depth 2\n",
                              ini + "Book=true\nRandBook=false\nBookFile=" + book.string() + "\n");
    const size_t ready = run.out.find("readyok\n");
    ASSERT_NE(ready, std::string::npos) << run.out;
    EXPECT_NE(run.out.rfind("bestmove e2e4\n", ready), std::string::npos) << run.out;
    EXPECT_EQ(run.out.rfind("#DEBUG: start Think", ready), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("bestmove ", ready), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("#DEBUG: start Think", ready), std::string::npos) << run.out;
}
