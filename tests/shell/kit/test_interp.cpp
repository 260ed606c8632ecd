// The type-ahead interpreter driven key by key against a list backed by a real
// listing and the real find.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "filelist/fl_find.h"
#include "shell/kit/interp.h"

namespace {

class FakeList : public InterpList {
public:
    explicit FakeList(std::vector<std::string> names)
    {
        for (auto& n : names) {
            auto* r = new FileRecord;
            r->name = n;
            r->status.st_mode = S_IFREG | 0644;
            l.records.push_back(r);
        }
        l.count = l.capacity = static_cast<int>(names.size());
    }

    void unselect_all() override { fl_unselect_all(l); }
    int find(const char* name, int flags) override
    {
        finds.push_back(std::string(name) + "#" + std::to_string(flags));
        return x_find(l, name, 0, flags);
    }
    void select_current(int index) override
    {
        fl_select_index(l, index);
        l.current = index;
    }
    void open_current() override { opened.push_back(l.current >= 0 ? l[l.current].name : "-"); }
    void run_command(const char* line) override { commands.emplace_back(line); }

    std::vector<std::string> selected() const
    {
        std::vector<std::string> out;
        for (int i = 0; i < l.count; ++i)
            if (l[i].flags & DIR_F_SELECTED)
                out.push_back(l[i].name);
        return out;
    }

    DirListing l;
    std::vector<std::string> finds, opened, commands;
};

KeyEvent key(uint32_t cap, const std::string& text, uint32_t sym)
{
    KeyEvent ev;
    ev.flags = KEY_F_DOWN | KEY_F_SYM_VALID | KEY_F_CAP_VALID;
    ev.key_cap = cap;
    ev.key_sym = sym;
    ev.text = text;
    return ev;
}

// A printable ASCII key as typed (letters: the cap is the lowercase letter).
KeyEvent ch(char c)
{
    uint32_t cap = static_cast<unsigned char>(c);
    if (c >= 'A' && c <= 'Z')
        cap = static_cast<uint32_t>(c - 'A' + 'a');
    return key(cap, std::string(1, c), static_cast<unsigned char>(c));
}

KeyEvent named(uint32_t cap) { return key(cap, "", cap); }

int type(InterpState& s, FakeList& list, const std::string& text)
{
    int r = 0;
    for (char c : text)
        r = interp_key(s, list, ch(c));
    return r;
}

const std::vector<std::string> kNames = {"ab", "abd", "Abc0", "abc1", "abc2", "xabc", "b c"};

}  // namespace

TEST(Interp, ReturnSearchesAndRemembers)
{
    InterpState s;
    FakeList list(kNames);
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_RETURN)), 0);  // idle: the list opens

    type(s, list, "/abc");
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_RETURN)), -1);
    EXPECT_EQ(list.opened, std::vector<std::string>{"abc1"});

    // An empty "/" search repeats the last one and opens again.
    list.select_current(0);
    EXPECT_EQ(interp_key(s, list, ch('/')), 1);
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_KP_ENTER)), -1);
    EXPECT_EQ(list.opened, (std::vector<std::string>{"abc1", "abc1"}));
    EXPECT_EQ(list.selected(), std::vector<std::string>{"abc1"});

    // "?" finds backwards from the first entry only, does not open, and replaces the
    // last search.
    EXPECT_EQ(type(s, list, "?ab"), 1);
    EXPECT_EQ(list.finds.back(), "ab#12");
    EXPECT_EQ(list.selected(), std::vector<std::string>{"ab"});
    type(s, list, "c");
    EXPECT_TRUE(list.selected().empty());  // abc1 is not at index 0
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_RETURN)), -1);
    EXPECT_EQ(list.opened.size(), 2u);
    interp_key(s, list, ch('/'));
    interp_key(s, list, named(KEYCAP_RETURN));
    EXPECT_EQ(list.finds.back(), "abc#8");
}

TEST(Interp, CommandLineEscapeBackspaceAndSpace)
{
    InterpState s;
    FakeList list(kNames);
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_BACKSPACE)), 0);
    type(s, list, "ab");
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_ESCAPE)), -1);
    EXPECT_EQ(interp_echo(s), "");

    type(s, list, "abd");
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_BACKSPACE)), 1);
    EXPECT_EQ(list.selected(), std::vector<std::string>{"ab"});
    interp_key(s, list, named(KEYCAP_BACKSPACE));
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_BACKSPACE)), 1);
    EXPECT_EQ(interp_echo(s), "/");  // the mode stays with an empty buffer
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_BACKSPACE)), -1);
    EXPECT_EQ(interp_echo(s), "");

    interp_key(s, list, ch('/'));
    EXPECT_EQ(interp_key(s, list, ch(' ')), 1);  // a leading space is swallowed
    EXPECT_EQ(interp_echo(s), "/");

    // ":" edits a command line without searching and runs it on Return.
    interp_reset(s);
    list.finds.clear();
    type(s, list, ":ls -lx");
    interp_key(s, list, named(KEYCAP_BACKSPACE));
    EXPECT_EQ(interp_echo(s), ":ls -l");
    EXPECT_EQ(interp_key(s, list, named(KEYCAP_RETURN)), -1);
    EXPECT_EQ(list.commands, std::vector<std::string>{"ls -l"});
    EXPECT_TRUE(list.finds.empty());
    type(s, list, ":");
    interp_key(s, list, named(KEYCAP_RETURN));
    EXPECT_EQ(list.commands.size(), 1u) << "an empty line runs nothing";
}
