// The association table: loading, the file format both ways, matching.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

#include "assoc/as_table.h"
#include "tmpdir.h"

namespace {

std::string slurp(const std::string& p)
{
    std::ifstream in(p, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::vector<std::string> rows(const AssocTable& t)
{
    return as_table_lines(t);
}

}  // namespace

TEST(AssocLoad, MissingFileGivesTheTenDefaultRowsAndWritesNothing)
{
    TmpDir dir;
    AssocLoadResult r = init_read_associations(dir.path().c_str(), "associate.003");
    EXPECT_EQ(r.status, AssocLoadStatus::Defaults);
    EXPECT_FALSE(r.fatal());
    EXPECT_EQ(rows(apat), (std::vector<std::string>{
        "*.[ch]\tscrib\tscrib -r\tscrib",
        "[Mm]akefile\tshellwin -z make -f @\tscrib\tscrib",
        "*.txt\tscrib\tscrib -r\tscrib",
        "*.core\tshellwin -z dumpinfo @\t\t",
        "^*.jpg|*.jpeg|*.gif|*.bmp\tglance\t\tglance",
        "^*.html|*.htm\trover -u file://$PWD/@\trover -u file://$PWD/@\t",
        "^*.rm|*.rm|*.ram|*.smi|*.smil\trealplay\trealplay\t",
        "^*.wav|*.aif|*.aiff\ttunes\ttunes\t",
        "^*.mpeg|*.mp[123agv]|*.au|*.iff\ttunes\ttunes\t",
        "^*.ttf|*.pfr|*.kef|*.ffs\tcp $PWD/@ /usr/kestrel/font\t\t",
    }));
    // Row 5 keeps its edit command without a view command, in memory order.
    EXPECT_EQ(apat[4].edit, "glance");
    EXPECT_EQ(apat[4].view, "");
    struct stat st;
    EXPECT_NE(::stat((dir / "associate.003").c_str(), &st), 0);
    EXPECT_EQ(as_table_path(), dir / "associate.003");
}

TEST(AssocLoad, FileFieldsCommentsAndFatalLines)
{
    TmpDir dir;
    const std::string p = dir / "associate.003";
    std::ofstream(p) << kAssocHeader;
    ASSERT_EQ(as_read_table(apat, p).status, AssocLoadStatus::File);
    EXPECT_EQ(apat.apat_ctr(), 0);

    // File order open, view, edit; missing trailing fields empty; a fifth dropped.
    std::ofstream(p) << kAssocHeader << "*.a\tscrib\n# note\n*.b\to\tv\te\tfifth\n*.c\t\t \t\n";
    ASSERT_EQ(as_read_table(apat, p).status, AssocLoadStatus::File);
    ASSERT_EQ(apat.apat_ctr(), 3);
    EXPECT_EQ(apat[0].open, "scrib");
    EXPECT_EQ(apat[0].view, "");
    EXPECT_EQ(apat[0].edit, "");
    EXPECT_EQ(apat[1].open, "o");
    EXPECT_EQ(apat[1].view, "v");
    EXPECT_EQ(apat[1].edit, "e");
    EXPECT_EQ(apat[2].view, " ");

    // Comment lines are not counted: the blank line is record 3.
    std::ofstream(p) << "# x\n*.a\tb\n#y\n*.c\td\n\n*.e\tf\n";
    AssocLoadResult r = as_read_table(apat, p);
    EXPECT_TRUE(r.fatal());
    EXPECT_EQ(r.message(), "Invalid association at line 3");
    EXPECT_EQ(apat.apat_ctr(), 0);
    std::ofstream(p) << "no tab here\n";
    EXPECT_EQ(as_read_table(apat, p).message(), "Invalid association at line 1");
}

TEST(AssocLoad, GrowsInStepsOfTenKeepingOrder)
{
    TmpDir dir;
    const std::string p = dir / "associate.003";
    std::ofstream out(p);
    out << kAssocHeader;
    for (int i = 0; i < 25; ++i)
        out << "p" << i << "\tcmd" << i << "\n";
    out.close();
    ASSERT_EQ(as_read_table(apat, p).status, AssocLoadStatus::File);
    ASSERT_EQ(apat.apat_ctr(), 25);
    EXPECT_EQ(apat.apat_max(), 30);
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(apat[i].pattern, "p" + std::to_string(i));
}

TEST(AssocFile, WriteReadRoundTripAndExactBytes)
{
    TmpDir dir;
    ASSERT_EQ(init_read_associations(dir.path().c_str(), "associate.003").status,
              AssocLoadStatus::Defaults);
    as_table_replace(apat, {"*.x\topen @\tview\tedit", "*.y\t\t\tonly edit"});
    ASSERT_EQ(as_save_associations(), 0);
    const std::string text = slurp(dir / "associate.003");
    EXPECT_EQ(std::strlen(kAssocHeader), 80u);
    EXPECT_EQ(text, std::string(kAssocHeader) + "*.x\topen @\tview\tedit\n*.y\t\t\tonly edit\n");
    EXPECT_EQ(text.find('\t'), std::string(kAssocHeader).size() + 3);  // no tab in line 1

    AssocTable back;
    ASSERT_EQ(as_read_table(back, dir / "associate.003").status, AssocLoadStatus::File);
    EXPECT_EQ(rows(back), rows(apat));
    EXPECT_EQ(back[1].edit, "only edit");

    EXPECT_EQ(as_write_table(apat, dir / "no/such/dir/file"), -1);
}

TEST(AssocSplit, FieldsAndBounds)
{
    const char* f[4];
    EXPECT_EQ(_split_str("a\tb", '\t', f, 4), 1);
    EXPECT_STREQ(f[0], "a");
    EXPECT_STREQ(f[1], "b");
    EXPECT_STREQ(f[2], "");
    EXPECT_STREQ(f[3], "");
    EXPECT_EQ(_split_str("a\tb\tc\td\te\tf", '\t', f, 4), 4);
    EXPECT_STREQ(f[3], "d");
    EXPECT_EQ(_split_str("x", '\t', f, 0), 0);

    // A record far longer than the working buffer is cut, never overrun.
    std::string longer(1000, 'p');
    longer += "\tcmd";
    _split_str(longer.c_str(), '\t', f, 4);
    EXPECT_LT(std::strlen(f[0]), 522u);
    EXPECT_STREQ(f[1], "");
}

TEST(AssocMatch, FirstMatchOnlyCaseRulesAndBlankCommands)
{
    AssocTable t;
    as_table_replace(t, {
        "*.txt\tscrib\t   \t",
        "^*.jpg|*.png\tglance\t\tglance",
        "doc*\tother\tviewer\teditor",
    });
    EXPECT_EQ(_get_pat_idx(t, "a.txt"), 0);
    EXPECT_EQ(_get_pat_idx(t, "Report.TXT"), -1);
    EXPECT_EQ(_get_pat_idx(t, "PHOTO.JPG"), 1);
    EXPECT_EQ(_get_pat_idx(t, "x.png"), 1);
    EXPECT_EQ(_get_pat_idx(t, ".hidden.txt"), 0);
    EXPECT_EQ(_get_pat_idx(AssocTable{}, "a.txt"), -1);

    // doc.txt matches rows 0 and 2: View and Edit never fall through to row 2.
    EXPECT_EQ(as_matching(t, "doc.txt"), (std::vector<int>{0, 2}));
    EXPECT_STREQ(_get_pat_cmd(t, "doc.txt", AS_OPEN), "scrib");
    EXPECT_EQ(_get_pat_cmd(t, "doc.txt", AS_VIEW), nullptr);
    EXPECT_EQ(_get_pat_cmd(t, "doc.txt", AS_EDIT), nullptr);
    EXPECT_STREQ(_get_pat_cmd(t, "doc.pdf", AS_VIEW), "viewer");
    EXPECT_STREQ(_get_pat_cmd(t, "doc.pdf", AS_EDIT), "editor");
    EXPECT_EQ(_get_pat_cmd(t, "doc.pdf", 3), nullptr);
    EXPECT_EQ(_get_pat_cmd(t, "none", AS_OPEN), nullptr);
    // Matching leaves the stored pattern as it was.
    EXPECT_EQ(t[1].pattern, "^*.jpg|*.png");
}
