// What the tests share: the shared data, one game loader, scratch directories and the engine run as a program.
#pragma once

#include <gtest/gtest.h>

#ifdef _WIN32
#include <process.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "board/fen.h"
#include "board/movegen.h"
#include "board/position.h"
#include "search/search.h"
#include "tablebases/tbregistry.h"

namespace fs = std::filesystem;

inline const char* const START = "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1";

// Made absolute as the program starts, before any test changes the working directory: on Windows a path
// of the build machine, absolute there, names a folder on the drive that is current then.
inline fs::path StartPath(const fs::path& path) { return fs::absolute(path).make_preferred(); }

// FERROLUNE_SHARED overrides the default: the "shared" folder beside the source tree.
inline const fs::path SHARED_DIR =
    StartPath(std::getenv("FERROLUNE_SHARED") ? fs::path(std::getenv("FERROLUNE_SHARED"))
                                              : fs::path(FERROLUNE_SOURCE_DIR) / ".." / "shared");
inline fs::path SharedDir() { return SHARED_DIR; }
inline const fs::path ENGINE_BINARY = StartPath(FERROLUNE_BINARY);

inline int ProcessId() {
#ifdef _WIN32
    return _getpid();
#else
    return int(::getpid());
#endif
}

inline void SetEnv(const char* name, const std::string& value) {
#ifdef _WIN32
    _putenv_s(name, value.c_str());
#else
    setenv(name, value.c_str(), 1);
#endif
}

inline void UnsetEnv(const char* name) {
#ifdef _WIN32
    _putenv_s(name, "");  // an empty value removes the variable
#else
    unsetenv(name);
#endif
}

// Skips the calling test with a clear message when a shared file is absent.
#define REQUIRE_SHARED_FILE(var, relative)                 \
    const fs::path var = SharedDir() / (relative);         \
    if (!fs::exists(var)) GTEST_SKIP() << "shared test data not found: " << var.string()

// What f prints on standard output.
template <class F>
std::string Printed(F f) {
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}

// Tables of both kinds from one directory; what the registration printed.
inline std::string LoadTables(const std::string& directory) {
    return Printed([&] { InitTablebases(directory.c_str(), directory.c_str()); });
}

// A text file with its line ends as LF: programs write CR LF on Windows.
inline std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream stream;
    stream << in.rdbuf();
    std::string text = stream.str();
    for (size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;) text.erase(at, 1);
    return text;
}

// A fresh game on the context's stack (the main context's by default) set to fen and then moves; the
// record at current.
inline Position* LoadGame(const std::string& fen, const char* moves = nullptr, SearchThread& t = mainContext) {
    t.current = &t == &mainContext ? NewGame() : &t.positionStack[0];
    EXPECT_EQ(1, ParseFen(t, fen.c_str(), moves)) << fen << " " << (moves ? moves : "");
    return t.current;
}

inline std::string FenOf(const Position& pos) {
    char buffer[FEN_BUFFER_SIZE];
    WriteFen(pos, buffer);
    return buffer;
}

inline std::string MoveText(const Position& pos, Move m) {
    char text[MOVE_TEXT_SIZE];
    MoveToText(text, m, pos.side);
    return text;
}

inline std::vector<std::string> MoveTexts(const Position& pos, const MoveEntry* begin, const MoveEntry* end) {
    std::vector<std::string> texts;
    for (const MoveEntry* e = begin; e < end; ++e) texts.push_back(MoveText(pos, e->move));
    return texts;
}

// One line of the shared move-generation file: the FEN, the legal moves (sorted, space separated) and the
// perft counts at depths 2 and 3, the usual ones and those of the engine's rule (a stalemate before the
// last ply counts 1).
struct MovegenRecord {
    std::string fen;
    int legalCount;
    std::string legalMoves;
    uint64_t standard2, standard3, perft2, perft3;
};

