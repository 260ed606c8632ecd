// The settings record: one 5692-byte block per process, stored byte for byte as
// "config.003". Fields are read and written little-endian at fixed offsets, so the
// file is the same on every machine. Any thread may read; only the GUI thread writes.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace cfg {
inline constexpr std::size_t kRecordSize = 5692;

inline constexpr std::size_t kMark = 0;
inline constexpr std::size_t kFoldersFirst = 4;
inline constexpr std::size_t kEditor = 8;           // 2048 bytes
inline constexpr std::size_t kPrint = 2056;         // 1024
inline constexpr std::size_t kTerminal = 3080;      // 1024
inline constexpr std::size_t kHotlistFont = 4104;   // 255
inline constexpr std::size_t kFilelistFont = 4359;  // 255
inline constexpr std::size_t kColumnWidths = 4616;  // six 32-bit widths
inline constexpr std::size_t kHotlistWidth = 4640;
inline constexpr std::size_t kWindowHeight = 4644;
inline constexpr std::size_t kWindowWidth = 4648;
inline constexpr std::size_t kKeyTimeout = 4652;
inline constexpr std::size_t kOptions = 4656;
inline constexpr std::size_t kSaveAtExit = 4660;
inline constexpr std::size_t kHotlistShown = 4664;
inline constexpr std::size_t kAltEncoding = 4665;   // 1025

inline constexpr std::size_t kEditorLen = 2048;
inline constexpr std::size_t kPrintLen = 1024;
inline constexpr std::size_t kTerminalLen = 1024;
inline constexpr std::size_t kFontLen = 255;
inline constexpr std::size_t kAltEncodingLen = 1025;
inline constexpr int kSavedColumns = 6;  // the link column's width is not kept

// Option word bits.
inline constexpr uint32_t OPT_HIDE_DOT = 0x0001;
inline constexpr uint32_t OPT_OVERWRITE = 0x0002;
inline constexpr uint32_t OPT_RM1_PROMPT = 0x0004;
inline constexpr uint32_t OPT_RM1_PROMPT_NOWR = 0x0008;
inline constexpr uint32_t OPT_RM1_NO_PROMPT = 0x0010;
inline constexpr uint32_t OPT_SYM_PROMPT = 0x0020;
inline constexpr uint32_t OPT_SYM_SYMLINKS = 0x0040;
inline constexpr uint32_t OPT_SYM_FILES = 0x0080;
inline constexpr uint32_t OPT_RM_PROMPT = 0x0100;
inline constexpr uint32_t OPT_RM_NO_PROMPT = 0x0200;
inline constexpr uint32_t OPT_RM_I_PROMPT = 0x0400;
inline constexpr uint32_t OPT_RM_I_PROMPT_NOWR = 0x0800;
inline constexpr uint32_t OPT_RM_I_NO_PROMPT = 0x1000;
inline constexpr uint32_t OPT_ENC_UTF8_ALTERNATE = 0x2000;
inline constexpr uint32_t OPT_ENC_ALTERNATE = 0x4000;
inline constexpr uint32_t OPT_CHOWN_ASSUME_IGNORE = 0x8000;
// Del deletes for good instead of moving to the Trash. Set means off, so that
// every record written before the Trash existed reads as "Trash on".
inline constexpr uint32_t OPT_DELETE_PERMANENT = 0x10000;
inline constexpr uint32_t OPT_VERSION_MARK = 0xFF000000;

inline constexpr uint32_t kDefaultOptions = 0x924;
// Bits of the directory reader's option word that make it list dot entries.
inline constexpr uint32_t kReaderDotBits = 0x104;
inline constexpr uint32_t kReaderInitialOptions = 0xFFFFFBFF;
}  // namespace cfg

class ConfigRecord {
public:
    ConfigRecord() { bytes_.fill(0); }

    uint8_t* data() { return bytes_.data(); }
    const uint8_t* data() const { return bytes_.data(); }
    static constexpr std::size_t size() { return cfg::kRecordSize; }

