// The desktop's applications (freedesktop .desktop files of $XDG_DATA_HOME and
// $XDG_DATA_DIRS, with the defaults and the added and removed associations of
// mimeapps.list) for a file's type, through GIO. GIO reads those directories once
// per process, at its first call. GUI thread only, except as_content_type and
// as_type_description, which any thread may call.
#pragma once
#include <string>
#include <vector>

struct DesktopApp {
    std::string id;    // the desktop file's id, as "org.example.Viewer.desktop"
    std::string name;  // its Name, in the user's language
    std::string icon;  // a theme icon name or an absolute file, "" for none
    bool is_default = false;
};

// The content type of the file at `path` (bytes, any encoding) from its name alone;
// with `look_inside` also from its status (inode/directory, inode/fifo...) and, when
// the name leaves it open, from its first bytes (an empty file is
// application/x-zerosize).
std::string as_content_type(const std::string& path, bool look_inside);
// "PNG image" for "image/png"; "" for an empty type.
std::string as_type_description(const std::string& type);

// The applications that take `type`, the default first, then as GIO ranks them
// (the recommended ones, then those for a parent type such as text/plain).
std::vector<DesktopApp> as_apps_for_type(const std::string& type);
// Those that take every type of `types`, in the order of the first; each marked
// default when it is the default of every type.
std::vector<DesktopApp> as_apps_for_types(const std::vector<std::string>& types);
// The id of the application that opens `type` when none is chosen, "" for none.
std::string as_default_app(const std::string& type);

// Starts application `id` on `paths` (once per file for an Exec that takes one),
// without a shell: each path reaches it as one argument, or as a file:// URI for
// an application that takes URIs. Terminal applications run in a window of the
// terminal adapter (shellwin). The launched process is never waited for. 0, or -1
// with the reason in `error`.
int as_launch_app(const std::string& id, const std::vector<std::string>& paths, std::string* error = nullptr);
// Makes `id` the default for `type` in $XDG_CONFIG_HOME/mimeapps.list, where other
// desktop programs read it; its other lines stay. 0, or -1 with the reason.
int as_set_default_app(const std::string& id, const std::string& type, std::string* error = nullptr);
