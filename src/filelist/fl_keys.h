// Raw input on `filelist`: keys go to the type-ahead interpreter first (Return
// opens when it leaves them), the right button selects and asks for the context
// menu. GUI thread only.
#pragma once
#include <QPoint>

class QKeyEvent;
class FlView;
struct KeyEvent;

void fl_keys_install(FlView* list);
// The interpreter back to idle (the key-find timer's expiry and every refresh).
void fl_typeahead_reset();
// The toolkit-free form of a Qt key event.
KeyEvent fl_key_event(const QKeyEvent& e);
// The row under the pointer at the last raw input (-2: none).
int fl_last_input_entry();
// Shows the list's context menu (the commands own it) at a global point: after a
// right-button press has set the selection, or on the Menu key or Shift+F10.
void fl_set_context_menu_cb(void (*fn)(FlView* list, QPoint global));
// What Return on the list runs (the commands' Open); null: open the current entry.
void fl_set_open_cb(int (*fn)());
