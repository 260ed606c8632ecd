// The desktop's applications through GIO's GDesktopAppInfo.
#include "assoc/as_apps.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

#include "assoc/as_run.h"

namespace {

struct Unref {
    void operator()(gpointer p) const { g_object_unref(p); }
};
template <typename T> using GObj = std::unique_ptr<T, Unref>;
struct Free {
    void operator()(gpointer p) const { g_free(p); }
};
using GStr = std::unique_ptr<char, Free>;
struct KeyFileUnref {
    void operator()(GKeyFile* k) const { g_key_file_unref(k); }
};

constexpr std::size_t kSniff = 4096;  // what GIO's own guess from data reads at most

std::string take(char* s)
{
    GStr owned(s);
    return owned ? std::string(owned.get()) : std::string();
}

// -1, with GIO's reason (else `otherwise`) in `error`.
int fail(std::string* error, GError* e, const std::string& otherwise)
{
    if (error)
        *error = e && e->message ? e->message : otherwise;
    if (e)
        g_error_free(e);
    return -1;
}

// The first bytes of the file, which `fd` has open; false when none could be read.
bool read_head(int fd, std::string& out)
{
    out.resize(kSniff);
    std::size_t got = 0;
    while (got < kSniff) {
        const ssize_t n = ::read(fd, out.data() + got, kSniff - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    out.resize(got);
    return true;
}

// The type of a file that is not a regular one, as GIO names it; "" for a regular file.
const char* special_type(mode_t mode)
{
    if (S_ISREG(mode))
        return "";
    if (S_ISDIR(mode))
        return "inode/directory";
    if (S_ISCHR(mode))
        return "inode/chardevice";
    if (S_ISBLK(mode))
        return "inode/blockdevice";
    if (S_ISFIFO(mode))
        return "inode/fifo";
    if (S_ISSOCK(mode))
        return "inode/socket";
    return "application/octet-stream";
}

std::string icon_of(GAppInfo* app)
{
    GIcon* icon = g_app_info_get_icon(app);
    if (icon && G_IS_THEMED_ICON(icon)) {
        const gchar* const* names = g_themed_icon_get_names(G_THEMED_ICON(icon));
        return names && names[0] ? names[0] : "";
    }
    if (icon && G_IS_FILE_ICON(icon))
        return take(g_file_get_path(g_file_icon_get_file(G_FILE_ICON(icon))));
    return {};
}

// In the launched process, before exec: this program ignores SIGCHLD (and may block
// signals), which the application would otherwise inherit and never wait for its
// own children.
void child_setup(gpointer)
{
    struct sigaction dfl = {};
    dfl.sa_handler = SIG_DFL;
    ::sigaction(SIGCHLD, &dfl, nullptr);
    ::sigaction(SIGPIPE, &dfl, nullptr);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// The application as launched: a terminal application gets the terminal adapter in
// front of its Exec, so it runs in the window this program's other commands get.
// Without the adapter GIO picks a terminal itself.
GObj<GDesktopAppInfo> launchable(const std::string& id)
{
    GObj<GDesktopAppInfo> info(g_desktop_app_info_new(id.c_str()));
    if (!info || !g_desktop_app_info_get_boolean(info.get(), G_KEY_FILE_DESKTOP_KEY_TERMINAL))
        return info;
    const std::string& dir = as_adapter_dir();
    const std::string win = dir.empty() ? std::string() : dir + "/shellwin";
    const char* file = g_desktop_app_info_get_filename(info.get());
    if (win.empty() || ::access(win.c_str(), X_OK) != 0 || !file)
        return info;
    std::unique_ptr<GKeyFile, KeyFileUnref> kf(g_key_file_new());
    if (!g_key_file_load_from_file(kf.get(), file, G_KEY_FILE_KEEP_TRANSLATIONS, nullptr))
        return info;
    const std::string exec =
        take(g_key_file_get_string(kf.get(), G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_EXEC, nullptr));
    if (exec.empty())
        return info;
    // Exec is split by GIO the way a shell splits words: the quoted path is one.
    const std::string wrapped = take(g_shell_quote(win.c_str())) + " " + exec;
    g_key_file_set_string(kf.get(), G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_EXEC, wrapped.c_str());
    g_key_file_set_boolean(kf.get(), G_KEY_FILE_DESKTOP_GROUP, G_KEY_FILE_DESKTOP_KEY_TERMINAL, FALSE);
    GObj<GDesktopAppInfo> wrapped_info(g_desktop_app_info_new_from_keyfile(kf.get()));
    return wrapped_info ? std::move(wrapped_info) : std::move(info);
}

// GIO drops the file's comments when it writes it: they go back above the same
// groups and keys, the entries as GIO wrote them.
void keep_comments(const std::string& file, GKeyFile* before)
{
    std::unique_ptr<GKeyFile, KeyFileUnref> after(g_key_file_new());
    if (!g_key_file_load_from_file(after.get(), file.c_str(), G_KEY_FILE_KEEP_TRANSLATIONS, nullptr))
        return;
    bool any = false;
    const auto copy = [&](const gchar* group, const gchar* key) {
        GStr comment(g_key_file_get_comment(before, group, key, nullptr));
        if (!comment || !*comment)
            return;
        if (group && !(key ? g_key_file_has_key(after.get(), group, key, nullptr)
                           : g_key_file_has_group(after.get(), group)))
            return;
        any = g_key_file_set_comment(after.get(), group, key, comment.get(), nullptr) || any;
    };
    // The file's opening comment is the first group's.
    gchar** groups = g_key_file_get_groups(before, nullptr);
    for (gchar** g = groups; g && *g; ++g) {
        copy(*g, nullptr);
        gchar** keys = g_key_file_get_keys(before, *g, nullptr, nullptr);
        for (gchar** k = keys; k && *k; ++k)
            copy(*g, *k);
        g_strfreev(keys);
    }
    g_strfreev(groups);
    if (any)
        g_key_file_save_to_file(after.get(), file.c_str(), nullptr);
}

}  // namespace

std::string as_content_type(const std::string& path, bool look_inside)
{
    gboolean uncertain = FALSE;
    std::string type = take(g_content_type_guess(path.c_str(), nullptr, 0, &uncertain));
    if (!look_inside)
        return type;
    // The type is asked before anything is opened: no device or FIFO is opened.
    struct stat st;
    if (::stat(path.c_str(), &st) != 0)
        return type;
    if (*special_type(st.st_mode))
        return special_type(st.st_mode);
    if (!uncertain)
        return type;
    const int fd = ::open(path.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    std::string head;
    if (fd >= 0 && read_head(fd, head))
        type = take(g_content_type_guess(path.c_str(), reinterpret_cast<const guchar*>(head.data()),
                                         head.size(), nullptr));
    if (fd >= 0)
        ::close(fd);
    return type;
}

std::string as_type_description(const std::string& type)
{
    return type.empty() ? std::string() : take(g_content_type_get_description(type.c_str()));
}

std::string as_default_app(const std::string& type)
{
    if (type.empty())
        return {};
    GObj<GAppInfo> app(g_app_info_get_default_for_type(type.c_str(), FALSE));
    const char* id = app ? g_app_info_get_id(app.get()) : nullptr;
    return id ? id : "";
}

std::vector<DesktopApp> as_apps_for_type(const std::string& type)
{
    std::vector<DesktopApp> out;
    if (type.empty())
        return out;
    const std::string def = as_default_app(type);
    GList* all = g_app_info_get_all_for_type(type.c_str());
    for (GList* l = all; l; l = l->next) {
        GAppInfo* app = G_APP_INFO(l->data);
        const char* id = g_app_info_get_id(app);
        const char* name = g_app_info_get_name(app);
        if (!id)
            continue;
        DesktopApp a{id, name ? name : id, icon_of(app), def == id};
        if (a.is_default)
            out.insert(out.begin(), std::move(a));
        else
            out.push_back(std::move(a));
    }
    g_list_free_full(all, g_object_unref);
    return out;
}

std::vector<DesktopApp> as_apps_for_types(const std::vector<std::string>& types)
{
    if (types.empty())
        return {};
    std::vector<DesktopApp> out = as_apps_for_type(types[0]);
    for (std::size_t i = 1; i < types.size() && !out.empty(); ++i) {
        const std::vector<DesktopApp> more = as_apps_for_type(types[i]);
        std::erase_if(out, [&](DesktopApp& a) {
            auto it = std::find_if(more.begin(), more.end(), [&](const DesktopApp& m) { return m.id == a.id; });
            if (it == more.end())
                return true;
            a.is_default = a.is_default && it->is_default;
            return false;
        });
    }
    return out;
}

int as_launch_app(const std::string& id, const std::vector<std::string>& paths, std::string* error)
{
    GObj<GDesktopAppInfo> info = launchable(id);
    if (!info)
        return fail(error, nullptr, "No application " + id);
    GList* uris = nullptr;
    for (const std::string& p : paths) {
        GObj<GFile> f(g_file_new_for_path(p.c_str()));
        uris = g_list_append(uris, g_file_get_uri(f.get()));
    }
    GObj<GAppLaunchContext> context(g_app_launch_context_new());
    GError* e = nullptr;
    // Not G_SPAWN_DO_NOT_REAP_CHILD: GLib then starts the application through a
    // short-lived intermediate process, so nothing is left for this one to reap.
    const gboolean ok = g_desktop_app_info_launch_uris_as_manager(
        info.get(), uris, context.get(), G_SPAWN_SEARCH_PATH, child_setup, nullptr, nullptr, nullptr, &e);
    g_list_free_full(uris, g_free);
    if (!ok)
        return fail(error, e, "Could not start " + id);
    return 0;
}

int as_set_default_app(const std::string& id, const std::string& type, std::string* error)
{
    GObj<GDesktopAppInfo> info(g_desktop_app_info_new(id.c_str()));
    if (!info)
        return fail(error, nullptr, "No application " + id);
    const std::string file = take(g_build_filename(g_get_user_config_dir(), "mimeapps.list", nullptr));
    std::unique_ptr<GKeyFile, KeyFileUnref> before(g_key_file_new());
    const bool had = g_key_file_load_from_file(before.get(), file.c_str(),
                                               GKeyFileFlags(G_KEY_FILE_KEEP_COMMENTS | G_KEY_FILE_KEEP_TRANSLATIONS),
                                               nullptr);
    // GIO writes the file whole (a new file renamed over it) and knows the change at
    // once, so this process and every other one reads the new default.
    GError* e = nullptr;
    if (!g_app_info_set_as_default_for_type(G_APP_INFO(info.get()), type.c_str(), &e))
        return fail(error, e, "Could not write the default application");
    if (had)
        keep_comments(file, before.get());
    return 0;
}
