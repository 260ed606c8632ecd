// Button sets of questions and the centring arithmetic.
#include <gtest/gtest.h>

#include "shell/w_buttons.h"
#include "shell/w_geom.h"

TEST(ButtonSet, MarksDefaultAndEscape)
{
    struct Case {
        const char* set;
        bool comma;
        std::vector<std::string> labels;
        int def, esc;
    } cases[] = {
        {"&Continue", false, {"&Continue"}, 1, 1},
        {"@&Yes|#&No", false, {"&Yes", "&No"}, 1, 2},
        {"&Skip|@&Overwrite|Overwrite &All|#a&Bort", false,
         {"&Skip", "&Overwrite", "Overwrite &All", "a&Bort"}, 2, 4},
        {"&Retry|&Skip|&Abort", false, {"&Retry", "&Skip", "&Abort"}, 1, 3},
        {"&Ignore,#&Abort", true, {"&Ignore", "&Abort"}, 1, 2},
        {"a,b|c", false, {"a,b", "c"}, 1, 2},
        {"#&No|@&Yes", false, {"&No", "&Yes"}, 2, 1},
    };
    for (const Case& c : cases) {
        const ButtonSet b = w_parse_buttons(c.set, c.comma);
        EXPECT_EQ(b.labels, c.labels) << c.set;
        EXPECT_EQ(b.default_button, c.def) << c.set;
        EXPECT_EQ(b.escape(), c.esc) << c.set;
    }
}

TEST(Wcenter, CentresAndKeepsOnScreen)
{
    // Screen corners (0,0)-(1024,768).
    struct Case {
        WArea parent, child;
        int x, y;
    } cases[] = {
        {{100, 100, 600, 400}, {0, 0, 200, 100}, 300, 250},
        {{100, 100, 601, 401}, {0, 0, 200, 100}, 300, 250},       // halving truncates
        {{900, 600, 300, 300}, {0, 0, 200, 200}, 799, 543},        // pulled 25 in from right/bottom
        {{0, 0, 200, 200}, {0, 0, 2000, 1000}, 10, 10},            // larger than the screen
        {{-300, -300, 200, 200}, {0, 0, 100, 100}, 10, 10},        // left/top edge: 10 in
    };
    for (const Case& c : cases) {
        const WPoint p = wcenter_position(c.parent, c.child, 0, 0, 1024, 768);
        EXPECT_EQ(p.x, c.x);
        EXPECT_EQ(p.y, c.y);
    }
    const WPoint off = wcenter_position({50, 50, 100, 100}, {0, 0, 301, 301}, -1000, -1000, 1024, 768);
    EXPECT_EQ(off.x, -50) << "a child wider than its parent goes left of it";
}
