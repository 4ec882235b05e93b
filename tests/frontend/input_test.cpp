#include "frontend/input.h"
#include "support.h"

// One reader serves the mode line, the console pieces and the whole protocol lines: whatever one of them
// reads ahead, the next continues from it, whatever the sizes the source hands out.
TEST(LineReader, PiecesWholeLinesAndTheEndOfInput) {
    const std::string longLine = std::string(300, 'a') + std::string(1, '\0') + std::string(299, 'b');
    for (size_t chunk : {size_t(1), size_t(7), size_t(254), size_t(4096)}) {
        MemoryInput input("uci\n" + longLine + "\nisready\r\n" + std::string(50, 'c') + "\nstop\n\nlast", chunk);
        SetInputSource(&input);
        char piece[LINE_BUFFER];
        ASSERT_EQ(ReadInputLine(piece), 4u) << chunk;
        EXPECT_STREQ(piece, "uci\n");
        // 601 characters with the line feed: two full pieces and the rest.
        EXPECT_EQ(ReadInputLine(piece), 255u);
        EXPECT_EQ(std::string(piece, 255), longLine.substr(0, 255));
        EXPECT_EQ(ReadInputLine(piece), 255u);
        EXPECT_EQ(std::string(piece, 255), longLine.substr(255, 255));
        EXPECT_EQ(ReadInputLine(piece), 91u);
        EXPECT_EQ(std::string(piece, 91), longLine.substr(510) + "\n");

        std::string line;
        ASSERT_TRUE(ReadLongLine(line, 100));
        EXPECT_EQ(line, "isready\r");
        // Past the limit the rest of the line is dropped, not read as the next line.
        ASSERT_TRUE(ReadLongLine(line, 20));
        EXPECT_EQ(line, std::string(20, 'c'));
        ASSERT_TRUE(ReadLongLine(line, 100));
        EXPECT_EQ(line, "stop");
        ASSERT_TRUE(ReadLongLine(line, 100));
        EXPECT_EQ(line, "");
        // A last line without its line feed still counts; then the input stays ended.
        ASSERT_TRUE(ReadLongLine(line, 100));
        EXPECT_EQ(line, "last");
        EXPECT_FALSE(ReadLongLine(line, 100));
        EXPECT_EQ(ReadInputLine(piece), 0u);
        EXPECT_STREQ(piece, "");
    }

    // A new source starts clean: nothing read ahead from the old one is left over.
    MemoryInput first("one\ntwo\n"), second("three\n");
    SetInputSource(&first);
    std::string line;
    ASSERT_TRUE(ReadLongLine(line, 100));
    SetInputSource(&second);
    ASSERT_TRUE(ReadLongLine(line, 100));
    EXPECT_EQ(line, "three");
    SetInputSource(nullptr);
}
