// The transport record's bytes, the URI forms other programs use, and the cut list.
#include <gtest/gtest.h>

#include "clipboard/transf.h"

TEST(Transf, PackedBytesRoundTripAnyNameAndRefuseDamage)
{
    const FileTransf t{4, "/d\xe9j\xe0", {"caf\xe9", "two\nlines", "", "a b#c"}};
    const std::string packed = transf_pack(t);
    FileTransf back;
    ASSERT_TRUE(transf_unpack(packed, back));
    EXPECT_EQ(back.count, 4);
    EXPECT_EQ(back.srcdir, t.srcdir);
    EXPECT_EQ(back.names, t.names);
    for (std::size_t cut : {std::size_t(0), std::size_t(3), packed.size() - 1})
        EXPECT_FALSE(transf_unpack(packed.substr(0, cut), back)) << cut;
    EXPECT_FALSE(transf_unpack(packed + "x", back));
    std::string huge = packed;
    huge[4] = '\xff';  // a count no bytes could hold
    EXPECT_FALSE(transf_unpack(huge, back));
    EXPECT_EQ(back.names, t.names) << "a refused record leaves the old one";
}

TEST(Transf, UrisKeepTheBytesAndOnlyLocalFilesAreTaken)
{
    const FileTransf t{3, "/tmp/x", {"caf\xe9", "a b#c", "100%"}};
    EXPECT_EQ(transf_uri_list(t), "file:///tmp/x/caf%E9\r\nfile:///tmp/x/a%20b%23c\r\nfile:///tmp/x/100%25\r\n");
    EXPECT_EQ(transf_gnome_list(t, true).substr(0, 25), "cut\nfile:///tmp/x/caf%E9\n");

    std::vector<FileTransf> groups;
    std::string bad;
    ASSERT_TRUE(transf_from_uri_lines("# comment\r\n" + transf_uri_list(t) + "file://localhost/etc/hosts\n"
                                      "file:///top\nfile:///tmp/x/dir/\n", groups, bad));
    ASSERT_EQ(groups.size(), 3u);
    EXPECT_EQ(groups[0].srcdir, "/tmp/x");
    EXPECT_EQ(groups[0].names, (std::vector<std::string>{"caf\xe9", "a b#c", "100%", "dir"}));
    EXPECT_EQ(groups[0].count, 4);
    EXPECT_EQ(groups[1].names, std::vector<std::string>{"hosts"});
    EXPECT_EQ(groups[2].srcdir, "/");
    for (const char* other : {"http://host/a", "file://otherhost/a", "sftp:///a", "file:///a%00b"}) {
        EXPECT_FALSE(transf_from_uri_lines(std::string("file:///ok\n") + other, groups, bad)) << other;
        EXPECT_EQ(bad, other);
        EXPECT_TRUE(groups.empty());
    }
}
