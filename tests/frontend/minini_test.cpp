#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "frontend/minIni.h"
#include "support.h"

namespace {

// The text in a file of its own, removed again at the end of the test.
struct IniFile {
    ScratchDir dir{"ini"};
    std::string path;
    explicit IniFile(const std::string& text) : path(dir.Write("test.ini", text).string()) {}
    const char* name() const { return path.c_str(); }
    std::string Get(const char* section, const char* key, const char* def = "<default>", int size = 256) const {
        char buf[512];
        IniGetString(section, key, def, buf, size, name());
        return buf;
    }
};

}  // namespace

TEST(IniReader, SectionAndKeyMatching) {
    IniFile f(
        "top=before any header\n"
        "  [engine]  \n"
        "maxdepth = 12\n"
        "Both: colon = equals wins\n"
        "\t Spaced Key \t= spaced\n"
        "; Hidden=comment\n"
        "no separator here\n"
        "Dup=first\n"
        "Dup=second\n"
        "[ TIME ]\n"
        "SuddenDeath=30\n"
        "[OTHER]\n"
        "Late=in other\n"
        "[ENGINE]\n"
        "Late=after second engine header\n");
    EXPECT_EQ(f.Get("ENGINE", "MaxDepth"), "12");
    EXPECT_EQ(f.Get("ENGINE", "Both: colon"), "equals wins");
    EXPECT_EQ(f.Get("ENGINE", "Spaced Key"), "spaced");
    EXPECT_EQ(f.Get("ENGINE", "Hidden"), "<default>");
    EXPECT_EQ(f.Get("ENGINE", "Dup"), "first");
    EXPECT_EQ(f.Get("ENGINE", "Max"), "<default>");
    // Only the first header of a name is searched; a header with inner blanks is another name.
    EXPECT_EQ(f.Get("ENGINE", "Late"), "<default>");
    EXPECT_EQ(f.Get("TIME", "SuddenDeath"), "<default>");
    EXPECT_EQ(f.Get(" TIME ", "SuddenDeath"), "30");
    // A header ends the section; the key is not looked for beyond it.
    EXPECT_EQ(f.Get("OTHER", "SuddenDeath"), "<default>");
    EXPECT_EQ(f.Get("MISSING", "top"), "<default>");
}

TEST(IniReader, ValuesQuotesAndComments) {
    IniFile f(
        "[BOOK]\n"
        "BookFile = \"my book.bin\" ; the file\n"
        "Plain = a;b\n"
        "Quoted = \"a;b\"\n"
        "Hash = value # trailing\n"
        "EmptyComment = ; nothing\n"
        "Escaped = \"say \\\"hi\\\" and \"\"bye\"\"\"\n"
        "Inner = x\"y;z\"w ; done\n"
        "Lone = \"\n"
        "Crlf = windows\r\n");
    EXPECT_EQ(f.Get("BOOK", "BookFile"), "my book.bin");
    EXPECT_EQ(f.Get("BOOK", "Plain"), "a");
    EXPECT_EQ(f.Get("BOOK", "Quoted"), "a;b");
    EXPECT_EQ(f.Get("BOOK", "Hash"), "value");
    EXPECT_EQ(f.Get("BOOK", "EmptyComment"), "");
    EXPECT_EQ(f.Get("BOOK", "Escaped"), "say \"hi\" and \"bye\"");
    EXPECT_EQ(f.Get("BOOK", "Inner"), "x\"y;z\"w");
    EXPECT_EQ(f.Get("BOOK", "Lone"), "\"");
    EXPECT_EQ(f.Get("BOOK", "Crlf"), "windows");
    // Values and defaults are cut to the destination.
    EXPECT_EQ(f.Get("BOOK", "BookFile", "", 3), "my");
    EXPECT_EQ(f.Get("BOOK", "Nope", "abcdef", 4), "abc");
}

TEST(IniReader, BadArgumentsMissingFileNumbersAndBooleans) {
    IniFile f("[N]\nk=value\nhex=0x100\nhexneg=-0x10\nbig=99999999999\npartial=-7x\nempty=\nquotedNum=\"12\"\n"
              "[B]\nt=True\nn=no\nzero=0\nmaybe=maybe\n");
    char buf[8] = "keep";
    EXPECT_EQ(IniGetString("N", "k", "d", buf, 0, f.name()), 0);
    EXPECT_EQ(IniGetString("N", nullptr, "d", buf, sizeof buf, f.name()), 0);
    EXPECT_STREQ(buf, "keep");
    EXPECT_EQ(IniGetString("N", "k", "d", nullptr, 8, f.name()), 0);
    EXPECT_EQ(IniGetString("N", "k", "d", buf, sizeof buf, f.name()), 5);
    EXPECT_EQ(IniGetString("N", "k", "dflt", buf, sizeof buf, "/nonexistent/dir/x.ini"), 4);
    EXPECT_STREQ(buf, "dflt");
    EXPECT_EQ(IniGetLong("N", "k", 42, "/nonexistent/dir/x.ini"), 42);

    EXPECT_EQ(IniGetLong("N", "hex", 0, f.name()), 256);
    EXPECT_EQ(IniGetLong("N", "hexneg", 5, f.name()), 0);
    EXPECT_EQ(IniGetLong("N", "big", 0, f.name()), INT32_MAX);
    EXPECT_EQ(IniGetLong("N", "partial", 0, f.name()), -7);
    EXPECT_EQ(IniGetLong("N", "k", 9, f.name()), 0);
    EXPECT_EQ(IniGetLong("N", "empty", 9, f.name()), 9);
    EXPECT_EQ(IniGetLong("N", "quotedNum", 0, f.name()), 12);
    EXPECT_EQ(IniGetBool("B", "t", 0, f.name()), 1);
    EXPECT_EQ(IniGetBool("B", "n", 1, f.name()), 0);
    EXPECT_EQ(IniGetBool("B", "zero", 1, f.name()), 0);
    EXPECT_EQ(IniGetBool("B", "maybe", 1, f.name()), 1);
    EXPECT_EQ(IniGetBool("B", "maybe", 0, f.name()), 0);
    EXPECT_EQ(IniGetBool("B", "missing", 1, f.name()), 1);
}

TEST(IniReader, LongLinesSplitIntoPieces) {
    // Lines are read 511 characters at a time; what follows is a line of its own, even a header.
    IniFile f("[S]\n" + std::string(511, 'z') + "k=tail\n" +
              "[T]\nfirst=" + std::string(505, 'v') + "[Y]\nk=y\n");
    EXPECT_EQ(f.Get("S", "k"), "tail");
    EXPECT_EQ(f.Get("T", "first", "", 512), std::string(505, 'v'));
    EXPECT_EQ(f.Get("Y", "k"), "y");
}
