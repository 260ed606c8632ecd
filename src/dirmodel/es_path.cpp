// Pattern matching and path text helpers.
#include "dirmodel/es_path.h"

#include <cctype>
#include <cstring>
#include <fnmatch.h>
#include <string>

namespace {

std::string lowered(const char* s)
{
    std::string out(s);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

}  // namespace

int es_strcmp(const char* name, const char* pattern)
{
    try {
        return EsPattern(pattern).match(name) ? 0 : 1;
    } catch (...) {
        return 1;  // no room for the pattern's parts: no match
    }
}

EsPattern::EsPattern(std::string_view pattern)
{
    if (!pattern.empty() && pattern[0] == '^') {
        fold_ = true;
        pattern.remove_prefix(1);
    }
    std::string pat(pattern);
    if (fold_)
        pat = lowered(pat.c_str());
    std::size_t start = 0;
    for (;;) {
        const std::size_t bar = pat.find('|', start);
        const std::size_t end = bar == std::string::npos ? pat.size() : bar;
        std::string alt = pat.substr(start, end - start);
        // fnmatch without flags: "*" takes any bytes, "/" and a leading "." too, so
        // a "*" at an end is a prefix, suffix or substring test on the bytes.
        const std::size_t inner_begin = alt.starts_with('*') ? 1 : 0;
        const std::size_t inner_end = alt.size() > inner_begin && alt.ends_with('*') ? alt.size() - 1 : alt.size();
        const std::string inner = alt.substr(inner_begin, inner_end - inner_begin);
        const bool plain = inner.find_first_of("*?[\\") == std::string::npos;
        if (alt == "*")
            any_ = true;
        if (!plain)
            alts_.push_back({Kind::Glob, std::move(alt)});
        else if (inner_begin && inner_end < alt.size())
            alts_.push_back({Kind::Contains, inner});
        else if (inner_begin)
            alts_.push_back({Kind::Suffix, inner});
        else if (inner_end < alt.size())
            alts_.push_back({Kind::Prefix, inner});
        else
            alts_.push_back({Kind::Exact, inner});
        if (bar == std::string::npos)
            break;
        start = end + 1;
    }
}

bool EsPattern::match(std::string_view name) const
{
    if (any_)
        return true;
    if (!fold_)
        return match_folded(name);
    char small[256];
    std::string big;
    char* low = small;
    if (name.size() >= sizeof small) {
        big.resize(name.size() + 1);
        low = big.data();
    }
    for (std::size_t i = 0; i < name.size(); ++i)
        low[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(name[i])));
    low[name.size()] = '\0';
    return match_folded({low, name.size()});
}

// `name` is NUL-terminated where fnmatch needs it: every caller's name is.
bool EsPattern::match_folded(std::string_view name) const
{
    for (const Alt& a : alts_) {
        switch (a.kind) {
        case Kind::Exact:
            if (name == a.text)
                return true;
            break;
        case Kind::Prefix:
            if (name.starts_with(a.text))
                return true;
            break;
        case Kind::Suffix:
            if (name.ends_with(a.text))
                return true;
            break;
        case Kind::Contains:
            if (name.find(a.text) != std::string_view::npos)
                return true;
            break;
        case Kind::Glob:
            if (fnmatch(a.text.c_str(), name.data(), 0) == 0)
                return true;
            break;
        }
    }
    return false;
}

std::string es_join(std::string_view dir, std::string_view name)
{
    std::string out;
    out.reserve(dir.size() + name.size() + 1);
    out += dir;
    if (out.empty() || out.back() != '/')
        out += '/';
    out += name;
    return out;
}

std::string es_dir_of(std::string_view path)
{
    const auto slash = path.find_last_of('/');
    if (slash == std::string_view::npos)
        return ".";
    return std::string(slash == 0 ? path.substr(0, 1) : path.substr(0, slash));
}

std::string es_name_of(std::string_view path)
{
    const auto slash = path.find_last_of('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

int es_construct_fullpath(char* out, const char* dir, const char* name)
{
    std::size_t n = 0;
    if (dir && name) {
        std::size_t dl = std::strlen(dir);
        std::memcpy(out, dir, dl);
        n = dl;
        if (!(dl && dir[dl - 1] == '/') && name[0] != '/')
            out[n++] = '/';
        std::size_t nl = std::strlen(name);
        std::memcpy(out + n, name, nl);
        n += nl;
    } else if (dir || name) {
        const char* one = dir ? dir : name;
        n = std::strlen(one);
        std::memcpy(out, one, n);
    }
    out[n] = '\0';
    while (n >= 3 && out[n - 1] == '/')
        out[--n] = '\0';
    return static_cast<int>(n);
}

int es_remove_subdirectory(char* path)
{
    int len = static_cast<int>(std::strlen(path));
    for (int i = len - 2; i >= 1; --i) {
        if (path[i] == '/') {
            path[i] = '\0';
            return i;
        }
    }
    if (path[0] == '/') {
        path[1] = '\0';
        return 1;
    }
    return len;
}

char* es_strip_pathname(char* path)
{
    std::size_t len = std::strlen(path);
    if (len < 2)
        return path;
    std::size_t i = 0;
    if (path[0] == '/') {
        std::size_t run = 0;
        while (path[run] == '/')
            ++run;
        if (run >= 2) {
            std::memmove(path + 2, path + run, len - run + 1);
            len -= run - 2;
            i = 2;
        } else {
            i = 1;
        }
    }
    // After a run is squeezed the scan skips the run's old length into the shifted
    // text, so it may pass over the next run (a//b//c gives a/b//c).
    for (; i < len; ++i) {
        if (path[i] != '/' || path[i + 1] != '/')
            continue;
        std::size_t run = 2;
        while (path[i + run] == '/')
            ++run;
        std::memmove(path + i + 1, path + i + run, len - (i + run) + 1);
        len -= run - 1;
        i += run;
    }
    while (len > 1 && path[len - 1] == '/')
        path[--len] = '\0';
    return path;
}

int misc_all_digits(const char* text)
{
    for (; *text; ++text)
        if (!std::isdigit(static_cast<unsigned char>(*text)))
            return 0;
    return 1;
}
