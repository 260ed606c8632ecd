// The settings record: its byte layout, reading, defaults, option-word migration
// and saving, through real files.
#include <gtest/gtest.h>

#include <cstring>

#include "filebytes.h"
#include "dirmodel/fname.h"
#include "shell/kit/init_config.h"
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

// A damaged file of full length: a field out of its range gets its default, the
// others stay.
TEST(ConfigRead, DamagedFieldsFallBackToTheirDefaults)
{
    const struct {
        std::size_t off;
        int32_t stored, read;
    } fields[] = {{cfg::kKeyTimeout, 2000, 2000}, {cfg::kColumnWidths + 4, 0, 50}, {cfg::kWindowWidth, 32767, 600},
                  {cfg::kHotlistWidth, 3000, 190}};  // the pane: wider than the window it ends up in
    TmpDir dir;
    ConfigRecord rec;
    init_config_defaults(rec);
    for (const auto& f : fields)
        rec.set_i32(f.off, f.stored);
    // Two link choices, an unknown bit, and a known one beyond the first sixteen.
    rec.set_options(0xFF000924 | cfg::OPT_SYM_FILES | 0x20000 | cfg::OPT_DELETE_PERMANENT);
    spit(dir / "config.003", std::string(reinterpret_cast<const char*>(rec.data()), rec.size()));
    init_read_config(rec, dir.path());
    for (const auto& f : fields)
        EXPECT_EQ(rec.i32(f.off), f.read) << f.off;
    EXPECT_EQ(rec.options(), 0xFF000924u | cfg::OPT_DELETE_PERMANENT);
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

    // Two instances: each writes the fields it changed itself and keeps the others
    // as the file has them by then.
    ConfigRecord a = back, b = back;
    a.mark_loaded();
    b.mark_loaded();
    a.set_i32(cfg::kWindowWidth, 900);
    b.set_column_width(2, 77);
    for (ConfigRecord* r : {&a, &b, &a})  // a saves again with nothing new
        ASSERT_EQ(init_save_config(*r, dir.path()), 0);
    ASSERT_TRUE(init_read_config(back, dir.path()));
    EXPECT_EQ(back.window_width(), 900);
    EXPECT_EQ(back.column_width(2), 77);
    EXPECT_EQ(back.column_width(3), 222);
}
