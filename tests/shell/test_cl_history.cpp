// History lists: the ring against a plain model, the files, the five lists, lookups.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <fstream>
#include <random>
#include <sstream>

#include "shell/cl_history.h"
#include "tmpdir.h"

namespace {

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void spill(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

ClHistory filled(std::initializer_list<const char*> oldest_first)
{
    ClHistory l;
    for (const char* s : oldest_first)
        cl_add(l, s);
    return l;
}

}  // namespace

TEST(ClHistoryRing, MatchesDequeModelUnderRandomAdds)
{
    std::mt19937 rng(20240611);
    for (int round = 0; round < 200; ++round) {
        ClHistory l;
        std::deque<std::string> model;
        // Few distinct words so moves to the front (wrapped and not) happen often.
        const int words = 5 + round % 30;
        for (int step = 0; step < 120; ++step) {
            std::string w = "w" + std::to_string(rng() % words);
            l.clear_changed();
            const bool was_front = !model.empty() && model.front() == w;
            cl_add(l, w);

            auto it = std::find(model.begin(), model.end(), w);
            if (it != model.end())
                model.erase(it);
            model.push_front(w);
            if (model.size() > CL_MAX)
                model.pop_back();

            ASSERT_EQ(l.entries(), std::vector<std::string>(model.begin(), model.end()))
                << "round " << round << " step " << step << " added " << w;
            ASSERT_EQ(l.changed(), !was_front);
            ASSERT_EQ(l.count, static_cast<int>(model.size()));
            ASSERT_GE(l.head, 0);
            ASSERT_LT(l.head, CL_MAX);
        }
    }
}

TEST(ClHistoryRing, AddRules)
{
    ClHistory l = filled({"a", "b", "c"});
    EXPECT_EQ(l.entries(), (std::vector<std::string>{"c", "b", "a"}));

    l.clear_changed();
    cl_add(l, "c");
    EXPECT_FALSE(l.changed());
    EXPECT_EQ(l.entries(), (std::vector<std::string>{"c", "b", "a"}));

    cl_add(l, "a");  // the third most recent moves up; the others keep their order
    EXPECT_TRUE(l.changed());
    EXPECT_EQ(l.entries(), (std::vector<std::string>{"a", "c", "b"}));

    cl_add(l, "A");  // case matters
    EXPECT_EQ(l.count, 4);

    ClHistory many;
    for (int i = 1; i <= 21; ++i)
        cl_add(many, "e" + std::to_string(i));
    EXPECT_EQ(many.count, 20);
    EXPECT_STREQ(cl_get(many, 1), "e21");
    EXPECT_STREQ(cl_get(many, 20), "e2");
    EXPECT_EQ(cl_get(many, 21), nullptr);
    EXPECT_EQ(cl_get(many, 0), nullptr);
    EXPECT_EQ(cl_get(ClHistory{}, 1), nullptr);

    cl_destroy(many);
    EXPECT_EQ(many.count, 0);
    EXPECT_EQ(cl_get(many, 1), nullptr);
    cl_add(many, "again");
    EXPECT_STREQ(cl_get(many, 1), "again");
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
    EXPECT_EQ(back.head, 0);
    EXPECT_TRUE(back.changed());
}

TEST(ClHistoryFile, ReadLimits)
{
    TmpDir dir;
    std::string text;
    for (int i = 1; i <= 25; ++i)
        text += "line" + std::to_string(i) + "\n";
    spill(dir / "h", text);
    ClHistory l = cl_read(dir.path().c_str(), "h");
    ASSERT_EQ(l.count, 20);
    EXPECT_STREQ(cl_get(l, 1), "line1");
    EXPECT_STREQ(cl_get(l, 20), "line20");

    // An over-long line is split; the last line may lack its newline; blanks are kept.
    const std::string longline(CL_LINE_MAX + 5, 'x');
    spill(dir / "long", longline + "\n a b \nlast");
    l = cl_read(dir.path().c_str(), "long");
    ASSERT_EQ(l.count, 4);
    EXPECT_EQ(std::string(cl_get(l, 1)), std::string(CL_LINE_MAX, 'x'));
    EXPECT_STREQ(cl_get(l, 2), "xxxxx");
    EXPECT_STREQ(cl_get(l, 3), " a b ");
    EXPECT_STREQ(cl_get(l, 4), "last");

    EXPECT_EQ(cl_read(dir.path().c_str(), "missing").count, 0);
    EXPECT_TRUE(cl_read(dir.path().c_str(), "missing").changed());
    EXPECT_EQ(cl_read(nullptr, "h").count, 0);
    EXPECT_EQ(cl_read(dir.path().c_str(), nullptr).count, 0);
}

TEST(ClHistoryFile, SaveFailsQuietly)
{
    TmpDir dir;
    ClHistory l = filled({"x"});
    EXPECT_EQ(cl_save(l, (dir / "no/such").c_str(), "h"), -1);
    EXPECT_EQ(cl_save(l, nullptr, "h"), -1);
    EXPECT_EQ(cl_save(ClHistory{}, dir.path().c_str(), "empty"), 0);
    EXPECT_EQ(slurp(dir / "empty"), "");
}

TEST(ClBoxes, ReadSaveAndTheReadOnlyLists)
{
    TmpDir dir;
    spill(dir / "goto.001", "/usr\n/etc\n");
    spill(dir / "with.001", "keep me\r\nas is\n");
    spill(dir / "copy.001", "c1\n");

    ClBoxes b;
    init_read_cboxs(b, dir.path().c_str());
    EXPECT_EQ(b.path.entries(), (std::vector<std::string>{"/usr", "/etc"}));
    EXPECT_EQ(b.spec.entries(), std::vector<std::string>{"*"});  // missing fspec.001
    EXPECT_EQ(b.pattern.count, 0);
    EXPECT_EQ(b.with.entries(), (std::vector<std::string>{"keep me\r", "as is"}));
    EXPECT_EQ(b.copy.entries(), std::vector<std::string>{"c1"});

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

    init_destroy_cboxs(b);
    EXPECT_EQ(b.path.count + b.spec.count + b.pattern.count + b.with.count + b.copy.count, 0);

    // A filter file with entries gets no "*".
    spill(dir / "fspec.001", "*.txt\n");
    init_read_cboxs(b, dir.path().c_str());
    EXPECT_EQ(b.spec.entries(), std::vector<std::string>{"*.txt"});
}

TEST(ClLookup, WebAddressAndFindPattern)
{
    EXPECT_STREQ(cl_is_web_address("http://x.org"), "x.org");
    EXPECT_STREQ(cl_is_web_address("ftp://h/p"), "h/p");
    EXPECT_STREQ(cl_is_web_address("gopher://g"), "g");
    EXPECT_STREQ(cl_is_web_address("file:///tmp"), "/tmp");
    EXPECT_EQ(cl_is_web_address("HTTP://x"), nullptr);
    EXPECT_EQ(cl_is_web_address("https://x"), nullptr);
    EXPECT_EQ(cl_is_web_address("/usr"), nullptr);
    EXPECT_EQ(cl_is_web_address(nullptr), nullptr);

    ClHistory l = filled({"abcdef", "/usr/local/bin", "xyz"});
    EXPECT_STREQ(cl_find_pattern(l, "http://abc"), "abcdef");
    EXPECT_STREQ(cl_find_pattern(l, "/usr/lo"), "/usr/local/bin");
    EXPECT_EQ(cl_find_pattern(l, "/usr/lx"), nullptr);
    EXPECT_EQ(cl_find_pattern(l, nullptr), nullptr);

    ClHistory web = filled({"ftp://abcdef"});
    EXPECT_STREQ(cl_find_pattern(web, "http://abc"), "abcdef");
    EXPECT_STREQ(cl_find_pattern(web, "abc"), "abcdef");

    ClHistory several = filled({"abc1", "abc2", "zzz"});
    EXPECT_STREQ(cl_find_pattern(several, "abc"), "abc2");  // the most recent wins
}
