#include "tablebases/tbprobe.h"

#include <thread>

#include "support.h"
#include "frontend/selftest.h"

namespace {

// A number field of one object of the reference file; the objects hold fen, wdl, dtz, root_ok, root_score, kept.
int NumberAfter(const std::string& line, const std::string& field) {
    return std::stoi(line.substr(line.find("\"" + field + "\": ") + field.size() + 4));
}

}  // namespace

TEST(TablebaseProbe, ReferencePositionsGiveTheirWdlAndDtz) {
    REQUIRE_SHARED_FILE(tables, "syzygy/KQvK.rtbw");
    REQUIRE_SHARED_FILE(first, "testdata/TestSyzygy/TestCase_01.txt");
    LoadTables(tables.parent_path().string());
    int checked = 0;
    for (int i = 1; i <= 9; ++i) {
        std::ifstream in(first.parent_path() / ("TestCase_0" + std::to_string(i) + ".txt"));
        std::string line;
        while (std::getline(in, line)) {
            size_t c1 = line.find(','), c2 = line.find(',', c1 + 1);
            std::string fen = line.substr(0, c1);
            int dtz = std::stoi(line.substr(c1 + 1, c2 - c1 - 1)), wdl = std::stoi(line.substr(c2 + 1));
            Position* pos = LoadGame(fen);
            int success;
            EXPECT_EQ(ProbeWdl(pos, success), wdl) << fen;
            EXPECT_NE(success, 0) << fen;
            EXPECT_EQ(ProbeDtz(pos, success), dtz) << fen;
            ++checked;
        }
    }
    EXPECT_EQ(checked, 2700);
}

