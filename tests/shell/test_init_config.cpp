// The settings record: its byte layout, reading, defaults, option-word migration
// and saving, through real files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "shell/init_config.h"
#include "tmpdir.h"

namespace {
std::vector<uint8_t> slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void spit(const std::string& path, const void* data, std::size_t n)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(static_cast<const char*>(data), static_cast<std::streamsize>(n));
}

uint32_t le32(const std::vector<uint8_t>& b, std::size_t off)
{
    return uint32_t(b[off]) | uint32_t(b[off + 1]) << 8 | uint32_t(b[off + 2]) << 16 |
           uint32_t(b[off + 3]) << 24;
}

std::string cstr(const std::vector<uint8_t>& b, std::size_t off)
{
    return std::string(reinterpret_cast<const char*>(b.data() + off));
}
}  // namespace

TEST(ConfigRecord, SavedDefaultsSitAtTheirOffsets)
{
    TmpDir dir;
    ConfigRecord rec;
    uint32_t reader = cfg::kReaderInitialOptions;
    EXPECT_FALSE(init_read_config(rec, dir.path()));
    init_migrate_options(rec, reader);
    ASSERT_EQ(init_save_config(rec, dir.path()), 0);

    const auto b = slurp(dir / "config.003");
    ASSERT_EQ(b.size(), 5692u);
    EXPECT_EQ(le32(b, 0), 1u);
    EXPECT_EQ(le32(b, 4), 0u);
    EXPECT_EQ(cstr(b, 8), "scrib @");
    EXPECT_EQ(cstr(b, 2056), "lpr @");
    EXPECT_EQ(cstr(b, 3080), "shellwin");
    EXPECT_EQ(cstr(b, 4104), "TextFont08");
    EXPECT_EQ(cstr(b, 4359), "TextFont08");
    EXPECT_EQ(b[4614], 0);
    EXPECT_EQ(b[4615], 0);
    const uint32_t widths[] = {125, 50, 105, 53, 53, 75};
    for (int c = 0; c < 6; ++c)
        EXPECT_EQ(le32(b, 4616 + 4 * c), widths[c]) << "column " << c + 1;
    EXPECT_EQ(le32(b, 4640), 190u);
    EXPECT_EQ(le32(b, 4644), 410u);
    EXPECT_EQ(le32(b, 4648), 600u);
    EXPECT_EQ(le32(b, 4652), 1500u);
    EXPECT_EQ(le32(b, 4656), 0xFF000925u);
    EXPECT_EQ(b[4659], 0xFF);
    EXPECT_EQ(le32(b, 4660), 1u);
    EXPECT_EQ(b[4664], 1);
    EXPECT_EQ(b[4665], 0);
    EXPECT_EQ(b[5690], 0);
    EXPECT_EQ(b[5691], 0);
}

TEST(ConfigRecord, StringFieldsAreBoundedAndKeepTheirTail)
{
    ConfigRecord rec;
    rec.set_str(cfg::kPrint, cfg::kPrintLen, "lpr -P office @ extra");
    rec.set_str(cfg::kPrint, cfg::kPrintLen, "lp @");
    EXPECT_EQ(rec.print_command(), "lp @");
    // Bytes after the terminator stay what the record held.
    EXPECT_EQ(rec.data()[cfg::kPrint + 5], 'P');

    rec.set_str(cfg::kHotlistFont, cfg::kFontLen, std::string(400, 'f'));
    EXPECT_EQ(rec.hotlist_font().size(), 254u);
    EXPECT_EQ(rec.filelist_font(), "");  // the neighbour is untouched

    // A damaged field without a terminator ends at its width.
    std::memset(rec.data() + cfg::kAltEncoding, 'x', cfg::kAltEncodingLen);
    EXPECT_EQ(rec.alt_encoding().size(), cfg::kAltEncodingLen);
}

