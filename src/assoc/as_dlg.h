// The list of associations ("Associate"): edits a working copy of the table and,
// on Done, replaces the table and writes "associate.003". GUI thread only.
#pragma once

class QWidget;

// Opens the dialog modally over `parent`. Returns 0 after Done, -1 after Cancel.
int as_associate(QWidget* parent);

// Edit > Associations... (F11): the dialog over the main window.
int em_edit_associations();
