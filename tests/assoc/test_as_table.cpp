// The association table: loading, the file format both ways, matching.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "assoc/as_table.h"
#include "read_text.h"
#include "tmpdir.h"

using Lines = std::vector<std::string>;

TEST(AssocLoad, MissingFileGivesTheTenDefaultRowsAndWritesNothing)
{
    TmpDir dir;
    AssocLoadResult r = init_read_associations(dir.path().c_str(), "associate.003");
    EXPECT_EQ(r.status, AssocLoadStatus::Defaults);
    EXPECT_FALSE(r.fatal());
    EXPECT_EQ(as_table_lines(apat), (Lines{
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
    EXPECT_FALSE(std::filesystem::exists(dir / "associate.003"));
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
    EXPECT_EQ(as_table_lines(apat), (Lines{"*.a\tscrib\t\t", "*.b\to\tv\te", "*.c\t\t \t"}));
    EXPECT_EQ(apat[1].open + apat[1].view + apat[1].edit, "ove");

    // Comment lines are not counted: the blank line is record 3.
    std::ofstream(p) << "# x\n*.a\tb\n#y\n*.c\td\n\n*.e\tf\n";
    AssocLoadResult r = as_read_table(apat, p);
    EXPECT_TRUE(r.fatal());
    EXPECT_EQ(r.message(), "Invalid association at line 3");
    EXPECT_EQ(apat.apat_ctr(), 0);
    std::ofstream(p) << "no tab here\n";
    EXPECT_EQ(as_read_table(apat, p).message(), "Invalid association at line 1");
}

TEST(AssocFile, WriteReadRoundTripAndExactBytes)
{
    TmpDir dir;
    ASSERT_EQ(init_read_associations(dir.path().c_str(), "associate.003").status,
              AssocLoadStatus::Defaults);
    as_table_replace(apat, {"*.x\topen @\tview\tedit", "*.y\t\t\tonly edit"});
    ASSERT_EQ(as_save_associations(), 0);
    const char header[] =
        "# <pattern[|pattern[..]]> \\t <open_command> \\t <view_command> \\t <edit command>\n";
    EXPECT_EQ(read_text(dir / "associate.003"),
              std::string(header) + "*.x\topen @\tview\tedit\n*.y\t\t\tonly edit\n");

    // 25 rows come back in order: the table grows in steps of ten.
    Lines many;
    for (int i = 0; i < 25; ++i)
        many.push_back("p" + std::to_string(i) + "\tcmd\t\t");
    as_table_replace(apat, many);
    ASSERT_EQ(as_save_associations(), 0);
    AssocTable back;
    ASSERT_EQ(as_read_table(back, dir / "associate.003").status, AssocLoadStatus::File);
    EXPECT_EQ(as_table_lines(back), many);
    EXPECT_EQ(back.apat_max(), 30);

    EXPECT_EQ(as_write_table(apat, dir / "no/such/dir/file"), -1);
}

// Records and comments at, around and far past a 1024-byte read buffer's length
// come through whole; a long comment is skipped like a short one.
TEST(AssocLoad, LongRecordsAndCommentsAreReadWhole)
{
    TmpDir dir;
    std::string text = kAssocHeader + ("#" + std::string(1030, '\t') + "\n");
    Lines want;
    for (std::size_t len : {1022u, 1023u, 1024u, 3000u}) {
        // A comment and a record of len bytes before the newline.
        want.push_back("*.x\t" + std::string(len - 8, 'o') + "\tv\te");
        text += "#" + std::string(len - 1, 'c') + "\n" + want.back() + "\n";
    }
    std::ofstream(dir / "associate.003") << text;
    ASSERT_EQ(as_read_table(apat, dir / "associate.003").status, AssocLoadStatus::File);
    EXPECT_EQ(as_table_lines(apat), want);
}

TEST(AssocMatch, FirstMatchOnlyCaseRulesAndBlankCommands)
{
    AssocTable t;
    as_table_replace(t, {
        "*.txt\tscrib\t   \t",
        "^*.jpg|*.png\tglance\t\tglance",
        "doc*\tother\tviewer\teditor",
    });
    for (auto [name, row] : {std::pair<const char*, int>{"a.txt", 0}, {"Report.TXT", -1},
                             {"PHOTO.JPG", 1}, {"x.png", 1}, {".hidden.txt", 0}})
        EXPECT_EQ(_get_pat_idx(t, name), row) << name;
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
