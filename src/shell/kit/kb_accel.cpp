// The accelerator registry: lists with new nodes at the head, looked up by name.
#include "shell/kit/kb_accel.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "shell/kit/io_util.h"

namespace {

// The file is read in pieces of this many characters: a longer line is cut, and its
// rest is read as a line of its own (and ignored unless it starts like a record).
constexpr int kLinePiece = 31;

template <class List>
auto* find_named(const List& list, std::string_view name)
{
    for (auto& node : list)
        if (node.name == name)
            return const_cast<typename List::value_type*>(&node);
    return static_cast<typename List::value_type*>(nullptr);
}

KbModifier* find_modifier(const KbSection& s, uint32_t mask)
{
    for (auto& m : s.modifiers)
        if (m.mask == mask)
            return const_cast<KbModifier*>(&m);
    return nullptr;
}

KbBinding* find_binding(const KbModifier& m, uint32_t key)
{
    for (auto& b : m.bindings)
        if (b.key == key)
            return const_cast<KbBinding*>(&b);
    return nullptr;
}

KbBinding* find_primary(const KbSection& s, const KbAction* a)
{
    for (auto& m : s.modifiers)
        for (auto& b : m.bindings)
            if (b.action == a && (b.flags & KB_F_PRIMARY))
                return const_cast<KbBinding*>(&b);
    return nullptr;
}

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};

bool accel_path(std::string& out, const char* dir, const char* name)
{
    if (!name)
        return false;
    if (!dir) {
        out = name;
        return true;
    }
    out = dir;
    if (out.empty() || out.back() != '/')
        out += '/';
    out += name;
    return true;
}

bool parse_number(const char* tok, uint32_t& out)
{
    if (!tok || *tok < '0' || *tok > '9')
        return false;
    out = static_cast<uint32_t>(std::strtoul(tok, nullptr, 10));
    return true;
}

void write_entry(std::string& text, const KbAction& a, const KbBinding& b)
{
    char line[64];
    std::snprintf(line, sizeof line, " %lu %lu\n", static_cast<unsigned long>(b.modifier->mask),
                  static_cast<unsigned long>(b.key));
    text += '\'';
    text += a.name;
    text += '\'';
    text += line;
}

}  // namespace

KbAction* x_add_action(KbTable& t, std::string_view name)
{
    t.actions.push_front(KbAction{std::string(name), {}});
    return &t.actions.front();
}

KbAction* x_get_action(const KbTable& t, std::string_view name)
{
    return find_named(t.actions, name);
}

KbSection* x_add_section(KbTable& t, std::string_view name)
{
    t.sections.push_front(KbSection{std::string(name), {}});
    return &t.sections.front();
}

KbSection* x_get_section(const KbTable& t, std::string_view name)
{
    return find_named(t.sections, name);
}

int ac_register(KbTable& t, std::string_view action, AcHandler handler)
{
    KbAction* a = x_get_action(t, action);
    if (!a)
        a = x_add_action(t, action);
    for (AcHandler h : a->handlers)
        if (h == handler)
            return 0;
    a->handlers.push_front(handler);
    return 0;
}

int ac_link_widget(KbTable& t, const void* widget, std::string_view section)
{
    KbSection* s = x_get_section(t, section);
    if (!s)
        s = x_add_section(t, section);
    for (auto& link : t.links) {
        if (link.widget == widget) {
            link.section = s;
            return 0;
        }
    }
    t.links.push_front(KbLink{widget, s});
    return 0;
}

void ac_unlink_widget(KbTable& t, const void* widget)
{
    t.links.remove_if([widget](const KbLink& l) { return l.widget == widget; });
}