inline std::vector<MovegenRecord> ReadMovegenRecords(const fs::path& file) {
    std::vector<MovegenRecord> cases;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> f;
        std::stringstream split(line);
        for (std::string field; std::getline(split, field, '\t');) f.push_back(field);
        if (f.size() == 7)
            cases.push_back({f[0], std::stoi(f[1]), f[2], std::stoull(f[3]), std::stoull(f[4]), std::stoull(f[5]),
                             std::stoull(f[6])});
    }
    return cases;
}

// A fresh directory under the system's temporary folder, removed again at the end of its scope (by the
// process that made it, not by the child of a death test).
struct ScratchDir {
    int owner = ProcessId();
    fs::path path;
    explicit ScratchDir(const std::string& name)
        : path(fs::temp_directory_path() / ("ferrolune_" + name + "_" + std::to_string(owner))) {
        fs::remove_all(path);
        fs::create_directories(path);
    }
    // Windows removes neither a working directory nor a mapped file: a test steps out and releases its
    // tables first, or the folder stays behind in the temporary folder.
    ~ScratchDir() {
        std::error_code error;
        if (ProcessId() == owner) fs::remove_all(path, error);
    }
    fs::path Write(const std::string& name, const std::string& text) const {
        std::ofstream(path / name, std::ios::binary) << text;
        return path / name;
    }
    // A copy that the test may damage.
    fs::path Copy(const fs::path& from) const {
        fs::copy_file(from, path / from.filename(), fs::copy_options::overwrite_existing);
        fs::permissions(path / from.filename(), fs::perms::owner_read | fs::perms::owner_write);
        return path / from.filename();
    }
};

// Small tables, no book and no tablebases keep the engine's start quick.
inline const std::string SMALL_INI =
    "[ENGINE]\nThread=1\nHashSize=1\nHashPawnSize=1\n[BOOK]\nBook=0\n[TABLEBASE]\nSyzygy=0\n";

struct EngineRun {
    std::string out, err;
    int status = -1;  // exit status, or -1 when the process did not exit normally
};

// The exit status in what std::system or pclose returned, -1 when the program did not exit normally.
inline int ExitStatus(int raw) {
#ifdef _WIN32
    return raw;
#else
    return raw != -1 && WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
#endif
}

// A shell line that runs the engine in dir with args, then the redirections. args quote with ' as a POSIX
// shell does; Windows' shell takes " instead.
inline std::string EngineCommand(const fs::path& dir, std::string args, const std::string& redirections) {
#ifdef _WIN32
    std::replace(args.begin(), args.end(), '\'', '"');
    return "cd /d \"" + StartPath(dir).string() + "\" && \"" + ENGINE_BINARY.string() + "\" " + args + " " +
           redirections;
#else
    return "cd '" + dir.string() + "' && exec '" + ENGINE_BINARY.string() + "' " + args + " " + redirections;
#endif
}

#ifdef _WIN32
inline const char* const NULL_DEVICE = "NUL";
#else
inline const char* const NULL_DEVICE = "/dev/null";
#endif

// Runs the built engine as a user would, in dir (where its settings file is looked for): scripted standard
// input, captured output.
inline EngineRun RunEngine(const std::string& input, const fs::path& dir, const std::string& args = "") {
    std::ofstream(dir / "stdin.txt", std::ios::binary) << input;
    const std::string cmd = EngineCommand(dir, args, "< stdin.txt > stdout.txt 2> stderr.txt");
    EngineRun run;
    run.status = ExitStatus(std::system(cmd.c_str()));
    run.out = ReadFile(dir / "stdout.txt");
    run.err = ReadFile(dir / "stderr.txt");
    return run;
}

// The same, in a scratch directory holding the settings file ini.
inline EngineRun RunEngine(const std::string& input, const std::string& ini = SMALL_INI,
                           const std::string& args = "") {
    ScratchDir dir("engine");
    dir.Write("ferrolune.ini", ini);
    return RunEngine(input, dir.path, args);
}
