// The file list panel `filelist`: its set-up and column widths. GUI thread only.
#pragma once

class QTreeView;

void fl_setup(QTreeView* list);
// Columns 1 to 7; -1 / ignored for any other.
int fl_get_column_width(int column);
void fl_set_column_width(int column, int width);
