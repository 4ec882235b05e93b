#include "book/book.h"
#include "settings/settings.h"
#include "support.h"

namespace {


// A Polyglot move field from coordinate text such as "e7e8q".
uint16_t MoveField(const std::string& text) {
    int promotion = 0;
    if (text.size() > 4) promotion = int(std::string(" nbrq").find(text[4]));
    return uint16_t((text[2] - 'a') | (text[3] - '1') << 3 | (text[0] - 'a') << 6 | (text[1] - '1') << 9 |
                    promotion << 12);
}

// Writes a book file of the given entries in the big-endian layout of the format.
fs::path WriteBook(const std::string& name, const std::vector<BookEntry>& entries) {
    static const ScratchDir dir("books");
    std::ofstream out(dir.path / name, std::ios::binary);
    for (const BookEntry& e : entries) {
        unsigned char bytes[16];
        for (int i = 0; i < 8; ++i) bytes[i] = (unsigned char)(e.key >> (56 - 8 * i));
        bytes[8] = (unsigned char)(e.move >> 8), bytes[9] = (unsigned char)e.move;
        bytes[10] = (unsigned char)(e.weight >> 8), bytes[11] = (unsigned char)e.weight;
        for (int i = 0; i < 4; ++i) bytes[12 + i] = (unsigned char)(e.learn >> (24 - 8 * i));
        out.write(reinterpret_cast<const char*>(bytes), 16);
    }
    return dir.path / name;
}

std::string ListOutput(const fs::path& book, const char* fen, int* result = nullptr) {
    return Printed([&] {
        const int r = BookList(book.string().c_str(), fen);
        if (result) *result = r;
    });
}

// Pulls the text of a JSON string field from one line of book.jsonl (its values hold no escapes).
std::string JsonString(const std::string& line, const std::string& field) {
    auto at = line.find("\"" + field + "\": \"");
    if (at == std::string::npos) return "";
    at += field.size() + 5;
    return line.substr(at, line.find('"', at) - at);
}

// The listing a line of book.jsonl expects: its "lines" array, an entry a line.
std::string JsonListing(const std::string& line) {
    std::string listing;
    const size_t end = line.find(']', line.find("\"lines\": ["));
    for (size_t at = line.find('"', line.find("\"lines\": [") + 10); at < end; at = line.find('"', line.find('"', at + 1) + 1))
        listing += line.substr(at + 1, line.find('"', at + 1) - at - 1) + "\n";
    return listing;
}

}  // namespace

// Published keys of the format; the reference listings below check many more.
TEST(BookKey, EnPassantCountsOnlyWithACapturerBesideTheFileOnItsFifthRank) {
    EXPECT_EQ(Random64[780], 0xF8D626AAAF278509ull);
    EXPECT_EQ(BookKey("rnbqkbnr/pppppppp/8/8/4P3/8/PPPP1PPP/RNBQKBNR b KQkq e3 0 1"), 0x823C9B50FD114196ull);
    EXPECT_EQ(BookKey("rnbqkbnr/ppp1p1pp/8/3pPp2/8/8/PPPP1PPP/RNBQKBNR w KQkq f6 0 3"), 0x22A48B5A8E47FF78ull);
    const auto epEntry = [](const char* withEp, const char* without) { return BookKey(withEp) ^ BookKey(without); };
    // Files a and h have one neighbour; a pawn across the board edge must not count.
    EXPECT_EQ(epEntry("4k3/8/8/p7/7P/8/8/4K3 w - a6 0 1", "4k3/8/8/p7/7P/8/8/4K3 w - - 0 1"), 0u);
    EXPECT_EQ(epEntry("4k3/8/8/8/6Pp/8/8/4K3 b - g3 0 1", "4k3/8/8/8/6Pp/8/8/4K3 b - - 0 1"), Random64[772 + 6]);
    // Two capturers XOR the entry once; the rank digit of the field is not read.
    EXPECT_EQ(epEntry("4k3/8/8/2PpP3/8/8/8/4K3 w - d3 0 1", "4k3/8/8/2PpP3/8/8/8/4K3 w - - 0 1"), Random64[772 + 3]);
    // The capturer must be of the side to move and on its fifth rank.
    EXPECT_EQ(epEntry("4k3/8/8/8/2pP4/8/8/4K3 w - d3 0 1", "4k3/8/8/8/2pP4/8/8/4K3 w - - 0 1"), 0u);
}

TEST(BookMoveText, CastlingRewriteAndPromotion) {
    char text[6];
    const char* const cases[][2] = {
        {"e1h1", "e1g1"}, {"e1a1", "e1c1"}, {"e8h8", "e8g8"}, {"e8a8", "e8c8"},
        {"h1e1", "h1e1"}, {"e7e8q", "e7e8q"}, {"a2a1n", "a2a1n"}};
    for (const auto& c : cases) {
        BookMoveText(text, MoveField(c[0]));
        EXPECT_STREQ(text, c[1]) << c[0];
    }
}

