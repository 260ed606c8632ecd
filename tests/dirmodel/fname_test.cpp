// Name translation in the three modes, and results kept per thread.
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "dirmodel/fname.h"
#include "dirmodel/fs_query.h"
#include "tmpdir.h"

namespace {

struct FnameTest : ::testing::Test {
    void TearDown() override { fname_setup(0, nullptr); }
};

TEST_F(FnameTest, DecodeTable)
{
    struct Case {
        uint32_t mode;
        const char* charset;
        const char* name;
        const char* want;
        int count;
        bool same_pointer;
    } cases[] = {
        {0, nullptr, "caf\xE9", "?caf?", 1, false},
        {0, nullptr, "caf\xC3\xA9", "caf\xC3\xA9", 0, true},
        {0, nullptr, "\xC0\xAF" "x", "???x", 2, false},       // overlong form of "/"
        {0, nullptr, "\xED\xA0\x80", "????", 3, false},       // a surrogate
        {0, "ISO-8859-1", "caf\xE9", "?caf?", 1, false},      // the set is unused in this mode
        {FNAME_UTF8_ALTERNATE, "ISO-8859-1", "caf\xC3\xA9", "caf\xC3\xA9", 0, true},
        {FNAME_UTF8_ALTERNATE, "ISO-8859-1", "caf\xE9", "caf\xC3\xA9", 0, false},
        {FNAME_UTF8_ALTERNATE, nullptr, "caf\xE9", "caf\xE9", 0, true},
        {FNAME_ALTERNATE, "ISO-8859-1", "caf\xC3\xA9", "caf\xC3\x83\xC2\xA9", 0, false},
        {FNAME_ALTERNATE, "ASCII", "caf\xE9", "?caf?", 1, false},
        {FNAME_ALTERNATE, nullptr, "caf\xE9", "caf\xE9", 0, true},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(fname_setup(c.mode, c.charset), 0);
        int count = -1;
        const char* got = fname_decode(c.name, &count);
        EXPECT_STREQ(got, c.want) << c.mode << " " << c.name;
        EXPECT_EQ(count, c.count) << c.mode << " " << c.name;
        EXPECT_EQ(got == c.name, c.same_pointer) << c.mode << " " << c.name;
    }
}

TEST_F(FnameTest, EncodeOnlyInAlternateMode)
{
    const char* text = "caf\xC3\xA9";
    ASSERT_EQ(fname_setup(FNAME_UTF8_ALTERNATE, "ISO-8859-1"), 0);
    EXPECT_EQ(fname_encode(text), text);
    ASSERT_EQ(fname_setup(FNAME_ALTERNATE, "ISO-8859-1"), 0);
    EXPECT_STREQ(fname_encode(text), "caf\xE9");
    EXPECT_EQ(fname_encode("\xE2\x82\xAC"), nullptr);  // the euro sign has no Latin-1 byte
    EXPECT_EQ(fname_encode("bad\xFF"), nullptr);
    EXPECT_EQ(fname_setup(FNAME_ALTERNATE, "NO-SUCH-SET"), -1);
    EXPECT_EQ(fname_encode(text), text);
}

TEST_F(FnameTest, LongNamesAreCutAndResultsArePerThread)
{
    std::string name(1100, 'a');
    name[0] = '\xE9';
    const char* got = fname_decode(name.c_str());
    EXPECT_EQ(std::strlen(got), 1023u);
    EXPECT_EQ(std::string(got, 3), "??a");

    const char* mine = fname_decode("mine\xE9");
    std::string theirs;
    std::thread([&] { theirs = fname_decode("theirs\xE9"); }).join();
    EXPECT_STREQ(mine, "?mine?");
    EXPECT_EQ(theirs, "?theirs?");
    EXPECT_FALSE(fname_charsets().empty());
}

// A rename's bytes: callers pass the typed text as a temporary, so the result must not
// point into it once the call returns (names of 16 bytes and more live on the heap).
TEST_F(FnameTest, MergeEditOutlivesItsArguments)
{
    struct Case {
        uint32_t mode;
        const char* old_name;
        const char* typed;
        const char* want;
    } cases[] = {
        {0, "my new file.txt", "renamed file.txt", "renamed file.txt"},
        {0, "caf\xE9 and a long tail.txt", "?caf? and a longer tail.txt",
         "caf\xE9 and a longer tail.txt"},
        {0, "caf\xE9 and a long tail.txt", "renamed completely, long enough.txt",
         "renamed completely, long enough.txt"},
        {FNAME_ALTERNATE, "caf\xE9 and a long tail.txt", "caf\xC3\xA9 and another long tail",
         "caf\xE9 and another long tail"},
    };
    for (const auto& c : cases) {
        ASSERT_EQ(fname_setup(c.mode, "ISO-8859-1"), 0);
        const std::string shown = fname_decode(c.old_name);
        const char* got = fname_merge_edit(c.old_name, shown, std::string(c.typed));
        const std::string reuse(std::strlen(c.typed), '#');  // takes the freed block back
        ASSERT_NE(got, nullptr) << c.typed;
        EXPECT_STREQ(got, c.want) << c.typed << reuse.size();
    }
}

}  // namespace
