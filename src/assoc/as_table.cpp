// The association table and its file "associate.003".
#include "assoc/as_table.h"
#include "shell/kit/io_util.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "dirmodel/es_path.h"

AssocTable apat;

const char kAssocHeader[] =
    "# <pattern[|pattern[..]]> \\t <open_command> \\t <view_command> \\t <edit command>\n";
static_assert(sizeof(kAssocHeader) == 81, "the header line is 80 bytes");

namespace {

struct DefaultRow {
    const char* pattern;
    const char* open;
    const char* view;
    const char* edit;
};

// "*.rm" twice in row 7 and row 5's edit-without-view are deliberate.
constexpr DefaultRow kDefaults[] = {
    {"*.[ch]", "scrib", "scrib -r", "scrib"},
    {"[Mm]akefile", "shellwin -z make -f @", "scrib", "scrib"},
    {"*.txt", "scrib", "scrib -r", "scrib"},
    {"*.core", "shellwin -z dumpinfo @", "", ""},
    {"^*.jpg|*.jpeg|*.gif|*.bmp", "glance", "", "glance"},
    {"^*.html|*.htm", "rover -u file://$PWD/@", "rover -u file://$PWD/@", ""},
    {"^*.rm|*.rm|*.ram|*.smi|*.smil", "realplay", "realplay", ""},
    {"^*.wav|*.aif|*.aiff", "tunes", "tunes", ""},
    {"^*.mpeg|*.mp[123agv]|*.au|*.iff", "tunes", "tunes", ""},
    {"^*.ttf|*.pfr|*.kef|*.ffs", "cp $PWD/@ /usr/kestrel/font", "", ""},
};

std::string sTablePath;

bool blank(const char* s)
{
    for (; *s; ++s)
        if (!std::strchr(" \t\n\v\f\r", *s))
            return false;
    return true;
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

struct LineBuf {
    char* line = nullptr;  // getline's, grown to the longest line
    std::size_t room = 0;
    ~LineBuf() { std::free(line); }
};

}  // namespace

void AssocTable::add(const char* pattern, const char* open, const char* view, const char* edit)
{
    apat.push_back(AssocRec{pattern, open, edit, view});
    if (apat_ctr() >= max_)
        max_ = apat_ctr() + kStep;
}

void AssocTable::clear()
{
    apat.clear();
    max_ = kStep;
}

std::string AssocLoadResult::message() const
{
    switch (status) {
    case AssocLoadStatus::Invalid: {
        char buf[64];
        std::snprintf(buf, sizeof buf, "Invalid association at line %d", line);
        return buf;
    }
    case AssocLoadStatus::NoMemory:
        return "Unable to allocate memory";
    default:
        return {};
    }
}

AssocLoadResult as_read_table(AssocTable& t, const std::string& path)
{
    AssocLoadResult res;
    t.clear();
    std::FILE* raw = std::fopen(path.c_str(), "r");
    if (!raw) {
        for (const DefaultRow& r : kDefaults)
            t.add(r.pattern, r.open, r.view, r.edit);
        res.status = AssocLoadStatus::Defaults;
        return res;
    }
    std::unique_ptr<std::FILE, FileCloser> f(raw);
    // Whole lines, however long: a fixed buffer would split a long comment or
    // record and read its tail as a line of its own.
    LineBuf buf;
    try {
        ssize_t len;
        errno = 0;
        while ((len = ::getline(&buf.line, &buf.room, f.get())) >= 0) {
            char* line = buf.line;
            if (line[0] == '#')
                continue;
            if (len && line[len - 1] == '\n')
                line[--len] = '\0';
            if (!std::strchr(line, '\t')) {
                res.status = AssocLoadStatus::Invalid;
                res.line = t.apat_ctr() + 1;
                t.clear();
                return res;
            }
            const char* fld[4];
            _split_str(line, '\t', fld, 4);
            t.add(fld[0], fld[1], fld[2], fld[3]);
        }
        if (!std::feof(f.get()) && errno == ENOMEM)
            throw std::bad_alloc();
    } catch (const std::bad_alloc&) {
        t.clear();
        res.status = AssocLoadStatus::NoMemory;
    }
    return res;
}

AssocLoadResult init_read_associations(const char* dir, const char* name)
{
    // Without a configuration directory the defaults apply and nothing is written.
    sTablePath = dir && *dir ? std::string(dir) + "/" + (name ? name : "") : std::string();
    return as_read_table(apat, sTablePath);
}

int as_write_table(const AssocTable& t, const std::string& path)
{
    std::string text = kAssocHeader;
    for (const AssocRec& r : t.apat)
        text += r.pattern + '\t' + r.open + '\t' + r.view + '\t' + r.edit + '\n';
    return write_file_atomic(path, text.data(), text.size()) ? 0 : -1;
}

int as_save_associations()
{
    if (sTablePath.empty()) {
        errno = ENOENT;
        return -1;
    }
    return as_write_table(apat, sTablePath);
}

const std::string& as_table_path()
{
    return sTablePath;
}

void _add_pat(const char* pattern, const char* open, const char* view, const char* edit)
{
    apat.add(pattern, open, view, edit);
}

int _split_str(const char* src, char sep, const char** fields, int n)
{
    // Sized to the record, so a record of any length is split whole.
    static std::string buf;
    static const char empty[] = "";
    if (n < 1)
        return 0;
    buf.assign(src ? src : "");
    for (int i = 0; i < n; ++i)
        fields[i] = empty;
    int seps = 0;
    char* p = buf.data();
    for (int k = 0; k < n; ++k) {
        fields[k] = p;
        char* s = std::strchr(p, sep);
        if (!s)
            break;
        *s = '\0';
        ++seps;
        p = s + 1;
    }
    return seps;
}

std::vector<int> as_matching(const AssocTable& t, const char* name)
{
    std::vector<int> out;
    for (int i = 0; i < t.apat_ctr(); ++i)
        if (es_strcmp(name, t[i].pattern.c_str()) == 0)
            out.push_back(i);
    return out;
}

int _get_pat_idx(const AssocTable& t, const char* name)
{
    for (int i = 0; i < t.apat_ctr(); ++i)
        if (es_strcmp(name, t[i].pattern.c_str()) == 0)
            return i;
    return -1;
}

int _get_pat_idx(const char* name)
{
    return _get_pat_idx(apat, name);
}

const char* _get_pat_cmd(const AssocTable& t, const char* name, int kind)
{
    if (kind < AS_OPEN || kind > AS_EDIT)
        return nullptr;
    int i = _get_pat_idx(t, name);
    if (i < 0)
        return nullptr;
    const AssocRec& r = t[i];
    const std::string& cmd = kind == AS_OPEN ? r.open : kind == AS_VIEW ? r.view : r.edit;
    return blank(cmd.c_str()) ? nullptr : cmd.c_str();
}

const char* _get_pat_cmd(const char* name, int kind)
{
    return _get_pat_cmd(apat, name, kind);
}

std::string as_line(const AssocRec& r)
{
    return r.pattern + '\t' + r.open + '\t' + r.view + '\t' + r.edit;
}

std::vector<std::string> as_table_lines(const AssocTable& t)
{
    std::vector<std::string> out;
    out.reserve(t.apat.size());
    for (const AssocRec& r : t.apat)
        out.push_back(as_line(r));
    return out;
}

void as_table_replace(AssocTable& t, const std::vector<std::string>& lines)
{
    t.clear();
    for (const std::string& l : lines) {
        const char* fld[4];
        _split_str(l.c_str(), '\t', fld, 4);
        t.add(fld[0], fld[1], fld[2], fld[3]);
    }
}
