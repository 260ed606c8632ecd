#include "shell/kit/w_geom.h"

WPoint wcenter_position(const WArea& parent, const WArea& child, int left, int top, int right,
                        int bottom)
{
    int x = parent.x + (parent.w - child.w) / 2;
    int y = parent.y + (parent.h - child.h) / 2;
    if (x + child.w > right)
        x = right - child.w - 25;
    if (left > x)
        x = left + 10;
    if (y + child.h > bottom)
        y = bottom - child.h - 25;
    if (top > y)
        y = top + 10;
    return {x, y};
}
