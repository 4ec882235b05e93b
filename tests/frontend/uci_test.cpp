#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "frontend/config.h"
#include "frontend/uci.h"
#include "search/timeman.h"
#include "support.h"

namespace {

const std::string PROMPT = "enter 'console' for console mode... ";

// The engine as a GUI sees it: lines written to its input, lines read from its output as they come.
class UciSession {
public:
    explicit UciSession(const std::string& book) : dir_("uci") {
        const fs::path dir = dir_.path;
        dir_.Write("ferrolune.ini", "[ENGINE]\nThread=1\nHashSize=16\nHashPawnSize=1\n[BOOK]\n" + book +
                                        "\n[TABLEBASE]\nSyzygy=false\n");
        // An engine that dies must fail the test, not end it through SIGPIPE.
        ::signal(SIGPIPE, SIG_IGN);
        int in[2], out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0) return;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(in[0], 0);
            ::dup2(out[1], 1);
            ::dup2(::open("/dev/null", O_WRONLY), 2);
            ::close(in[1]);
            ::close(out[0]);
            if (::chdir(dir.c_str()) == 0) ::execl(FERROLUNE_BINARY, FERROLUNE_BINARY, static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        toEngine_ = in[1];
        fromEngine_ = out[0];
    }
    ~UciSession() {
        if (toEngine_ >= 0) ::close(toEngine_);
        ::close(fromEngine_);
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }

    void Send(const std::string& line) {
        std::string text = line + "\n";
        ASSERT_EQ(::write(toEngine_, text.data(), text.size()), ssize_t(text.size()));
    }
    void CloseInput() { ::close(toEngine_), toEngine_ = -1; }

    // The first line beginning with prefix, or "" when none came within the time; all lines read are kept.
    std::string WaitFor(const std::string& prefix, int timeoutMs) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;;) {
            for (size_t eol; (eol = pending_.find('\n')) != std::string::npos;) {
                std::string line = pending_.substr(0, eol);
                pending_.erase(0, eol + 1);
                // The start-up prompt ends without a newline, so the first answer shares its line.
                if (line.compare(0, PROMPT.size(), PROMPT) == 0) line.erase(0, PROMPT.size());
                lines_.push_back(line);
                if (line.compare(0, prefix.size(), prefix) == 0) return line;
            }
            auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) return "";
            pollfd fd{fromEngine_, POLLIN, 0};
            if (::poll(&fd, 1, int(left.count())) <= 0) continue;
            char buffer[4096];
            ssize_t n = ::read(fromEngine_, buffer, sizeof buffer);
            if (n <= 0) return "";
            pending_.append(buffer, size_t(n));
        }
    }

    bool Saw(const std::string& prefix) {
        for (const auto& line : lines_)
            if (line.compare(0, prefix.size(), prefix) == 0) return true;
        return false;
    }

    // Exit status once the process has ended within the time, else -1.
    int WaitExit(int timeoutMs) {
        for (int waited = 0, status; waited < timeoutMs; waited += 10, ::usleep(10000))
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                exited_ = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
        return -1;
    }

    std::vector<std::string> lines_;

private:
    ScratchDir dir_;
    pid_t pid_ = -1;
    bool exited_ = false;
    int toEngine_ = -1, fromEngine_ = -1;
    std::string pending_;
};

std::string MoveOf(const std::string& bestmoveLine) {
    return bestmoveLine.substr(9, bestmoveLine.find(' ', 9) - 9);
}

}  // namespace

TEST(UciCommands, GoValuesAreConvertedAndPersist) {
    mainContext.current = NewGame();
    ASSERT_EQ(SetUciPosition("position startpos moves e2e4"), 1);  // Black to move
    timeControl.movesToGo = 0;
    EXPECT_FALSE(ReadGoParameters("go wtime 60000 btime 30000 winc 1000 binc 2000"));
    // Values a command does not give keep their earlier value.
    EXPECT_FALSE(ReadGoParameters("go movetime 1000 movestogo 7"));
    EXPECT_FALSE(ReadGoParameters("go wtime 5009 btime 40"));
    EXPECT_EQ(timeControl.moveTimeLimit, 100);
    EXPECT_EQ(timeControl.movesToGo, 7);
    EXPECT_EQ(timeControl.myTime, 4);
    EXPECT_EQ(timeControl.oppTime, 500);
    EXPECT_EQ(timeControl.increment, 200);

    // Only whole words are keywords; the depth limit takes 2..64 only.
    settings.maxDepth = 63;
    EXPECT_FALSE(ReadGoParameters("go depth 1 nodes 5 mate 3 xwtime 7 wtimex 8"));
    EXPECT_FALSE(ReadGoParameters("go depth 65"));
    EXPECT_EQ(settings.maxDepth, 63);
    EXPECT_EQ(timeControl.oppTime, 500);
    EXPECT_FALSE(ReadGoParameters("go depth 5"));
    EXPECT_EQ(settings.maxDepth, 5);

    // White to move: the white values are ours.
    ASSERT_EQ(SetUciPosition("position startpos"), 1);
    EXPECT_FALSE(ReadGoParameters("go btime 70000 wtime 80000 binc 3000 winc 500"));
    EXPECT_EQ(timeControl.myTime, 8000);
    EXPECT_EQ(timeControl.oppTime, 7000);
    EXPECT_EQ(timeControl.increment, 50);

    testing::internal::CaptureStdout();
    EXPECT_TRUE(ReadGoParameters("go ponder wtime 1000"));
    EXPECT_EQ(pondering.load() * 2 + infiniteSearch.load(), 2u);
    EXPECT_TRUE(ReadGoParameters("go infinite"));
    EXPECT_EQ(infiniteSearch.load(), 1u);
    EXPECT_FALSE(ReadGoParameters("go"));
    EXPECT_EQ(pondering.load() + infiniteSearch.load(), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "#DEBUG: go ponder\nCommand: infinite\n");
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
    EXPECT_EQ(engine.WaitExit(5000), 0);
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
