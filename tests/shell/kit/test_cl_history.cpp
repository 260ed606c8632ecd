// History lists: the ring, the files, the five lists, lookups.
#include <gtest/gtest.h>

#include <algorithm>

#include "filebytes.h"
#include "shell/kit/cl_history.h"
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

TEST(ClBoxes, ReadSaveAndTheReadOnlyLists)
{
    TmpDir dir;
    spit(dir / "goto.001", "/usr\n/etc\n");
    spit(dir / "with.001", "keep me\r\nas is\n");
    spit(dir / "copy.001", "c1\n");
    // A line that fills the read buffer exactly is one entry; a longer one is split.
    const std::string fits(CL_LINE_MAX, 'f'), over(CL_LINE_MAX + 1, 'o');
    spit(dir / "pattern.001", fits + "\n" + over + "\n");

    ClBoxes b;
    init_read_cboxs(b, dir.path().c_str());
    EXPECT_EQ(b.path.entries(), (Names{"/usr", "/etc"}));
    EXPECT_EQ(b.fspec.entries(), Names{"*"});  // missing fspec.001
    EXPECT_EQ(b.with.entries(), (Names{"keep me\r", "as is"}));
    EXPECT_EQ(b.pattern.entries(), (Names{fits, over.substr(0, CL_LINE_MAX), "o"}));

    // Another instance saved first: its entries stay, this one's uses go on top.
    ClBoxes other;
    init_read_cboxs(other, dir.path().c_str());
    cl_add(other.path, "/other");
    cl_add(other.fspec, "*.c");
    init_save_cboxs(other, dir.path().c_str());
    cl_add(b.path, "/tmp");
    cl_add(b.pattern, "*.c");
    cl_add(b.with, "changed");
    cl_add(b.copy, "changed");
    init_save_cboxs(b, dir.path().c_str());
    EXPECT_EQ(slurp(dir / "goto.001"), "/tmp\n/other\n/usr\n/etc\n");
    EXPECT_EQ(slurp(dir / "fspec.001"), "*.c\n*\n");
    EXPECT_EQ(slurp(dir / "pattern.001"), "*.c\n" + fits + "\n" + over.substr(0, CL_LINE_MAX) + "\no\n");
    EXPECT_EQ(slurp(dir / "with.001"), "keep me\r\nas is\n");
    EXPECT_EQ(slurp(dir / "copy.001"), "c1\n");
}
