// The arithmetic of centring a dialog over its parent on the visible screen.
// Pure functions; any thread.
#pragma once
#include <cstdint>

struct WArea {
    int16_t x = 0, y = 0, w = 0, h = 0;
};
struct WPoint {
    int x = 0, y = 0;
};

// Centred over the parent, halving toward zero; then pulled in 25 pixels from the
// right and bottom edges, and, winning over that, 10 from the left and top ones.
// The screen is given by its corners (left, top) and (right, bottom).
WPoint wcenter_position(const WArea& parent, const WArea& child, int left, int top, int right,
                        int bottom);
