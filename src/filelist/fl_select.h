// Selection and current record of the file list, kept in step with the widget's
// selection model both ways: record flag 0x02 <-> selected row, flag 0x01 and
// gDir.current <-> the widget's current row. GUI thread only.
#pragma once

class FlView;

int fl_select_index(int index);
int fl_unselect_index(int index);
int fl_invert_index(int index);
void fl_invert_all();
void fl_select_all();
void fl_unselect_all(FlView* list = nullptr);
// Every record matching the name (exact / prefix / pattern, see fl_find).
int fl_select(const char* name, int flags);
int fl_unselect(const char* name, int flags);
int fl_goto(const char* name, int start, int flags);
int fl_goto_index(int index);

// The widget reported a change of its selection (user input).
void fl_selection_cb();

// Wiring used by the panel: connect to the list's selection model, and show the
// records' flags in the widget after a rebuild.
void fl_select_connect(FlView* list);
void fl_selection_from_records();
// While one lives, what the widget's selection does is not taken for user input:
// rows coming and going move its ranges, and the records are the truth.
struct FlSelectionHold {
    FlSelectionHold();
    ~FlSelectionHold();
    FlSelectionHold(const FlSelectionHold&) = delete;
    FlSelectionHold& operator=(const FlSelectionHold&) = delete;
};
