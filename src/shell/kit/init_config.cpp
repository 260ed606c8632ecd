// Reading, defaulting, migrating and writing the settings record.
#include "shell/kit/init_config.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "dirmodel/fname.h"
#include "shell/kit/io_util.h"

namespace {
struct Field {
    std::size_t off, width;
};
// Every field of the record, padding included, in file order.
constexpr Field kFields[] = {
    {cfg::kMark, 4}, {cfg::kFoldersFirst, 4}, {cfg::kEditor, cfg::kEditorLen},
    {cfg::kPrint, cfg::kPrintLen}, {cfg::kTerminal, cfg::kTerminalLen},
    {cfg::kHotlistFont, cfg::kFontLen}, {cfg::kFilelistFont, cfg::kFontLen}, {4614, 2},
    {cfg::kColumnWidths, 4}, {cfg::kColumnWidths + 4, 4}, {cfg::kColumnWidths + 8, 4},
    {cfg::kColumnWidths + 12, 4}, {cfg::kColumnWidths + 16, 4}, {cfg::kColumnWidths + 20, 4},
    {cfg::kHotlistWidth, 4}, {cfg::kWindowHeight, 4}, {cfg::kWindowWidth, 4},
    {cfg::kKeyTimeout, 4}, {cfg::kOptions, 4}, {cfg::kSaveAtExit, 4}, {cfg::kHotlistShown, 1},
    {cfg::kAltEncoding, cfg::kAltEncodingLen}, {5690, 2},
};

// Ranges of the numeric fields. The window and the pane are bounded by what the
// panes' minimum sizes need and by the largest screens in use.
constexpr int32_t kMinColumn = 8, kMaxColumn = 4096;
constexpr int32_t kMinListWidth = 120;  // filelist_panel's minimum width
constexpr int32_t kMinWindowWidth = 96 + kMinListWidth, kMinWindowHeight = 100, kMaxWindow = 8192;
constexpr int32_t kMaxKeyTimeout = 60000;

// Radio groups of the option word: exactly one choice each (the encoding: at most one).
constexpr uint32_t kOneOf[] = {
    cfg::OPT_RM1_PROMPT | cfg::OPT_RM1_PROMPT_NOWR | cfg::OPT_RM1_NO_PROMPT,
    cfg::OPT_SYM_PROMPT | cfg::OPT_SYM_SYMLINKS | cfg::OPT_SYM_FILES,
    cfg::OPT_RM_PROMPT | cfg::OPT_RM_NO_PROMPT,
    cfg::OPT_RM_I_PROMPT | cfg::OPT_RM_I_PROMPT_NOWR | cfg::OPT_RM_I_NO_PROMPT,
};
constexpr uint32_t kEncodingBits = cfg::OPT_ENC_UTF8_ALTERNATE | cfg::OPT_ENC_ALTERNATE;
constexpr uint32_t kKnownOptions = 0xFFFF | cfg::OPT_DELETE_PERMANENT | cfg::OPT_VERSION_MARK;

uint32_t checked_options(uint32_t w)
{
    // Only a word of this version is kept at all; migration replaces any other.
    if ((w & cfg::OPT_VERSION_MARK) != cfg::OPT_VERSION_MARK)
        return w;
    w &= kKnownOptions;
    for (uint32_t group : kOneOf)
        if (std::popcount(w & group) != 1)
            w = (w & ~group) | (cfg::kDefaultOptions & group);
    if (std::popcount(w & kEncodingBits) > 1)
        w &= ~kEncodingBits;
    return w;
}
}  // namespace

int32_t ConfigRecord::i32(std::size_t off) const
{
    const uint8_t* p = bytes_.data() + off;
    return static_cast<int32_t>(uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 |
                                uint32_t(p[3]) << 24);
}

void ConfigRecord::set_i32(std::size_t off, int32_t v)
{
    const auto u = static_cast<uint32_t>(v);
    uint8_t* p = bytes_.data() + off;
    p[0] = uint8_t(u);
    p[1] = uint8_t(u >> 8);
    p[2] = uint8_t(u >> 16);
    p[3] = uint8_t(u >> 24);
}

std::string_view ConfigRecord::str(std::size_t off, std::size_t width) const
{
    const char* p = reinterpret_cast<const char*>(bytes_.data() + off);
    return {p, strnlen(p, width)};
}

void ConfigRecord::set_str(std::size_t off, std::size_t width, std::string_view s)
{
    const std::size_t n = std::min(s.size(), width - 1);
    std::memcpy(bytes_.data() + off, s.data(), n);
    bytes_[off + n] = 0;
}