    int32_t i32(std::size_t off) const;
    void set_i32(std::size_t off, int32_t v);
    uint32_t u32(std::size_t off) const { return static_cast<uint32_t>(i32(off)); }
    void set_u32(std::size_t off, uint32_t v) { set_i32(off, static_cast<int32_t>(v)); }
    // A string field ends at its NUL, or at the end of the field when a damaged
    // file left none.
    std::string_view str(std::size_t off, std::size_t width) const;
    // Copies at most width-1 bytes and a terminator; the bytes after it stay as they were.
    void set_str(std::size_t off, std::size_t width, std::string_view s);

    int32_t folders_first() const { return i32(cfg::kFoldersFirst); }
    std::string_view editor_command() const { return str(cfg::kEditor, cfg::kEditorLen); }
    std::string_view print_command() const { return str(cfg::kPrint, cfg::kPrintLen); }
    std::string_view terminal_command() const { return str(cfg::kTerminal, cfg::kTerminalLen); }
    std::string_view hotlist_font() const { return str(cfg::kHotlistFont, cfg::kFontLen); }
    std::string_view filelist_font() const { return str(cfg::kFilelistFont, cfg::kFontLen); }
    int32_t column_width(int column) const { return i32(cfg::kColumnWidths + 4 * (column - 1)); }
    void set_column_width(int column, int32_t w) { set_i32(cfg::kColumnWidths + 4 * (column - 1), w); }
    int32_t hotlist_width() const { return i32(cfg::kHotlistWidth); }
    int32_t window_height() const { return i32(cfg::kWindowHeight); }
    int32_t window_width() const { return i32(cfg::kWindowWidth); }
    int32_t key_timeout() const { return i32(cfg::kKeyTimeout); }
    uint32_t options() const { return u32(cfg::kOptions); }
    void set_options(uint32_t w) { set_u32(cfg::kOptions, w); }
    int32_t save_at_exit() const { return i32(cfg::kSaveAtExit); }
    bool hotlist_shown() const { return bytes_[cfg::kHotlistShown] != 0; }
    void set_hotlist_shown(bool on) { bytes_[cfg::kHotlistShown] = on ? 1 : 0; }
    std::string_view alt_encoding() const { return str(cfg::kAltEncoding, cfg::kAltEncodingLen); }

    // Takes the record as it stands as the one this process started from; a save
    // then writes only the fields changed since and keeps the others as the file
    // has them (another instance may have saved in between).
    void mark_loaded();
    // Each field that still holds its loaded value takes the one in `disk`.
    void take_unchanged(const ConfigRecord& disk);
    bool has_loaded() const { return has_loaded_; }

private:
    std::array<uint8_t, cfg::kRecordSize> bytes_;
    std::array<uint8_t, cfg::kRecordSize> loaded_{};
    bool has_loaded_ = false;
};

// Fills the defaults over the fields that have one; the alternate encoding keeps
// whatever a short file supplied.
void init_config_defaults(ConfigRecord& rec);

// Puts every field back into a sane range: a number outside its range, a string
// without its terminator or with control characters, and a radio group of the
// option word with no or several choices get that field's default (the alternate
// encoding: empty). A damaged file must not make the window vanish or grow huge.
void init_check_config(ConfigRecord& rec);

// Reads "config.003" (its first 5692 bytes) from dir into rec, filling the defaults
// when the file is missing or short, then checks every field. Returns true when the
// whole record was read.
bool init_read_config(ConfigRecord& rec, const std::string& dir, const char* name = "config.003");

// Replaces an option word not written by this version; keeps one that was. Clears
// the reader's dot bits in reader_options when dot files end up hidden, or when a
// kept word hides them.
void init_migrate_options(ConfigRecord& rec, uint32_t& reader_options);

// Sets up the file-name translation from the record: the mode from its option
// word always, the alternate character set when one is named (none when empty, and
// names are then shown as they are). Returns what fname_setup returns.
int init_translation(const ConfigRecord& rec);

// Writes the record through a temporary file renamed into place, after setting the
// version mark in rec itself. When rec was marked loaded and the file now holds a
// whole record of this version, the fields rec has not changed take the file's
// values first (in rec too), so two instances do not undo each other's settings.
// Returns 0, or -1 when the file cannot be written.
int init_save_config(ConfigRecord& rec, const std::string& dir, const char* name = "config.003");
