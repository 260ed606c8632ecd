// The accelerator registry, its dispatch and its file.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <tuple>
#include <vector>

#include "filebytes.h"
#include "shell/kb_accel.h"
#include "tmpdir.h"

namespace {

// (section, action, mask, key, primary) for every binding, in list order.
using Row = std::tuple<std::string, std::string, uint32_t, uint32_t, bool>;

std::vector<Row> dump(const KbTable& t)
{
    std::vector<Row> rows;
    for (const auto& s : t.sections)
        for (const auto& m : s.modifiers)
            for (const auto& b : m.bindings)
                rows.emplace_back(s.name, b.action->name, m.mask, b.key,
                                  (b.flags & KB_F_PRIMARY) != 0);
    std::sort(rows.begin(), rows.end());
    return rows;
}

KeyEvent press(uint32_t mods, uint32_t cap)
{
    KeyEvent ev;
    ev.flags = KEY_F_DOWN | KEY_F_SYM_VALID | KEY_F_CAP_VALID;
    ev.modifiers = mods;
    ev.key_cap = cap;
    ev.key_sym = cap;
    return ev;
}

std::vector<std::string> gCalls;
void h_one(const void*, void* data, const KeyEvent&)
{
    gCalls.push_back(std::string("one:") + static_cast<const char*>(data));
}
void h_two(const void*, void* data, const KeyEvent&)
{
    gCalls.push_back(std::string("two:") + static_cast<const char*>(data));
}

}  // namespace

TEST(KbRegistry, HandlersLinksAndDispatch)
{
    KbTable t;
    ac_register(t, "open", h_one);
    ac_register(t, "open", h_one);
    ac_register(t, "open", h_two);
    const KbAction* open = x_get_action(t, "open");
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(std::distance(open->handlers.begin(), open->handlers.end()), 2);
    EXPECT_EQ(open->handlers.front(), h_two);

    int w1 = 0, w2 = 0;
    ac_link_widget(t, &w1, "filelist");
    ac_link_widget(t, &w1, "tree");  // relinks rather than adding a second link
    ac_link_widget(t, &w2, "filelist");
    EXPECT_EQ(std::distance(t.links.begin(), t.links.end()), 2);
    for (const auto& l : t.links)
        EXPECT_EQ(l.section->name, l.widget == &w1 ? "tree" : "filelist");
    ac_unlink_widget(t, &w1);
    ASSERT_EQ(std::distance(t.links.begin(), t.links.end()), 1);
    EXPECT_EQ(t.links.front().widget, &w2);

    // Dispatch: every handler of the bound action, newest first, for a plain
    // first press in a linked widget of the key's section only.
    int list = 0, tree = 0;
    char data[] = "d";
    kb_attach(t, "open", "filelist", 0, KEYCAP_F1 + 2);
    kb_attach(t, "noop", "filelist", KB_MOD_SHIFT, 'x');  // an action without handlers
    ac_link_widget(t, &list, "filelist");
    ac_link_widget(t, &tree, "tree");

    gCalls.clear();
    EXPECT_EQ(kb_process(t, &list, data, press(0, KEYCAP_F1 + 2)), 1);
    EXPECT_EQ(gCalls, (std::vector<std::string>{"two:d", "one:d"}));

    gCalls.clear();
    EXPECT_EQ(kb_process(t, &list, data, press(KB_MOD_SHIFT, 'x')), 1);
    EXPECT_EQ(kb_process(t, &list, data, press(KB_MOD_SHIFT, KEYCAP_F1 + 2)), 0);
    EXPECT_EQ(kb_process(t, &tree, data, press(0, KEYCAP_F1 + 2)), 0);
    EXPECT_EQ(kb_process(t, data, data, press(0, KEYCAP_F1 + 2)), 0);  // not linked
    KeyEvent repeat = press(0, KEYCAP_F1 + 2);
    repeat.flags |= KEY_F_REPEAT;
    EXPECT_EQ(kb_process(t, &list, data, repeat), 0);
    EXPECT_TRUE(gCalls.empty());
}

