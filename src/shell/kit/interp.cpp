// Type-ahead: the key-by-key state machine behind the file list's find as you type and
// typed command lines.
#include "shell/kit/interp.h"

#include <cstring>

namespace {

constexpr int kFindPrefix = 0x8;
constexpr int kFindPrefixBackward = 0xC;  // prefix + backward: only index 0 is looked at

bool is_return(const KeyEvent& ev)
{
    return ev.key_cap == KEYCAP_RETURN || ev.key_cap == KEYCAP_KP_ENTER;
}

// A key whose text holds a control character (Ctrl+letter, Tab) did not produce
// printable text, which counts as a failed conversion.
bool printable_text(const std::string& text)
{
    if (text.empty())
        return false;
    for (unsigned char c : text)
        if (c < 0x20 || c == 0x7F)
            return false;
    return true;
}

void search(InterpList& list, const char* text, int flags)
{
    list.unselect_all();
    list.select_current(list.find(text, flags));
}

}  // namespace

void interp_reset(InterpState& s)
{
    s.mode = 0;
    s.len = 0;
    s.buf[0] = '\0';
}

int interp_key(InterpState& s, InterpList& list, const KeyEvent& ev)
{
    if (!(ev.flags & KEY_F_DOWN) || !(ev.flags & KEY_F_SYM_VALID) || !(ev.flags & KEY_F_CAP_VALID))
        return 0;

    if (ev.key_cap == KEYCAP_ESCAPE) {
        if (!s.mode)
            return 0;
        interp_reset(s);
        return -1;
    }

    if (is_return(ev)) {
        switch (s.mode) {
        case 0:
            return 0;
        case ':':
            // An empty command line would only start a shell nobody asked for.
            if (s.len > 0)
                list.run_command(s.buf);
            interp_reset(s);
            return -1;
        default: {
            if (s.len > 0)
                std::memcpy(s.last, s.buf, s.len + 1);
            char text[INTERP_BUF];
            std::memcpy(text, s.len > 0 ? s.buf : s.last, INTERP_BUF);
            const bool open = s.mode == '/';
            search(list, text, open ? kFindPrefix : kFindPrefixBackward);
            interp_reset(s);
            if (open)
                list.open_current();
            return -1;
        }
        }
    }

    if (!s.mode && (ev.key_sym == ':' || ev.key_sym == '/' || ev.key_sym == '?')) {
        s.mode = static_cast<char>(ev.key_sym);
        s.len = 0;
        s.buf[0] = '\0';
        return 1;
    }

    if (ev.key_cap == KEYCAP_BACKSPACE) {
        if (s.len == 0) {
            if (!s.mode)
                return 0;
            interp_reset(s);
            return -1;
        }
        s.buf[--s.len] = '\0';
    } else {
        if (ev.key_cap < 32 || ev.key_cap > 122)
            return 0;
        if (ev.key_cap == ' ') {
            if (!s.mode)
                return 0;
            if (s.len == 0)
                return 1;
        }
        if (!printable_text(ev.text))
            return 0;
        // Keys that would overflow the buffer are swallowed, not added.
        if (s.len + ev.text.size() >= INTERP_BUF)
            return 1;
        std::memcpy(s.buf + s.len, ev.text.data(), ev.text.size());
        s.len += ev.text.size();
        s.buf[s.len] = '\0';
        if (!s.mode)
            s.mode = '/';  // typing in the list starts a find as you type
    }

    if (s.mode == '/')
        search(list, s.buf, kFindPrefix);
    else if (s.mode == '?')
        search(list, s.buf, kFindPrefixBackward);
    return 1;
}

std::string interp_echo(const InterpState& s)
{
    if (!s.mode)
        return {};
    std::string out(1, s.mode);
    out.append(s.buf, s.len);
    return out;
}
