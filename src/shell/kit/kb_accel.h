// The accelerator table: named actions, named sections of key bindings, and the
// links that attach a section to a widget; its text file; dispatch of key events.
// Also the toolkit-free key event that the type-ahead interpreter reads. Widgets are
// opaque pointers here. GUI thread only; the table lives for the whole run.
#pragma once
#include <cstdint>
#include <forward_list>
#include <string>
#include <string_view>

// ---- Key events ------------------------------------------------------------------
//
// Translation from a QKeyEvent:
//   flags      KEY_F_DOWN for KeyPress, KEY_F_REPEAT when isAutoRepeat(),
//              KEY_F_SYM_VALID and KEY_F_CAP_VALID whenever the key is known
//              (key() != 0 and != Qt::Key_unknown).
//   modifiers  KB_MOD_SHIFT / KB_MOD_CTRL / KB_MOD_ALT from modifiers() (Meta ignored).
//   key_cap    the key, unshifted where the toolkit tells it:
//                letters       the lowercase ASCII code ('a' for Qt::Key_A with or
//                              without Shift)
//                other keys in Qt::Key_Space .. Qt::Key_AsciiTilde
//                              Qt's key() code, which is already the ASCII character
//                              as typed ('{' is 0x7B, ':' 0x3A, '?' 0x3F)
//                named keys    the KEYCAP_* constants below (X keysym low byte
//                              with 0xF000: F1 = 0xF0BE)
//                anything else (non-ASCII characters) the Unicode code point
//   key_sym    the character the key produces: text()'s first code point when
//              text() is not empty and printable, else the key cap.
//   text       text() as UTF-8 (the multibyte text of the key; Shift gives capitals).
inline constexpr uint32_t KEY_F_DOWN = 0x01;
inline constexpr uint32_t KEY_F_REPEAT = 0x02;
inline constexpr uint32_t KEY_F_SYM_VALID = 0x04;
inline constexpr uint32_t KEY_F_CAP_VALID = 0x08;

inline constexpr uint32_t KB_MOD_SHIFT = 1;
inline constexpr uint32_t KB_MOD_CTRL = 2;
inline constexpr uint32_t KB_MOD_ALT = 4;

inline constexpr uint32_t KEYCAP_BACKSPACE = 0xF008;
inline constexpr uint32_t KEYCAP_TAB = 0xF009;
inline constexpr uint32_t KEYCAP_RETURN = 0xF00D;
inline constexpr uint32_t KEYCAP_ESCAPE = 0xF01B;
inline constexpr uint32_t KEYCAP_HOME = 0xF050;
inline constexpr uint32_t KEYCAP_LEFT = 0xF051;
inline constexpr uint32_t KEYCAP_UP = 0xF052;
inline constexpr uint32_t KEYCAP_RIGHT = 0xF053;
inline constexpr uint32_t KEYCAP_DOWN = 0xF054;
inline constexpr uint32_t KEYCAP_PG_UP = 0xF055;
inline constexpr uint32_t KEYCAP_PG_DOWN = 0xF056;
inline constexpr uint32_t KEYCAP_END = 0xF057;
inline constexpr uint32_t KEYCAP_INSERT = 0xF063;
inline constexpr uint32_t KEYCAP_MENU = 0xF067;
inline constexpr uint32_t KEYCAP_KP_ENTER = 0xF08D;  // Qt::Key_Enter
inline constexpr uint32_t KEYCAP_F1 = 0xF0BE;        // F1..F12 = KEYCAP_F1 + 0..11
inline constexpr uint32_t KEYCAP_F12 = 0xF0C9;
inline constexpr uint32_t KEYCAP_DELETE = 0xF0FF;

struct KeyEvent {
    uint32_t flags = 0;
    uint32_t modifiers = 0;
    uint32_t key_cap = 0;
    uint32_t key_sym = 0;
    std::string text;
};

// ---- The table ---------------------------------------------------------------------

inline constexpr uint32_t KB_F_PRIMARY = 0x01;  // the binding menus would show

// An action handler: (widget, data word, key event).
using AcHandler = void (*)(const void* widget, void* data, const KeyEvent& event);

struct KbAction {
    std::string name;
    std::forward_list<AcHandler> handlers;
};

struct KbModifier;

struct KbBinding {
    uint32_t key = 0;
    uint32_t flags = 0;
    KbAction* action = nullptr;
    KbModifier* modifier = nullptr;  // the node holding this binding
};

struct KbModifier {
    uint32_t mask = 0;
    std::forward_list<KbBinding> bindings;
};

struct KbSection {
    std::string name;
    std::forward_list<KbModifier> modifiers;
};

struct KbLink {
    const void* widget = nullptr;
    KbSection* section = nullptr;
};

// New nodes go to the head of every list; nodes never move, so the pointers between
// them stay valid for the table's life.
struct KbTable {
    std::forward_list<KbAction> actions;
    std::forward_list<KbSection> sections;
    std::forward_list<KbLink> links;
};

KbAction* x_add_action(KbTable& t, std::string_view name);
KbAction* x_get_action(const KbTable& t, std::string_view name);  // first of that name
KbSection* x_add_section(KbTable& t, std::string_view name);
KbSection* x_get_section(const KbTable& t, std::string_view name);

// Finds or creates the action and puts the handler at the head of its list unless it
// is already there. Returns 0.
int ac_register(KbTable& t, std::string_view action, AcHandler handler);
// Finds or creates the section; a widget already linked is pointed to it. Returns 0.
int ac_link_widget(KbTable& t, const void* widget, std::string_view section);
void ac_unlink_widget(KbTable& t, const void* widget);

// Binds (modifiers, key) in the section to the action, creating what is missing; an
// existing binding of that key is rebound. The first binding of an action in a section
// is its primary one. Returns 0.
int kb_attach(KbTable& t, std::string_view action, std::string_view section, uint32_t modifiers,
              uint32_t key);
// Makes the existing binding (modifiers, key) the action's primary one in the section.
// 0, or -1 when the action, section, modifier node or binding is missing (or the
// binding belongs to another action).
int kb_set_default(KbTable& t, std::string_view action, std::string_view section,
                   uint32_t modifiers, uint32_t key);
// `text` when the action has a primary binding in the section, else null.
const char* kb_get_accel_text(const KbTable& t, std::string_view action, std::string_view section,
                              const char* text);
// Dispatches a key press (not a repeat, with a valid symbol) through the widget's
// links: the first binding whose modifier mask and key cap equal the event's runs
// every handler of its action. 1 when a binding matched, else 0.
int kb_process(const KbTable& t, const void* widget, void* data, const KeyEvent& event);

// Reads the accelerator file "dir/name" (name alone when dir is null) and attaches
// every entry. 0, or -1 when the file cannot be opened.
int kb_load(KbTable& t, const char* dir, const char* name);
// Writes the whole table to that file. 0, or -1 when both are null or it cannot be
// written.
int kb_save(const KbTable& t, const char* dir, const char* name);
