#include "clipboard/transf.h"

#include <cstring>
#include <sys/stat.h>

#include "dirmodel/dir_types.h"

namespace {
constexpr char kMagic[4] = {'V', 'T', 'R', '1'};

void put32(std::string& out, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

bool get32(std::string_view& in, uint32_t& v)
{
    if (in.size() < 4)
        return false;
    v = 0;
    for (int i = 0; i < 4; ++i)
        v |= static_cast<uint32_t>(static_cast<unsigned char>(in[i])) << (8 * i);
    in.remove_prefix(4);
    return true;
}

bool get_str(std::string_view& in, std::string& s)
{
    uint32_t n = 0;
    if (!get32(in, n) || in.size() < n)
        return false;
    s.assign(in.data(), n);
    in.remove_prefix(n);
    return true;
}

bool unreserved(unsigned char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

void append_encoded(std::string& out, std::string_view bytes)
{
    static const char digits[] = "0123456789ABCDEF";
    std::size_t i = 0;
    while (i < bytes.size()) {
        std::size_t run = i;
        while (run < bytes.size() && unreserved(static_cast<unsigned char>(bytes[run])))
            ++run;
        out.append(bytes.data() + i, run - i);  // most names are runs of plain characters
        if (run == bytes.size())
            break;
        const auto c = static_cast<unsigned char>(bytes[run]);
        const char esc[3] = {'%', digits[c >> 4], digits[c & 15]};
        out.append(esc, 3);
        i = run + 1;
    }
}

// Every name of the record as a URI, each followed by `sep`, encoded in place: a
// selection of 100,000 files must not cost 100,000 temporary strings.
void append_uris(std::string& out, const FileTransf& t, std::string_view sep, bool sep_before)
{
    std::string prefix = "file://";
    append_encoded(prefix, t.srcdir);
    if (t.srcdir != "/")
        prefix += '/';
    out.reserve(out.size() + t.names.size() * (prefix.size() + sep.size() + 16));
    for (const std::string& n : t.names) {
        if (n.empty())
            continue;
        if (sep_before)
            out += sep;
        out += prefix;
        append_encoded(out, n);
        if (!sep_before)
            out += sep;
    }
}

int hex(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}
}  // namespace

FileTransf transf_from_selection(const DirListing& l, bool* one_dir)
{
    FileTransf t;
    t.srcdir = l.path;
    t.count = l.selected;
    t.names.reserve(static_cast<std::size_t>(l.selected));
    for (int i = 0; i < l.count && static_cast<int>(t.names.size()) < t.count; ++i)
        if (l[i].flags & DIR_F_SELECTED)
            t.names.emplace_back(l[i].name.view());
    t.count = static_cast<int32_t>(t.names.size());
    if (one_dir)
        *one_dir = false;
    if (one_dir && t.count == 1)
        for (int i = 0; i < l.count; ++i)
            if (l[i].flags & DIR_F_SELECTED) {
                *one_dir = S_ISDIR(l[i].status.st_mode);
                break;
            }
    return t;
}

std::string transf_pack(const FileTransf& t)
{
    std::size_t size = sizeof kMagic + 8 + t.srcdir.size();
    for (const std::string& n : t.names)
        size += 4 + n.size();
    std::string out;
    out.reserve(size);
    out.append(kMagic, sizeof kMagic);
    put32(out, static_cast<uint32_t>(t.names.size()));
    put32(out, static_cast<uint32_t>(t.srcdir.size()));
    out += t.srcdir;
    for (const std::string& n : t.names) {
        put32(out, static_cast<uint32_t>(n.size()));
        out += n;
    }
    return out;
}

bool transf_unpack(std::string_view in, FileTransf& t)
{
    if (in.size() < sizeof kMagic || std::memcmp(in.data(), kMagic, sizeof kMagic) != 0)
        return false;
    in.remove_prefix(sizeof kMagic);
    uint32_t count = 0;
    FileTransf got;
    // Each name takes at least its 4-byte length: a count beyond that is damage.
    if (!get32(in, count) || !get_str(in, got.srcdir) || count > in.size() / 4 || count > INT32_MAX)
        return false;
    got.names.resize(count);
    for (std::string& n : got.names)
        if (!get_str(in, n))
            return false;
    if (!in.empty())
        return false;
    got.count = static_cast<int32_t>(count);
    t = std::move(got);
    return true;
}

int transf_check(const FileTransf& t, std::string& bad)
{
    if (t.srcdir.empty() || t.srcdir[0] != '/') {
        bad = t.srcdir;
        return -2;
    }
    for (const std::string& n : t.names)
        if (n.empty() || n == "." || n == ".." || n.find('/') != std::string::npos) {
            bad = n;
            return -1;
        }
    return 0;
}

std::string uri_from_path(std::string_view path)
{
    std::string out = "file://";
    append_encoded(out, path);
    return out;
}

bool path_from_uri(std::string_view uri, std::string& path)
{
    constexpr std::string_view scheme = "file://";
    if (uri.size() < scheme.size() || uri.substr(0, scheme.size()) != scheme)
        return false;
    uri.remove_prefix(scheme.size());
    if (uri.substr(0, 9) == "localhost")
        uri.remove_prefix(9);
    if (uri.empty() || uri[0] != '/')
        return false;  // another host
    std::string out;
    for (std::size_t i = 0; i < uri.size(); ++i) {
        if (uri[i] == '%' && i + 2 < uri.size() && hex(uri[i + 1]) >= 0 && hex(uri[i + 2]) >= 0) {
            out.push_back(static_cast<char>(hex(uri[i + 1]) * 16 + hex(uri[i + 2])));
            i += 2;
        } else {
            out.push_back(uri[i]);
        }
    }
    if (out.find('\0') != std::string::npos)
        return false;
    path = std::move(out);
    return true;
}

std::string transf_uri_list(const FileTransf& t)
{
    std::string out;
    append_uris(out, t, "\r\n", false);
    return out;
}

std::string transf_gnome_list(const FileTransf& t, bool cut)
{
    std::string out = cut ? "cut" : "copy";
    append_uris(out, t, "\n", true);
    return out;
}

bool transf_from_uri_lines(std::string_view text, std::vector<FileTransf>& groups, std::string& bad)
{
    groups.clear();
    std::unordered_map<std::string, std::size_t> group_of;  // directory -> its place in groups
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' '))
            line.remove_suffix(1);
        if (line.empty() || line[0] == '#')
            continue;
        std::string path;
        if (!path_from_uri(line, path)) {
            bad.assign(line);
            groups.clear();
            return false;
        }
        while (path.size() > 1 && path.back() == '/')
            path.pop_back();
        const std::size_t slash = path.rfind('/');
        std::string dir = slash == 0 ? "/" : path.substr(0, slash), name = path.substr(slash + 1);
        if (name.empty())
            continue;  // the root itself
        const auto [at, fresh] = group_of.try_emplace(dir, groups.size());
        if (fresh)
            groups.push_back({0, std::move(dir), {}});
        FileTransf& g = groups[at->second];
        g.names.push_back(std::move(name));
        ++g.count;
    }
    return true;
}

void CutList::assign(FileTransf t)
{
    t_ = std::move(t);
    left_.clear();
    left_.reserve(t_.names.size());
    for (std::size_t i = 0; i < t_.names.size(); ++i)
        if (!t_.names[i].empty())
            left_.emplace(t_.names[i], i);
}

bool CutList::contains(std::string_view dir, std::string_view name) const
{
    return !left_.empty() && dir == t_.srcdir && left_.count(name) != 0;
}

bool CutList::remove(std::string_view dir, std::string_view name)
{
    if (dir != t_.srcdir)
        return false;
    auto it = left_.find(name);
    if (it == left_.end())
        return false;
    const std::size_t slot = it->second;
    left_.erase(it);
    t_.names[slot].clear();
    return true;
}

FileTransf CutList::remaining() const
{
    FileTransf out;
    out.srcdir = t_.srcdir;
    out.names.reserve(left_.size());
    for (const std::string& n : t_.names)
        if (!n.empty())
            out.names.push_back(n);
    out.count = static_cast<int32_t>(out.names.size());
    return out;
}