TEST(BookLookup, SearchEdgesAndEntryLimit) {
    const uint64_t key = BookKey(START);

    // The key at index 0: the search must reach the first entry. Weights give shares in file order.
    auto first = WriteBook("first", {{key, MoveField("e2e4"), 2, 0}, {key, MoveField("d2d4"), 1, 7},
                                     {key, MoveField("g1f3"), 1, 0}, {key + 1, MoveField("a2a3"), 9, 0},
                                     {key + 5, MoveField("b2b3"), 9, 0}});
    int result = -1;
    EXPECT_EQ(ListOutput(first, START, &result),
              "move=e2e4 weight=50.00%\nmove=d2d4 weight=25.00%\nmove=g1f3 weight=25.00%\n");
    EXPECT_EQ(result, 0);

    // A key above every key in the file is absent.
    auto below = WriteBook("below", {{1, 1, 1, 0}, {2, 1, 1, 0}, {key - 1, MoveField("a2a3"), 1, 0}});
    EXPECT_EQ(ListOutput(below, START, &result), std::to_string(key) + ": No such key\n");
    EXPECT_EQ(result, 1);

    // The key as the last entry, after a long run of smaller keys, and a run spanning many probes.
    std::vector<BookEntry> many;
    for (int i = 0; i < 1000; ++i) many.push_back({uint64_t(i), 0, 1, 0});
    for (int i = 0; i < 37; ++i) many.push_back({key, MoveField(i % 2 ? "e2e4" : "d2d4"), 1, 0});
    std::string listed = ListOutput(WriteBook("last", many), START);
    EXPECT_EQ(std::count(listed.begin(), listed.end(), '\n'), 37);
    EXPECT_EQ(listed.substr(0, 23), "move=d2d4 weight= 2.70%");

    // Exactly 100 entries are all listed; a 101st fails, in the listing and in the choice.
    std::vector<BookEntry> hundred(100, BookEntry{key, MoveField("e2e4"), 0, 0});
    hundred.push_back({key + 1, MoveField("a2a3"), 1, 0});
    listed = ListOutput(WriteBook("hundred", hundred), START, &result);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(std::count(listed.begin(), listed.end(), '\n'), 100);
    hundred.insert(hundred.begin(), BookEntry{key, MoveField("d2d4"), 1, 0});
    auto overfull = WriteBook("overfull", hundred);
    EXPECT_EQ(ListOutput(overfull, START, &result), "Too many moves in this position (max=100)\n");
    EXPECT_EQ(result, 1);
    char move[6] = "";
    testing::internal::CaptureStdout();
    EXPECT_EQ(BookPick(overfull.string().c_str(), move, START), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "#DEBUG: Too many moves in this position (max=100)\n");
}

TEST(BookPick, FirstEntryOrAnEntryOfTheKey) {
    const uint64_t key = BookKey(START);
    auto book = WriteBook("pick", {{key - 3, MoveField("h2h3"), 50, 0}, {key, MoveField("e2e4"), 0, 0},
                                   {key, MoveField("e1h1"), 0, 0}, {key, MoveField("c2c4"), 900, 0},
                                   {key + 1, MoveField("a2a3"), 50, 0}});
    char move[6] = "";
    settings.randomBook = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(BookPick(book.string().c_str(), move, START), 0);
    EXPECT_STREQ(move, "e2e4");

    // Weights play no part in the random choice; every entry of the key can come out, no other.
    settings.randomBook = 1;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(BookPick(book.string().c_str(), move, START), 0);
        EXPECT_TRUE(std::set<std::string>({"e2e4", "e1g1", "c2c4"}).count(move)) << move << " is not a book move";
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(BookLookup, ShortAndMissingFiles) {
    const uint64_t key = BookKey(START);
    auto empty = WriteBook("empty", {});
    { std::ofstream(empty, std::ios::binary) << "0123456789"; }  // shorter than one entry
    int result = 0;
    EXPECT_EQ(ListOutput(empty, START, &result), std::to_string(key) + ": No such key\n");
    EXPECT_EQ(result, 1);
    char move[6] = "";
    testing::internal::CaptureStdout();
    EXPECT_EQ(BookPick(empty.string().c_str(), move, START), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    // The system's report on standard error, nothing on standard output.
    const std::string missing = (fs::temp_directory_path() / "ferrolune_no_such_book.bin").string();
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(BookList(missing.c_str(), START), 1);
    EXPECT_EQ(BookPick(missing.c_str(), move, START), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    std::string report = missing + ": No such file or directory\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), report + report);
}

TEST(BookLookup, RealBookListingsMatch) {
    REQUIRE_SHARED_FILE(book, "books/performance.bin");
    REQUIRE_SHARED_FILE(cases, "testdata/book.jsonl");
    std::ifstream in(cases);
    int checked = 0;
    for (std::string line; std::getline(in, line);) {
        std::string fen = JsonString(line, "fen");
        EXPECT_EQ(BookKey(fen.c_str()), std::stoull(JsonString(line, "key"), nullptr, 16)) << fen;
        EXPECT_EQ(ListOutput(book, fen.c_str()), JsonListing(line)) << fen;
        ++checked;
    }
    EXPECT_GT(checked, 0);
}
