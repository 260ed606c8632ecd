// Command lines and process start-up for associations, typed commands and the
// program's own windows.
#include "assoc/as_run.h"

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "assoc/as_pipe.h"
#include "dirmodel/dir_types.h"

extern char** environ;

namespace {

constexpr const char kTerminal[] = "shellwin";  // the terminal program's own name
constexpr const char kShell[] = "/bin/sh";
constexpr int kFileLine = 2048;                 // first line of "file" output

bool is_space(char c)
{
    return c && std::strchr(" \t\n\v\f\r", c);
}

const char* skip_space(const char* s)
{
    while (is_space(*s))
        ++s;
    return s;
}

std::string sAdapterDir;
bool sAdapterDirKnown = false;

bool is_dir(const std::string& p)
{
    struct stat st;
    return ::stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// The environment of a launched command: ours with the adapters first on PATH.
std::vector<std::string> launch_env()
{
    std::vector<std::string> env;
    bool have_path = false;
    for (char** e = environ; e && *e; ++e) {
        if (std::strncmp(*e, "PATH=", 5) == 0) {
            have_path = true;
            env.push_back("PATH=" + as_launch_path());
        } else {
            env.emplace_back(*e);
        }
    }
    if (!have_path)
        env.push_back("PATH=" + as_launch_path());
    return env;
}

// `name` along the launch PATH, or "" when nothing executable is there.
std::string find_program(const std::string& name)
{
    if (name.find('/') != std::string::npos)
        return name;
    const std::string path = as_launch_path();
    std::size_t start = 0;
    for (;;) {
        std::size_t colon = path.find(':', start);
        std::string dir = path.substr(start, colon == std::string::npos ? std::string::npos
                                                                        : colon - start);
        std::string cand = (dir.empty() ? std::string(".") : dir) + "/" + name;
        struct stat st;
        if (::stat(cand.c_str(), &st) == 0 && S_ISREG(st.st_mode) &&
            ::access(cand.c_str(), X_OK) == 0)
            return cand;
        if (colon == std::string::npos)
            return {};
        start = colon + 1;
    }
}

// Starts `file` with `argv` and the launch environment. Children get default
// SIGCHLD and SIGPIPE and an empty mask whatever this process set for itself.
pid_t spawn(const std::string& file, const std::vector<std::string>& argv)
{
    std::vector<char*> av;
    for (const std::string& a : argv)
        av.push_back(const_cast<char*>(a.c_str()));
    av.push_back(nullptr);
    const std::vector<std::string> env = launch_env();
    std::vector<char*> ev;
    for (const std::string& e : env)
        ev.push_back(const_cast<char*>(e.c_str()));
    ev.push_back(nullptr);

    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t def, mask;
    sigemptyset(&def);
    sigaddset(&def, SIGCHLD);
    sigaddset(&def, SIGPIPE);
    sigemptyset(&mask);
    posix_spawnattr_setsigdefault(&attr, &def);
    posix_spawnattr_setsigmask(&attr, &mask);
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    pid_t pid = -1;
    const int rc = posix_spawn(&pid, file.c_str(), nullptr, &attr, av.data(), ev.data());
    posix_spawnattr_destroy(&attr);
    if (rc != 0) {
        errno = rc;
        return -1;
    }
    return pid;
}

}  // namespace

int add_name(char* buf, const char* name)
{
    if (!name || !*name)
        return buf ? 0 : 3;
    int n = 3;
    for (const char* p = name; *p; ++p)
        n += *p == '\'' ? 4 : 1;
    if (buf) {
        char* out = buf + std::strlen(buf);
        *out++ = '\'';
        for (const char* p = name; *p; ++p) {
            if (*p == '\'') {
                std::memcpy(out, "'\\''", 4);
                out += 4;
            } else {
                *out++ = *p;
            }
        }
        *out++ = '\'';
        *out++ = ' ';
        *out = '\0';
    }
    return n;
}

namespace {

// Where the shell stands at a point of the command line, as far as it decides how
// a name must be written there to stay one literal piece of text.
enum class Sh { Out, Single, Double, DoubleBrace };

struct Frame {
    Sh st;
    char closer = 0;  // ')' for $(...), '`' for `...`, '}' for "${...}"; 0 for quotes
    int parens = 0;   // open "(" inside a $(...)
};

constexpr int kPlace = -1;  // where the names go

// The names as they must be written in state `st`: outside quotes each one
// single-quoted and followed by a blank; inside quotes joined by blanks and
// escaped for that kind of quote, so the quoted text stays one word.
std::string names_for(Sh st, const std::vector<std::string>& names, int ticks)
{
    std::string s;
    for (const std::string& n : names) {
        if (n.empty())
            continue;
        if (st == Sh::Out)
            s += '\'';
        else if (!s.empty())
            s += ' ';
        for (char c : n) {
            const bool dq = st == Sh::Double || st == Sh::DoubleBrace;
            if (c == '\'' && !dq)
                s += "'\\''";
            else if (dq && (c == '$' || c == '`' || c == '"' || c == '\\'))
                (s += '\\') += c;
            else
                s += c;
        }
        if (st == Sh::Out)
            s += "' ";
    }
    // Inside `...` the shell first takes one backslash off \\, \` and \$.
    for (int i = 0; i < ticks; ++i) {
        std::string t;
        for (char c : s) {
            if (c == '\\' || c == '`' || c == '$')
                t += '\\';
            t += c;
        }
        s.swap(t);
    }
    return s;
}

// Copies `text` (template characters, kPlace where the names go) to the command
// line, following the shell's quoting so that each name is written in the form
// that keeps it literal where it lands: outside quotes, inside '...', inside
// "...", inside $(...), `...` and "${...}".
std::string place_names(const std::vector<int>& text, const std::vector<std::string>& names)
{
    std::vector<Frame> stack{{Sh::Out}};
    std::string out;
    auto ticks = [&] {
        int n = 0;
        for (const Frame& f : stack)
            n += f.closer == '`';
        return n;
    };
    auto at = [&](std::size_t i) { return i < text.size() ? text[i] : 0; };
    for (std::size_t i = 0; i < text.size(); ++i) {
        Frame& f = stack.back();
        const int c = text[i];
        if (c == kPlace) {
            out += names_for(f.st, names, ticks());
            continue;
        }
        out += static_cast<char>(c);
        if (f.st == Sh::Single) {
            if (c == '\'')
                stack.pop_back();
            continue;
        }
        const bool opens_dq = c == '"' && (f.st == Sh::Out || f.st == Sh::DoubleBrace);
        if ((c == '\'' && f.st == Sh::Out) || opens_dq) {
            if (at(i + 1) == kPlace && at(i + 2) == c) {
                // A quote pair around the place alone: the names come quoted already.
                out.pop_back();
                out += names_for(f.st, names, ticks());
                i += 2;
            } else {
                stack.push_back({c == '"' ? Sh::Double : Sh::Single});
            }
            continue;
        }
        if (c == '\\' && i + 1 < text.size() && at(i + 1) != kPlace) {
            out += static_cast<char>(text[++i]);
            continue;
        }
        if (c == '"' && f.st == Sh::Double) {
            stack.pop_back();
        } else if (c == '$' && at(i + 1) == '(') {
            out += '(';
            ++i;
            stack.push_back({Sh::Out, ')'});
        } else if (c == '$' && at(i + 1) == '{' && f.st != Sh::Out) {
            out += '{';
            ++i;
            stack.push_back({Sh::DoubleBrace, '}'});
        } else if (c == '`') {
            if (f.closer == '`')
                stack.pop_back();
            else
                stack.push_back({Sh::Out, '`'});
        } else if (c == '(' && f.st == Sh::Out) {
            ++f.parens;
        } else if (c == ')' && f.st == Sh::Out && f.parens > 0) {
            --f.parens;
        } else if (c == f.closer && stack.size() > 1) {
            stack.pop_back();
        }
    }
    return out;
}

}  // namespace

std::string as_build_cmd(const char* tmpl, const std::vector<std::string>& names)
{
    const char* t = skip_space(tmpl ? tmpl : "");
    if (!*t)
        return {};
    std::vector<int> text;
    bool place = false;
    for (const char* p = t; *p; ++p) {
        const int c = static_cast<unsigned char>(*p);
        if (c == '@') {
            text.push_back(kPlace);
            place = true;
        } else if (c == '\\' && p[1] == '@') {
            text.push_back('@');
            ++p;
        } else {
            text.push_back(c);
        }
    }
    if (!place) {
        // No place: the template as it stands, a blank, the names.
        text.assign(reinterpret_cast<const unsigned char*>(t),
                    reinterpret_cast<const unsigned char*>(t) + std::strlen(t));
        text.push_back(' ');
        text.push_back(kPlace);
    }
    return place_names(text, names);
}

int as_file_cmd(const DirListing& dir, const char* tmpl, const char* name)
{
    if (dir.selected == 1) {
        const bool cur_dir = dir.current == -1 ||
                             (dir.current >= 0 && dir.current < dir.count &&
                              S_ISDIR(dir[dir.current].status.st_mode));
        if (cur_dir)
            return -1;
    }
    if (!tmpl || !*skip_space(tmpl))
        return 0;
    std::vector<std::string> names;
    try {
        if (name) {
            names.emplace_back(name);
        } else {
            if (dir.selected == 0)
                return -1;
            for (int i = 0; i < dir.count; ++i) {
                const FileRecord& r = dir[i];
                if (!(r.flags & DIR_F_SELECTED))
                    continue;
                if (S_ISDIR(r.status.st_mode))
                    return -1;  // directories are never handed to commands
                names.push_back(r.name);
            }
            if (names.empty())
                return -1;
        }
        const std::string cmd = as_build_cmd(tmpl, names);
        return misc_run(0, 0, cmd.c_str());
    } catch (const std::bad_alloc&) {
        return -1;
    }
}

int misc_run(int group, int terminal, const char* command)
{
    const char* cmd = skip_space(command ? command : "");
    if (!*cmd)
        return -1;
    char keig[16];
    std::snprintf(keig, sizeof keig, "%d", group);
    ::setenv("KEIG", keig, 1);

    const std::size_t tl = sizeof kTerminal - 1;
    if (std::strncmp(cmd, kTerminal, tl) == 0 && (!cmd[tl] || is_space(cmd[tl]))) {
        // It opens its own terminal; the shell backgrounds it and ends at once.
        std::string line = "exec " + std::string(cmd) + " &";
        pid_t pid = spawn(kShell, {"sh", "-c", line});
        if (pid < 0)
            return -1;
        int status = 0;
        pid_t r;
        do {
            r = ::waitpid(pid, &status, 0);
        } while (r < 0 && errno == EINTR);
        return r < 0 ? 0 : status;  // with SIGCHLD ignored the status is gone
    }
    const std::string win = as_adapter_dir().empty() ? std::string()
                                                     : as_adapter_dir() + "/" + kTerminal;
    if (win.empty() || ::access(win.c_str(), X_OK) != 0)
        return spawn(kShell, {kShell, "-c", cmd});
    return spawn(win, {win, terminal ? "-zU" : "-U", kShell, "-c", cmd});
}

pid_t as_spawnv(const char* path, const std::vector<std::string>& args)
{
    if (!path || !*path) {
        errno = ENOENT;
        return -1;
    }
    const std::string file = find_program(path);
    if (file.empty()) {
        errno = ENOENT;
        return -1;
    }
    std::vector<std::string> argv{path};
    argv.insert(argv.end(), args.begin(), args.end());
    return spawn(file, argv);
}

pid_t misc_spawn(int, const char* path, ...)
{
    std::vector<std::string> args;
    va_list ap;
    va_start(ap, path);
    while (const char* a = va_arg(ap, const char*))
        args.emplace_back(a);
    va_end(ap);
    return as_spawnv(path, args);
}

std::string as_self_exe()
{
    char buf[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return {};
    return std::string(buf, static_cast<std::size_t>(n));
}

const std::string& as_adapter_dir()
{
    if (!sAdapterDirKnown) {
        sAdapterDirKnown = true;
        std::string exe = as_self_exe();
        const std::size_t slash = exe.rfind('/');
        if (slash != std::string::npos) {
            // The build tree keeps them beside the binary; an installed program
            // finds them in <prefix>/libexec/vell.
            for (const char* rel : {"/vell-adapters", "/../libexec/vell"}) {
                std::string dir = exe.substr(0, slash) + rel;
                if (is_dir(dir)) {
                    sAdapterDir = dir;
                    break;
                }
            }
        }
    }
    return sAdapterDir;
}

void as_set_adapter_dir(const std::string& dir)
{
    sAdapterDir = dir;
    sAdapterDirKnown = true;
}

std::string as_launch_path()
{
    const char* p = std::getenv("PATH");
    std::string rest = p ? p : "/usr/local/bin:/usr/bin:/bin";
    const std::string& dir = as_adapter_dir();
    return dir.empty() ? rest : dir + ":" + rest;
}

int as_get_filetype(const char* path, mode_t mode, std::string& out)
{
    const char* argv[] = {"file", "-L", "--", path, nullptr};
    if (std::FILE* f = as_popenv(argv, "r")) {
        char line[kFileLine];
        const bool got = std::fgets(line, sizeof line, f) != nullptr;
        as_pclose(f);
        if (got)
            return as_filetype_from(path, line, mode, out);
    }
    return as_filetype_from(path, nullptr, mode, out);
}

int as_filetype_from(const char* path, const char* line, mode_t mode, std::string& out)
{
    if (line) {
        // Skip "path: " as a whole, so a ":" inside the path does not cut early.
        const std::string prefix = std::string(path) + ": ";
        if (std::strncmp(line, prefix.c_str(), prefix.size()) == 0) {
            out = line + prefix.size();
        } else if (const char* colon = std::strchr(line, ':')) {
            out = colon[1] ? colon + 2 : colon + 1;
        } else {
            out = line;
        }
        return 1;
    }
    const char* text = nullptr;
    if (S_ISFIFO(mode))
        text = "FIFO";
    else if (S_ISCHR(mode))
        text = "Special File";
    else if (S_ISDIR(mode))
        text = "Directory";
    else if (S_ISBLK(mode))
        text = "Block Special File";
    else if (S_ISLNK(mode))
        text = "Symbolic Link";
    else if ((mode & S_IFMT) == 0x5000)
        text = "Special Named File";
    else if (S_ISSOCK(mode))
        text = "Socket";
    else if (mode & 0x4000)
        text = "Onyx Special Type";
    else if (mode & 0111)
        text = "Executable";
    else if (S_ISREG(mode))
        text = "Regular File";
    if (!text)
        return 0;
    out = text;
    return 1;
}
