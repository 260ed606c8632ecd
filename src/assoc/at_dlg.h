// The editor of one association ("New Association Type"), opened from the list
// dialog by Add... and Edit... GUI thread only.
#pragma once
#include <string>

class QWidget;

enum AtMode { AT_NEW = 1, AT_EDIT = 2 };

// Opens the editor modally and blocks `list_dlg` while it is open. In AT_EDIT mode
// the fields start from `line` (pattern, open, view and edit joined by tabs). On
// Done `line` receives the new tab-joined line and the result is 0; Cancel, Escape
// or closing the window leave `line` alone and give -1.
int at_edit(QWidget* list_dlg, AtMode mode, std::string& line);

// Splits a working-list line into its four fields; text after a fourth tab is
// dropped and missing fields are empty.
void at_split_line(const std::string& line, std::string fields[4]);