int kb_attach(KbTable& t, std::string_view action, std::string_view section, uint32_t modifiers,
              uint32_t key)
{
    KbAction* a = x_get_action(t, action);
    if (!a)
        a = x_add_action(t, action);
    KbSection* s = x_get_section(t, section);
    if (!s)
        s = x_add_section(t, section);
    KbModifier* m = find_modifier(*s, modifiers);
    if (!m) {
        s->modifiers.push_front(KbModifier{modifiers, {}});
        m = &s->modifiers.front();
    }
    KbBinding* b = find_binding(*m, key);
    if (b) {
        // A key taken from another action must not keep that action's primary mark.
        if (b->action != a)
            b->flags &= ~KB_F_PRIMARY;
        b->action = a;
    } else {
        m->bindings.push_front(KbBinding{key, 0, a, m});
        b = &m->bindings.front();
    }
    if (!find_primary(*s, a))
        b->flags |= KB_F_PRIMARY;
    return 0;
}

int kb_set_default(KbTable& t, std::string_view action, std::string_view section,
                   uint32_t modifiers, uint32_t key)
{
    KbAction* a = x_get_action(t, action);
    KbSection* s = x_get_section(t, section);
    if (!a || !s)
        return -1;
    KbModifier* m = find_modifier(*s, modifiers);
    KbBinding* b = m ? find_binding(*m, key) : nullptr;
    if (!b || b->action != a)
        return -1;
    if (KbBinding* old = find_primary(*s, a))
        old->flags &= ~KB_F_PRIMARY;
    b->flags |= KB_F_PRIMARY;
    return 0;
}

const char* kb_get_accel_text(const KbTable& t, std::string_view action, std::string_view section,
                              const char* text)
{
    const KbAction* a = x_get_action(t, action);
    const KbSection* s = x_get_section(t, section);
    if (!a || !s || !find_primary(*s, a))
        return nullptr;
    return text;
}

int kb_process(const KbTable& t, const void* widget, void* data, const KeyEvent& ev)
{
    constexpr uint32_t kMask = KEY_F_DOWN | KEY_F_REPEAT | KEY_F_SYM_VALID;
    if ((ev.flags & kMask) != (KEY_F_DOWN | KEY_F_SYM_VALID))
        return 0;
    for (const KbLink& link : t.links) {
        if (link.widget != widget || !link.section)
            continue;
        const KbModifier* m = find_modifier(*link.section, ev.modifiers);
        const KbBinding* b = m ? find_binding(*m, ev.key_cap) : nullptr;
        if (!b)
            continue;
        for (AcHandler h : b->action->handlers)
            h(widget, data, ev);
        return 1;
    }
    return 0;
}

int kb_load(KbTable& t, const char* dir, const char* name)
{
    std::string path;
    if (!accel_path(path, dir, name))
        return -1;
    std::unique_ptr<FILE, FileCloser> f(std::fopen(path.c_str(), "re"));
    if (!f)
        return -1;
    static constexpr const char* kNameDelims = "[]'\n";
    std::string section;
    bool in_section = false;
    char line[kLinePiece + 1];
    char* save = nullptr;
    while (std::fgets(line, sizeof line, f.get())) {
        if (line[0] == '[') {
            const char* tok = strtok_r(line, kNameDelims, &save);
            in_section = tok != nullptr;
            if (tok)
                section = tok;
        } else if (line[0] == '\'' && in_section) {
            const char* act = strtok_r(line, kNameDelims, &save);
            uint32_t mask = 0, key = 0;
            if (act && parse_number(strtok_r(nullptr, " \n", &save), mask) &&
                parse_number(strtok_r(nullptr, " \n", &save), key))
                kb_attach(t, act, section, mask, key);
        }
    }
    return 0;
}

int kb_save(const KbTable& t, const char* dir, const char* name)
{
    std::string path;
    if (!accel_path(path, dir, name))
        return -1;
    std::string text;
    for (const KbSection& s : t.sections) {
        text += '[';
        text += s.name;
        text += "]\n";
        for (const KbAction& a : t.actions) {
            const KbBinding* primary = find_primary(s, &a);
            if (primary)
                write_entry(text, a, *primary);
            for (const KbModifier& m : s.modifiers)
                for (const KbBinding& b : m.bindings)
                    if (b.action == &a && &b != primary)
                        write_entry(text, a, b);
        }
        text += '\n';
    }
    return write_file_atomic(path, text.data(), text.size()) ? 0 : -1;
}