// Search threads load WDL tables on first use concurrently; every thread must see fully parsed tables.
TEST(TablebaseProbe, ConcurrentFirstProbesAgree) {
    REQUIRE_SHARED_FILE(tables, "syzygy/KQvK.rtbw");
    REQUIRE_SHARED_FILE(reference, "testdata/TestSyzygy/TestCase_02.txt");
    std::vector<std::pair<Position, int>> cases;
    std::ifstream in(reference);
    std::string line;
    while (std::getline(in, line) && cases.size() < 120)
        cases.push_back({*LoadGame(line.substr(0, line.find(',')).c_str()), std::stoi(line.substr(line.rfind(',') + 1))});
    LoadTables(tables.parent_path().string());
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            Position stack[16];
            for (size_t i = 0; i < cases.size(); ++i) {
                const auto& [pos, wdl] = cases[(i * 7 + size_t(t) * 31) % cases.size()];
                stack[0] = pos;
                int success;
                if (ProbeWdl(stack, success) != wdl) ++mismatches;
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(mismatches, 0);
}

TEST(TablebaseProbe, RootFilterKeepsTheReferenceMovesWithTheirScores) {
    REQUIRE_SHARED_FILE(tables, "syzygy/KQvK.rtbw");
    REQUIRE_SHARED_FILE(cases, "testdata/tb_root.jsonl");
    LoadTables(tables.parent_path().string());
    std::ifstream in(cases);
    std::string line;
    int checked = 0;
    while (std::getline(in, line)) {
        const size_t fenAt = line.find("\"fen\": \"") + 8, keptAt = line.find("\"kept\": {") + 9;
        const std::string fen = line.substr(fenAt, line.find('"', fenAt) - fenAt);
        std::map<std::string, int> expected, kept;
        std::stringstream items(line.substr(keptAt, line.find('}', keptAt) - keptAt));
        for (std::string item; std::getline(items, item, ',');) {
            const size_t q = item.find('"');
            expected[item.substr(q + 1, item.find('"', q + 1) - q - 1)] = std::stoi(item.substr(item.find(':') + 1));
        }
        Position* pos = LoadGame(fen);
        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* end = GenerateLegal(*pos, list);
        int16_t score = 0;
        EXPECT_EQ(RootProbe(pos, list, score, end), NumberAfter(line, "root_ok")) << fen;
        EXPECT_EQ(score, NumberAfter(line, "root_score")) << fen;
        for (MoveEntry* m = list; m < end; ++m) {
            kept[MoveText(*pos, m->move)] = m->score;
            EXPECT_TRUE(score <= 0 || m == list || m[-1].score >= m->score) << "kept moves sorted";
        }
        EXPECT_EQ(kept, expected) << fen;
        ++checked;
    }
    EXPECT_EQ(checked, 60);
}

TEST(TablebaseProbe, RootFilterBoundsTheWinByTheClockAndByRepetition) {
    REQUIRE_SHARED_FILE(tables, "syzygy/KQNvK.rtbw");
    LoadTables(tables.parent_path().string());
    // The won root of the reference data: DTZ 5, its moves score 5 to 13.
    auto keptScores = [](const char* fen, const char* moves, int16_t& score) {
        Position* pos = LoadGame(fen, moves);
        MoveEntry list[MOVELIST_SIZE];
        MoveEntry* end = GenerateLegal(*pos, list);
        EXPECT_EQ(RootProbe(pos, list, score, end), 1);
        std::multiset<int> scores;
        for (MoveEntry* m = list; m < end; ++m) scores.insert(m->score);
        return scores;
    };
    int16_t score;
    std::multiset<int> all = keptScores("8/K7/8/8/6N1/6k1/8/1Q6 w - - 0 44", nullptr, score);
    EXPECT_EQ(all.size(), 32u);
    EXPECT_EQ(score, 15000);
    std::multiset<int> late = keptScores("8/K7/8/8/6N1/6k1/8/1Q6 w - - 90 44", nullptr, score);
    EXPECT_EQ(late, (std::multiset<int>{5, 5, 7, 7, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9}));
    EXPECT_EQ(score, 15000);
    std::multiset<int> tooLate = keptScores("8/K7/8/8/6N1/6k1/8/1Q6 w - - 96 44", nullptr, score);
    EXPECT_EQ(tooLate, (std::multiset<int>{5, 5}));
    EXPECT_EQ(score, 2);
    // Back at the root after four plies: only the fastest wins make progress.
    std::multiset<int> repeated = keptScores("8/K7/8/8/6N1/6k1/8/1Q6 w - - 0 44", "a7a8 g3h3 a8a7 h3g3", score);
    EXPECT_EQ(repeated, (std::multiset<int>{5, 5}));
}

// A capture that only draws gives an exact result, not one from a winning capture: Rxd5 Kxd5 leaves bare kings.
TEST(TablebaseProbe, ADrawingCaptureIsExact) {
    REQUIRE_SHARED_FILE(tables, "syzygy/KRvKR.rtbw");
    LoadTables(tables.parent_path().string());
    int success = 0;
    EXPECT_EQ(ProbeWdl(LoadGame("8/8/3k4/3r4/8/3R4/3K4/8 w - - 0 1"), success), 0);
    EXPECT_EQ(success, 1);
}

TEST(TablebaseProbe, BareKingsNeedNoTableAndMissingTablesFail) {
    ScratchDir dir("empty");
    LoadTables(dir.path.string());
    int success = 7;
    EXPECT_EQ(ProbeWdl(LoadGame("8/8/3k4/8/8/3K4/8/8 w - - 0 1"), success), 0);
    EXPECT_EQ(success, 1);
    EXPECT_EQ(ProbeDtz(LoadGame("8/8/3k4/8/8/3K4/8/8 b - - 0 1"), success), 0);
    EXPECT_EQ(success, 1);
    // A winning capture down to bare kings needs no table either, but the position's own table is still read.
    for (const char* fen : {"8/8/3k4/8/8/3K4/8/7Q w - - 0 1", "8/8/3k4/8/8/3K4/3r4/8 w - - 0 1"})
        EXPECT_TRUE((ProbeWdl(LoadGame(fen), success), success == 0)) << fen;
    MoveEntry list[MOVELIST_SIZE];
    MoveEntry* end = GenerateLegal(*mainContext.current, list);
    MoveEntry* const endBefore = end;
    int16_t score = 0;
    EXPECT_EQ(RootProbe(mainContext.current, list, score, end), 0);
    EXPECT_EQ(end, endBefore);
}

// The console's tablebase commands: the listing of the filtered root moves, and the self-test, which appends
// mismatches and unreadable positions to its error files and ends the program when its files are missing.
TEST(TablebaseProbe, ConsoleListingAndSelfTest) {
    REQUIRE_SHARED_FILE(tables, "syzygy/KQvK.rtbw");
    ScratchDir dir("tbconsole");
    const std::string tablePath = tables.parent_path().string();
    dir.Write("ferrolune.ini", "[ENGINE]\nThread=1\nHashSize=1\nHashPawnSize=1\n[BOOK]\nBook=0\n[TABLEBASE]\nSyzygy=1\n"
                               "dtzPath=" + tablePath + "\nwdlPath=" + tablePath + "\n");
    // The self-test's folder is the working directory's TestSyzygy, but a fixed folder on drive D: on Windows:
    // the test makes it only where the drive is there and the folder is not (Wine: a link d: in the prefix's
    // dosdevices folder), and removes what it made.
    fs::path testDir = TABLEBASE_TEST_DIRECTORY;
    fs::path made = dir.path / testDir;
    if (testDir.is_absolute()) {
        if (!fs::exists(testDir.root_path())) GTEST_SKIP() << "no drive for " << testDir.string();
        if (fs::exists(testDir)) GTEST_SKIP() << testDir.string() << " exists and is left alone";
        for (made = testDir; !fs::exists(made.parent_path());) made = made.parent_path();
    } else {
        testDir = dir.path / testDir;
    }
    struct Remove {
        fs::path path;
        ~Remove() { fs::remove_all(path); }
    } remove{made};
    EXPECT_EQ(RunEngine("console\nsyzygy\nturn\n", dir.path).status, 1);

    const std::string right = "8/8/6K1/8/2k5/8/4p3/6N1 w - - 0 60,0,0\n";
    const std::string wrongDtz = "8/K7/8/8/6N1/6k1/8/1Q6 w - - 0 44,7,2\n";
    const std::string wrongWdl = "8/1R6/8/8/8/5K2/2k3p1/8 b - - 47 30,1,-2\n";
    const std::string badFen = "8/8/9/8/8/8/8/8 w - - 0 1,0,0\n";
    const std::string files[9] = {right + wrongDtz, wrongWdl, badFen};
    fs::create_directories(testDir);
    for (int i = 0; i < 9; ++i) std::ofstream(testDir / ("TestCase_0" + std::to_string(i + 1) + ".txt")) << files[i];
    const std::string out = RunEngine("console\nsetboard 8/1R6/8/8/8/5K2/2k3p1/8 b - - 47 30\nprobe\n"
                                      "setboard 8/8/3k4/8/8/3K4/8/QQQ5 w - - 0 1\nprobe\nsyzygy\nq\n", dir.path).out;
    EXPECT_NE(out.find("Legal moves:    "), std::string::npos);
    EXPECT_NE(out.find("\nEGTB position:  1  (1=true, 0=false)\nDTZ:            1\nWDL:            2\n"
                       "TBScore:        15000\n\nEGTB moves:     1\nMove: g2g1q   DTZ: 1\n"), std::string::npos) << out;
    EXPECT_NE(out.find("EGTB position:  0  (1=true, 0=false)\nDTZ:            0\nWDL:            0\nTBScore:        0\n"
                       "\nEGTB moves:     "), std::string::npos) << out;
    // The screen is cleared before the path: by the terminal's sequence, or on Windows by the shell.
#ifdef _WIN32
    const std::string clear = "";
#else
    const std::string clear = "\x1b[2J\x1b[H";
#endif
    EXPECT_NE(out.find(clear + TABLEBASE_TEST_DIRECTORY + "/TestCase_01.txt\n"), std::string::npos) << out;
    EXPECT_NE(out.find("TestCase_09.txt\n\nSyzygy Test ended.\n"), std::string::npos);
    EXPECT_EQ(ReadFile(testDir / "ErrorDTZ.txt"), wrongDtz);
    EXPECT_EQ(ReadFile(testDir / "ErrorWDL.txt"), wrongWdl);
    EXPECT_EQ(ReadFile(testDir / "BadFEN.txt"), badFen);
}
