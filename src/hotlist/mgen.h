// Copy To / Move To: send the file list's selection to a bookmarked directory, or
// to one below it, or to a typed one. GUI thread only.
#pragma once
#include <string>

class QAction;
class QMenu;
class QString;

// Appends "Copy To" and "Move To" to a menu being built, when something is
// selected. Their submenus hold "Other..." and, once first shown, the bookmarks
// as directory menus, inserted before `before` (null: at the end). 0 when nothing
// was added, else 3.
int mgen_work_insert(QMenu* menu, QAction* before = nullptr);
// The directory handlers: with a directory (file-system bytes) after a question,
// with an empty one after asking for the destination, which is made absolute
// there and then ("~" is the home directory, other relative text goes under the
// directory listed).
void x_copy_to_dest(const std::string& dest);
void x_move_to_dest(const std::string& dest);
// "Do you want to <verb> <what> to\n'<dest>'\n": 1 for "&Yes", else 0.
int confirm(const char* verb, const QString& what, const QString& dest);
// The typed destination with a "/" at its end, or empty when cancelled or blank.
// Opens with the text typed last.
QString input_dest(const QString& title);