void init_config_defaults(ConfigRecord& rec)
{
    using namespace cfg;
    rec.set_i32(kMark, 1);
    rec.set_i32(kFoldersFirst, 0);
    rec.set_str(kEditor, kEditorLen, "scrib @");
    rec.set_str(kPrint, kPrintLen, "lpr @");
    rec.set_str(kTerminal, kTerminalLen, "shellwin");
    rec.set_str(kHotlistFont, kFontLen, "TextFont08");
    rec.set_str(kFilelistFont, kFontLen, "TextFont08");
    static constexpr int32_t widths[kSavedColumns] = {125, 50, 105, 53, 53, 75};
    for (int c = 1; c <= kSavedColumns; ++c)
        rec.set_column_width(c, widths[c - 1]);
    rec.set_i32(kHotlistWidth, 190);
    rec.set_i32(kWindowHeight, 410);
    rec.set_i32(kWindowWidth, 600);
    rec.set_i32(kKeyTimeout, 1500);
    rec.set_u32(kOptions, kDefaultOptions);
    rec.set_i32(kSaveAtExit, 1);
    rec.set_hotlist_shown(true);
}

void ConfigRecord::mark_loaded()
{
    loaded_ = bytes_;
    has_loaded_ = true;
}

void ConfigRecord::take_unchanged(const ConfigRecord& disk)
{
    for (const Field& f : kFields)
        if (std::memcmp(bytes_.data() + f.off, loaded_.data() + f.off, f.width) == 0)
            std::memcpy(bytes_.data() + f.off, disk.bytes_.data() + f.off, f.width);
}

void init_check_config(ConfigRecord& rec)
{
    using namespace cfg;
    ConfigRecord def;
    init_config_defaults(def);
    auto text = [&](std::size_t off, std::size_t width, bool may_be_empty) {
        const bool terminated = std::memchr(rec.data() + off, 0, width) != nullptr;
        const std::string_view s = rec.str(off, width);
        const bool clean = std::none_of(s.begin(), s.end(), [](char c) { return uint8_t(c) < 0x20; });
        if (!terminated || !clean || (s.empty() && !may_be_empty))
            rec.set_str(off, width, def.str(off, width));
    };
    auto number = [&](std::size_t off, int32_t lo, int32_t hi) {
        if (rec.i32(off) < lo || rec.i32(off) > hi)
            rec.set_i32(off, std::clamp(def.i32(off), lo, hi));
    };
    text(kEditor, kEditorLen, false);
    text(kPrint, kPrintLen, false);
    text(kTerminal, kTerminalLen, false);
    text(kHotlistFont, kFontLen, false);
    text(kFilelistFont, kFontLen, false);
    text(kAltEncoding, kAltEncodingLen, true);
    number(kFoldersFirst, 0, 2);
    for (int c = 1; c <= kSavedColumns; ++c)
        number(kColumnWidths + 4 * (c - 1), kMinColumn, kMaxColumn);
    number(kWindowWidth, kMinWindowWidth, kMaxWindow);
    number(kWindowHeight, kMinWindowHeight, kMaxWindow);
    // The pane must leave the file list its room, or the list is squeezed away.
    number(kHotlistWidth, 0, rec.window_width() - kMinListWidth);
    number(kKeyTimeout, 0, kMaxKeyTimeout);
    number(kSaveAtExit, 0, 1);
    if (rec.data()[kHotlistShown] > 1)
        rec.set_hotlist_shown(true);
    rec.data()[4614] = rec.data()[4615] = 0;
    rec.data()[5690] = rec.data()[5691] = 0;
    rec.set_options(checked_options(rec.options()));
}

bool init_read_config(ConfigRecord& rec, const std::string& dir, const char* name)
{
    const std::string path = dir + "/" + name;
    ssize_t got = -1;
    if (UniqueFd fd{::open(path.c_str(), O_RDONLY | O_CLOEXEC)}; fd.ok())
        got = read_full(fd.get(), rec.data(), ConfigRecord::size());
    const bool whole = got == static_cast<ssize_t>(ConfigRecord::size());
    if (!whole)
        init_config_defaults(rec);
    init_check_config(rec);
    return whole;
}

void init_migrate_options(ConfigRecord& rec, uint32_t& reader_options)
{
    const uint32_t w = rec.options();
    if ((w & cfg::OPT_VERSION_MARK) == cfg::OPT_VERSION_MARK) {
        if (w & cfg::OPT_HIDE_DOT)
            reader_options &= ~cfg::kReaderDotBits;
        return;
    }
    // An older record's word is replaced, not converted: its choices are lost.
    if (w == 0) {
        rec.set_options(cfg::kDefaultOptions);
    } else {
        rec.set_options(cfg::kDefaultOptions | cfg::OPT_HIDE_DOT);
        reader_options &= ~cfg::kReaderDotBits;
    }
}

int init_save_config(ConfigRecord& rec, const std::string& dir, const char* name)
{
    if (rec.has_loaded()) {
        ConfigRecord disk;
        if (init_read_config(disk, dir, name) &&
            (disk.options() & cfg::OPT_VERSION_MARK) == cfg::OPT_VERSION_MARK)
            rec.take_unchanged(disk);
    }
    rec.set_options(rec.options() | cfg::OPT_VERSION_MARK);
    if (!write_file_atomic(dir + "/" + name, rec.data(), ConfigRecord::size()))
        return -1;
    if (rec.has_loaded())
        rec.mark_loaded();
    return 0;
}

int init_translation(const ConfigRecord& rec)
{
    const std::string alt(rec.alt_encoding());
    return fname_setup(rec.options(), alt.c_str());
}
