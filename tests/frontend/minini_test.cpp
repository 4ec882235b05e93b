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

TEST(IniReader, SectionsKeysValuesAndLongLines) {
    IniFile f("top=before any header\n  [engine]  \nmaxdepth = 12\nBoth: colon = equals wins\n\t Spaced Key \t= spaced\n"
              "; Hidden=comment\nno separator here\nDup=first\nDup=second\n[ TIME ]\nSuddenDeath=30\n[OTHER]\n"
              "Late=in other\n[ENGINE]\nLate=after second engine header\n"
              "[BOOK]\nBookFile = \"my book.bin\" ; the file\nPlain = a;b\nQuoted = \"a;b\"\nHash = value # trailing\n"
              "EmptyComment = ; nothing\nEscaped = \"say \\\"hi\\\" and \"\"bye\"\"\"\nInner = x\"y;z\"w ; done\n"
              "Lone = \"\nCrlf = windows\r\n"
              // Lines are read 511 characters at a time; what follows is a line of its own, even a header.
              "[S]\n" + std::string(511, 'z') + "k=tail\n[T]\nfirst=" + std::string(505, 'v') + "[Y]\nk=y\n");
    const char* const cases[][3] = {
        {"ENGINE", "MaxDepth", "12"}, {"ENGINE", "Both: colon", "equals wins"}, {"ENGINE", "Spaced Key", "spaced"},
        {"ENGINE", "Hidden", "<default>"}, {"ENGINE", "Dup", "first"}, {"ENGINE", "Max", "<default>"},
        // Only the first header of a name is searched, and a header ends the section; a header with inner
        // blanks is another name.
        {"ENGINE", "Late", "<default>"}, {"TIME", "SuddenDeath", "<default>"}, {" TIME ", "SuddenDeath", "30"},
        {"OTHER", "SuddenDeath", "<default>"}, {"MISSING", "top", "<default>"},
        {"BOOK", "BookFile", "my book.bin"}, {"BOOK", "Plain", "a"}, {"BOOK", "Quoted", "a;b"}, {"BOOK", "Hash", "value"},
        {"BOOK", "EmptyComment", ""}, {"BOOK", "Escaped", "say \"hi\" and \"bye\""}, {"BOOK", "Inner", "x\"y;z\"w"},
        {"BOOK", "Lone", "\""}, {"BOOK", "Crlf", "windows"}, {"S", "k", "tail"}, {"Y", "k", "y"}};
    for (const auto& c : cases) EXPECT_EQ(f.Get(c[0], c[1]), c[2]) << c[0] << " " << c[1];
    EXPECT_EQ(f.Get("T", "first", "", 512), std::string(505, 'v'));
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

    const struct {
        const char* key;
        long fallback, expected;
    } longs[] = {{"hex", 0, 256}, {"hexneg", 5, 0}, {"big", 0, INT32_MAX}, {"partial", 0, -7}, {"k", 9, 0},
                 {"empty", 9, 9}, {"quotedNum", 0, 12}};
    for (const auto& c : longs) EXPECT_EQ(IniGetLong("N", c.key, c.fallback, f.name()), c.expected) << c.key;
    // Only the first letter of a boolean counts; anything else gives the default.
    const struct {
        const char* key;
        int fallback, expected;
    } bools[] = {{"t", 0, 1}, {"n", 1, 0}, {"zero", 1, 0}, {"maybe", 1, 1}, {"maybe", 0, 0}, {"missing", 1, 1}};
    for (const auto& c : bools) EXPECT_EQ(IniGetBool("B", c.key, c.fallback, f.name()), c.expected) << c.key;
}
