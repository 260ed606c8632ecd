// The settings record: its byte layout, reading, defaults, option-word migration
// and saving, through real files.
#include <gtest/gtest.h>

#include <cstring>

#include "filebytes.h"
#include "dirmodel/fname.h"
#include "shell/init_config.h"
#include "tmpdir.h"

TEST(ConfigRead, DefaultsAndMigration)
{
    struct Case {
        const char* what;
        std::size_t file_bytes;  // SIZE_MAX: no file
        uint32_t stored_word;
        bool whole;
        uint32_t word_after;
        bool dots_hidden;  // the reader's 0x104 bits cleared
        const char* alt;   // the alternate encoding afterwards
    } cases[] = {
        {"missing", SIZE_MAX, 0xFF000925, false, 0x925, true, ""},
        {"zero length", 0, 0xFF000925, false, 0x925, true, ""},
        // A short file's bytes stay where the defaults leave them alone.
        {"truncated", 4700, 0xFF000000, false, 0x925, true, "ISO-8859-1"},
        {"this version, dots shown", 5692, 0xFF000A24, true, 0xFF000A24, false, "ISO-8859-1"},
        {"this version, dots hidden", 5692, 0xFF000925, true, 0xFF000925, true, "ISO-8859-1"},
        {"older, word 0", 5692, 0, true, 0x924, false, "ISO-8859-1"},
        {"older, any other word", 5692, 0x0B26, true, 0x925, true, "ISO-8859-1"},
        {"longer file", 6000, 0xFF000924, true, 0xFF000924, false, "ISO-8859-1"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TmpDir dir;
        ConfigRecord stored;
        init_config_defaults(stored);
        stored.set_i32(cfg::kWindowWidth, 999);
        stored.set_options(c.stored_word);
        stored.set_str(cfg::kAltEncoding, cfg::kAltEncodingLen, "ISO-8859-1");
        std::string bytes(reinterpret_cast<const char*>(stored.data()), stored.size());
        bytes.resize(6000, '\xAB');
        if (c.file_bytes != SIZE_MAX)
            spit(dir / "config.003", bytes.substr(0, c.file_bytes));

        ConfigRecord rec;
        uint32_t reader = cfg::kReaderInitialOptions;
        EXPECT_EQ(init_read_config(rec, dir.path()), c.whole);
        init_migrate_options(rec, reader);
        EXPECT_EQ(rec.options(), c.word_after);
        EXPECT_EQ((reader & 0x104) == 0, c.dots_hidden);
        EXPECT_EQ(reader | 0x104, cfg::kReaderInitialOptions) << "only the dot bits change";
        EXPECT_EQ(rec.window_width(), c.whole ? 999 : 600);
        EXPECT_EQ(rec.editor_command(), "scrib @");
        EXPECT_EQ(rec.alt_encoding(), c.alt);
    }

    // The translation follows the word's encoding bits even with no set named: a
    // name with a bad byte is then shown as it is, not marked as in UTF-8 mode.
    ConfigRecord rec;
    init_config_defaults(rec);
    const char* bad = "a\xff";
    for (uint32_t bits : {0u, cfg::OPT_ENC_UTF8_ALTERNATE, cfg::OPT_ENC_ALTERNATE}) {
        rec.set_options(0xFF000924 | bits);
        init_translation(rec);
        EXPECT_STREQ(fname_decode(bad), bits ? bad : "?a?") << bits;
    }
    rec.set_options(0xFF000924);
    init_translation(rec);
}

namespace {
// Every field the program reads, as text, for comparing two records.
std::string fields(const ConfigRecord& r)
{
    std::string out;
    for (std::string_view s : {r.editor_command(), r.print_command(), r.terminal_command(),
                               r.hotlist_font(), r.filelist_font(), r.alt_encoding()})
        out.append(s).push_back('|');
    for (int32_t v : {r.folders_first(), r.hotlist_width(), r.window_height(), r.window_width(),
                      r.key_timeout(), int32_t(r.options()), r.save_at_exit(), int32_t(r.hotlist_shown())})
        out += std::to_string(v) + '|';
    for (int c = 1; c <= cfg::kSavedColumns; ++c)
        out += std::to_string(r.column_width(c)) + '|';
    return out;
}

ConfigRecord read_migrated(const std::string& dir)
{
    ConfigRecord rec;
    uint32_t reader = cfg::kReaderInitialOptions;
    init_read_config(rec, dir);
    init_migrate_options(rec, reader);
    return rec;
}
}  // namespace

// A damaged but whole file: each field out of range gets its default, the others stay.
TEST(ConfigRead, DamagedFieldsFallBackToTheirDefaults)
{
    ConfigRecord def;
    init_config_defaults(def);
    def.set_options(0x925);
    for (char fill : {'\xAB', '\x7F'}) {  // every number negative, then every one huge
        TmpDir dir;
        spit(dir / "config.003", std::string(cfg::kRecordSize, fill));
        EXPECT_EQ(fields(read_migrated(dir.path())), fields(def)) << int(fill);
    }

    TmpDir dir;
    ConfigRecord stored;
    init_config_defaults(stored);
    stored.set_i32(cfg::kFoldersFirst, 2);
    stored.set_str(cfg::kEditor, cfg::kEditorLen, "vi @");
    stored.set_str(cfg::kPrint, cfg::kPrintLen, "lp\n@");
    std::memset(stored.data() + cfg::kFilelistFont, 'A', cfg::kFontLen);
    stored.set_column_width(2, 0);
    stored.set_column_width(3, 222);
    stored.set_i32(cfg::kWindowWidth, 32767);
    stored.set_i32(cfg::kWindowHeight, 500);
    stored.set_i32(cfg::kHotlistWidth, 3000);  // wider than the window it ends up in
    stored.set_i32(cfg::kKeyTimeout, 2000);
    stored.data()[cfg::kHotlistShown] = 0;
    stored.set_str(cfg::kAltEncoding, cfg::kAltEncodingLen, "ISO-8859-1");
    // Two symbolic-link choices, both encodings, a bit no version knows.
    stored.set_options(0xFF000000 | 0x924 | cfg::OPT_SYM_FILES | 0x6000 | 0x10000 | cfg::OPT_OVERWRITE);
    spit(dir / "config.003", std::string(reinterpret_cast<const char*>(stored.data()), stored.size()));

    ConfigRecord want = stored;
    want.set_str(cfg::kPrint, cfg::kPrintLen, "lpr @");
    want.set_str(cfg::kFilelistFont, cfg::kFontLen, "TextFont08");
    want.set_column_width(2, 50);
    want.set_i32(cfg::kWindowWidth, 600);
    want.set_i32(cfg::kHotlistWidth, 190);
    want.set_options(0xFF000926);
    EXPECT_EQ(fields(read_migrated(dir.path())), fields(want));
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
    EXPECT_EQ(slurp(dir / "config.003").size(), 5692u);
    EXPECT_EQ(init_save_config(rec, dir / "missing"), -1);
}

// Two instances on one file: each save writes the fields its own record changed
// and keeps the rest as the file has them.
TEST(ConfigSave, TwoInstancesKeepEachOthersChanges)
{
    TmpDir dir;
    ConfigRecord first;
    init_config_defaults(first);
    ASSERT_EQ(init_save_config(first, dir.path()), 0);
    ConfigRecord a = read_migrated(dir.path()), b = read_migrated(dir.path());
    a.mark_loaded();
    b.mark_loaded();
    a.set_i32(cfg::kWindowWidth, 900);
    a.set_options(a.options() | cfg::OPT_OVERWRITE);
    b.set_column_width(2, 77);
    b.set_hotlist_shown(false);
    ASSERT_EQ(init_save_config(a, dir.path()), 0);
    ASSERT_EQ(init_save_config(b, dir.path()), 0);
    ASSERT_EQ(init_save_config(a, dir.path()), 0);  // nothing new in a: b's change stays

    ConfigRecord back = read_migrated(dir.path());
    EXPECT_EQ(back.window_width(), 900);
    EXPECT_TRUE(back.options() & cfg::OPT_OVERWRITE);
    EXPECT_EQ(back.column_width(2), 77);
    EXPECT_FALSE(back.hotlist_shown());
    EXPECT_EQ(fields(a), fields(back)) << "the saving record takes what it kept";
}
