// History lists: the ring, the files, the five lists, lookups.
#include <gtest/gtest.h>

#include <algorithm>

#include "filebytes.h"
#include "shell/cl_history.h"
#include "tmpdir.h"

namespace {
using Names = std::vector<std::string>;

ClHistory filled(std::initializer_list<const char*> oldest_first)
{
    ClHistory l;
    for (const char* s : oldest_first)
        cl_add(l, s);
    return l;
}
}  // namespace

// Most recent first, a repeat moves to the front (the front itself changes
// nothing), at most 20 entries.
TEST(ClHistoryRing, AddLookupBoundsAndDestroy)
{
    ClHistory l = filled({"a", "b", "c"});
    l.clear_changed();
    cl_add(l, "c");
    EXPECT_FALSE(l.changed());
    cl_add(l, "a");
    EXPECT_TRUE(l.changed());
    EXPECT_EQ(l.entries(), (Names{"a", "c", "b"}));

    ClHistory many;
    for (int i = 1; i <= 21; ++i)
        cl_add(many, "e" + std::to_string(i));
    EXPECT_EQ(many.count, 20);
    EXPECT_STREQ(cl_get(many, 1), "e21");
    EXPECT_STREQ(cl_get(many, 20), "e2");
    EXPECT_EQ(cl_get(many, 21), nullptr);
    cl_destroy(many);
    EXPECT_EQ(cl_get(many, 1), nullptr);
}

TEST(ClHistoryFile, SaveReadRoundTrip)
{
    TmpDir dir;
    ClHistory l;
    for (int i = 1; i <= 21; ++i)
        cl_add(l, "/dir/" + std::to_string(i));
    cl_add(l, "/dir/5");  // a move across the wrapped ring before saving
    ASSERT_EQ(cl_save(l, dir.path().c_str(), "goto.001"), 0);
    std::string expect = "/dir/5\n";
    for (int i = 21; i >= 2; --i)
        if (i != 5)
            expect += "/dir/" + std::to_string(i) + "\n";
    EXPECT_EQ(slurp(dir / "goto.001"), expect);

    // A trailing slash on the directory does not double.
    ClHistory back = cl_read((dir.path() + "/").c_str(), "goto.001");
    EXPECT_EQ(back.entries(), l.entries());
    EXPECT_EQ(cl_save(l, (dir / "no/such").c_str(), "h"), -1);
}

TEST(ClHistoryFile, ReadLimits)
{
    TmpDir dir;
    std::string text;
    for (int i = 1; i <= 25; ++i)
        text += "line" + std::to_string(i) + "\n";
    spit(dir / "h", text);
    ClHistory l = cl_read(dir.path().c_str(), "h");
    ASSERT_EQ(l.count, 20);
    EXPECT_STREQ(cl_get(l, 1), "line1");
    EXPECT_STREQ(cl_get(l, 20), "line20");

    // An over-long line is split; the last line may lack its newline; blanks are kept.
    spit(dir / "long", std::string(CL_LINE_MAX + 5, 'x') + "\n a b \nlast");
    l = cl_read(dir.path().c_str(), "long");
    EXPECT_EQ(l.entries(), (Names{std::string(CL_LINE_MAX, 'x'), "xxxxx", " a b ", "last"}));
    EXPECT_EQ(cl_read(dir.path().c_str(), "missing").count, 0);
}

TEST(ClBoxes, ReadSaveAndTheReadOnlyLists)
{
    TmpDir dir;
    spit(dir / "goto.001", "/usr\n/etc\n");
    spit(dir / "with.001", "keep me\r\nas is\n");
    spit(dir / "copy.001", "c1\n");

    ClBoxes b;
    init_read_cboxs(b, dir.path().c_str());
    EXPECT_EQ(b.path.entries(), (Names{"/usr", "/etc"}));
    EXPECT_EQ(b.fspec.entries(), Names{"*"});  // missing fspec.001
    EXPECT_EQ(b.with.entries(), (Names{"keep me\r", "as is"}));

    cl_add(b.path, "/tmp");
    cl_add(b.pattern, "*.c");
    cl_add(b.with, "changed");
    cl_add(b.copy, "changed");
    init_save_cboxs(b, dir.path().c_str());
    EXPECT_EQ(slurp(dir / "goto.001"), "/tmp\n/usr\n/etc\n");
    EXPECT_EQ(slurp(dir / "fspec.001"), "*\n");
    EXPECT_EQ(slurp(dir / "pattern.001"), "*.c\n");
    EXPECT_EQ(slurp(dir / "with.001"), "keep me\r\nas is\n");
    EXPECT_EQ(slurp(dir / "copy.001"), "c1\n");
}

TEST(ClLookup, WebAddressAndFindPattern)
{
    const std::pair<const char*, const char*> web[] = {
        {"http://x.org", "x.org"}, {"ftp://h/p", "h/p"}, {"gopher://g", "g"}, {"file:///tmp", "/tmp"},
        {"https://x", nullptr}};
    for (const auto& [in, want] : web)
        EXPECT_EQ(cl_is_web_address(in) ? std::string(cl_is_web_address(in)) : "(none)",
                  want ? want : "(none)") << in;

    ClHistory l = filled({"abcdef", "/usr/local/bin", "ftp://web1", "abc2"});
    const std::pair<const char*, const char*> finds[] = {
        {"http://abcd", "abcdef"}, {"/usr/lo", "/usr/local/bin"}, {"/usr/lx", nullptr},
        {"http://web", "web1"},    {"web", "web1"},              {"abc", "abc2"}};  // most recent wins
    for (const auto& [pattern, want] : finds) {
        const char* got = cl_find_pattern(l, pattern);
        EXPECT_EQ(got ? std::string(got) : "(none)", want ? want : "(none)") << pattern;
    }
}
