// The accelerator registry and its dispatch.
#include <gtest/gtest.h>

#include <vector>

#include "shell/kb_accel.h"

namespace {

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