TEST(KbRegistry, AttachAndPrimaryMark)
{
    KbTable t;
    kb_attach(t, "copy", "filelist", KB_MOD_CTRL, 'c');
    kb_attach(t, "copy", "filelist", KB_MOD_CTRL, 'c');
    EXPECT_EQ(dump(t), (std::vector<Row>{{"filelist", "copy", KB_MOD_CTRL, 'c', true}}));

    kb_attach(t, "copy", "filelist", KB_MOD_CTRL, KEYCAP_INSERT);
    kb_attach(t, "copy", "tree", 0, KEYCAP_F1 + 4);  // another section has its own primary
    EXPECT_EQ(dump(t), (std::vector<Row>{{"filelist", "copy", KB_MOD_CTRL, 'c', true},
                                         {"filelist", "copy", KB_MOD_CTRL, KEYCAP_INSERT, false},
                                         {"tree", "copy", 0, KEYCAP_F1 + 4, true}}));

    EXPECT_EQ(kb_set_default(t, "copy", "filelist", KB_MOD_CTRL, KEYCAP_INSERT), 0);
    EXPECT_EQ(dump(t), (std::vector<Row>{{"filelist", "copy", KB_MOD_CTRL, 'c', false},
                                         {"filelist", "copy", KB_MOD_CTRL, KEYCAP_INSERT, true},
                                         {"tree", "copy", 0, KEYCAP_F1 + 4, true}}));
    EXPECT_EQ(kb_set_default(t, "copy", "filelist", KB_MOD_ALT, 'c'), -1);

    // Rebinding a key moves it to the new action, which gets its own primary.
    kb_attach(t, "cut", "filelist", KB_MOD_CTRL, KEYCAP_INSERT);
    EXPECT_EQ(dump(t), (std::vector<Row>{{"filelist", "copy", KB_MOD_CTRL, 'c', false},
                                         {"filelist", "cut", KB_MOD_CTRL, KEYCAP_INSERT, true},
                                         {"tree", "copy", 0, KEYCAP_F1 + 4, true}}));

    EXPECT_STREQ(kb_get_accel_text(t, "cut", "filelist", "Ctrl+Ins"), "Ctrl+Ins");
    EXPECT_EQ(kb_get_accel_text(t, "copy", "filelist", "Ctrl+C"), nullptr);
}

TEST(KbFile, SaveLoadRoundTripAndFormat)
{
    TmpDir dir;
    KbTable t;
    kb_attach(t, "copy", "filelist", KB_MOD_CTRL, 'c');
    kb_attach(t, "copy", "filelist", KB_MOD_CTRL, KEYCAP_INSERT);
    kb_attach(t, "copy", "filelist", 0, KEYCAP_F1 + 4);
    kb_set_default(t, "copy", "filelist", KB_MOD_CTRL, KEYCAP_INSERT);
    kb_attach(t, "paste", "filelist", KB_MOD_SHIFT, KEYCAP_INSERT);
    kb_attach(t, "rename", "tree", 0, KEYCAP_F1 + 1);
    ASSERT_EQ(kb_save(t, dir.path().c_str(), "keys.001"), 0);

    // Sections and actions newest first; the primary binding leads its action.
    EXPECT_EQ(slurp(dir / "keys.001"),
              "[tree]\n"
              "'rename' 0 61631\n"
              "\n"
              "[filelist]\n"
              "'paste' 1 61539\n"
              "'copy' 2 61539\n"
              "'copy' 0 61634\n"
              "'copy' 2 99\n"
              "\n");

    KbTable back;
    ASSERT_EQ(kb_load(back, (dir.path() + "/").c_str(), "keys.001"), 0);
    EXPECT_EQ(dump(back), dump(t));

    EXPECT_EQ(kb_load(back, dir.path().c_str(), "missing"), -1);
}

TEST(KbFile, LoadIgnoresWhatIsNotAnEntry)
{
    TmpDir dir;
    std::ofstream(dir / "k") << "'early' 0 1\n"                              // before any section
                             << "[main]\n"
                             << "'ok' 4 65\n"
                             << "'nonumbers'\n"                              // skipped
                             << "# comment 'x' 1 2\n"
                             << "'long_action_name_here' 0 1234567\n"        // cut at 31 chars
                             << "[other] trailing words\n"
                             << "'x' 1 2\n";
    KbTable t;
    ASSERT_EQ(kb_load(t, dir.path().c_str(), "k"), 0);
    EXPECT_EQ(dump(t), (std::vector<Row>{{"main", "long_action_name_here", 0, 12345, true},
                                         {"main", "ok", 4, 65, true},
                                         {"other", "x", 1, 2, true}}));
    EXPECT_EQ(x_get_action(t, "early"), nullptr);
}