struct ReadCase {
    const char* what;
    std::size_t file_bytes;  // SIZE_MAX: no file
    uint32_t stored_word;
    bool whole;
    uint32_t word_after;
    bool dots_hidden;  // reader's 0x104 bits cleared
};

class ConfigRead : public ::testing::TestWithParam<ReadCase> {};

TEST_P(ConfigRead, DefaultsAndMigration)
{
    const ReadCase& c = GetParam();
    TmpDir dir;
    ConfigRecord stored;
    init_config_defaults(stored);
    stored.set_i32(cfg::kWindowWidth, 999);
    stored.set_options(c.stored_word);
    stored.set_str(cfg::kAltEncoding, cfg::kAltEncodingLen, "ISO-8859-1");
    std::vector<uint8_t> bytes(stored.data(), stored.data() + stored.size());
    bytes.resize(std::max<std::size_t>(bytes.size(), 6000), 0xAB);
    if (c.file_bytes != SIZE_MAX)
        spit(dir / "config.003", bytes.data(), c.file_bytes);

    ConfigRecord rec;
    uint32_t reader = cfg::kReaderInitialOptions;
    EXPECT_EQ(init_read_config(rec, dir.path()), c.whole);
    init_migrate_options(rec, reader);
    EXPECT_EQ(rec.options(), c.word_after);
    EXPECT_EQ((reader & 0x104) == 0, c.dots_hidden);
    EXPECT_EQ(reader | 0x104, cfg::kReaderInitialOptions) << "only the dot bits change";
    EXPECT_EQ(rec.window_width(), c.whole ? 999 : 600);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ConfigRead,
    ::testing::Values(
        ReadCase{"missing", SIZE_MAX, 0xFF000925, false, 0x925, true},
        ReadCase{"zero length", 0, 0xFF000925, false, 0x925, true},
        ReadCase{"truncated", 4700, 0xFF000000, false, 0x925, true},
        ReadCase{"this version, dots shown", 5692, 0xFF000B24, true, 0xFF000B24, false},
        ReadCase{"this version, dots hidden", 5692, 0xFF000925, true, 0xFF000925, true},
        ReadCase{"older, word 0", 5692, 0, true, 0x924, false},
        ReadCase{"older, any other word", 5692, 0x0B26, true, 0x925, true},
        ReadCase{"longer file", 6000, 0xFF000924, true, 0xFF000924, false}),
    [](const auto& info) {
        std::string n = info.param.what;
        for (char& ch : n)
            if (!isalnum(static_cast<unsigned char>(ch)))
                ch = '_';
        return n;
    });

TEST(ConfigRead, ShortFileKeepsTheAlternateEncodingItSupplied)
{
    TmpDir dir;
    ConfigRecord stored;
    stored.set_str(cfg::kAltEncoding, cfg::kAltEncodingLen, "KOI8-R");
    spit(dir / "config.003", stored.data(), 5000);
    ConfigRecord rec;
    init_read_config(rec, dir.path());
    EXPECT_EQ(rec.alt_encoding(), "KOI8-R");
    EXPECT_EQ(rec.editor_command(), "scrib @");
}

TEST(ConfigSave, RoundTripAndFailure)
{
    TmpDir dir;
    ConfigRecord rec;
    init_config_defaults(rec);
    rec.set_column_width(3, 222);
    rec.set_hotlist_shown(false);
    rec.set_options(0x2925);
    ASSERT_EQ(init_save_config(rec, dir.path()), 0);
    EXPECT_EQ(rec.options(), 0xFF002925u) << "the mark is set in memory too";

    ConfigRecord back;
    ASSERT_TRUE(init_read_config(back, dir.path()));
    EXPECT_EQ(std::memcmp(back.data(), rec.data(), rec.size()), 0);

    struct stat st {};
    ASSERT_EQ(::stat((dir / "config.003").c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 5692);
    EXPECT_EQ(init_save_config(rec, dir / "missing"), -1);
}
