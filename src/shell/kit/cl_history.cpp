// The history lists behind the combo boxes, and their five files (read at start,
// three of them written at exit).
#include "shell/kit/cl_history.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "shell/kit/io_util.h"

namespace {

int slot_of(const ClHistory& l, int k) { return (l.head + k) % CL_MAX; }

bool join_path(std::string& out, const char* dir, const char* name)
{
    if (!dir || !name)
        return false;
    out = dir;
    if (out.empty() || out.back() != '/')
        out += '/';
    out += name;
    return true;
}

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};

constexpr const char* kWebPrefixes[] = {"http://", "ftp://", "gopher://", "file://"};

}  // namespace

std::vector<std::string> ClHistory::entries() const
{
    std::vector<std::string> out;
    out.reserve(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k)
        out.push_back(ring[static_cast<std::size_t>(slot_of(*this, k))]);
    return out;
}

namespace {
// False when the file cannot be opened.
bool read_lines(const std::string& path, ClHistory& l)
{
    std::unique_ptr<FILE, FileCloser> f(std::fopen(path.c_str(), "re"));
    if (!f)
        return false;
    // fgets with room for CL_LINE_MAX bytes and the NUL: a longer line comes back in
    // pieces, each its own entry.
    char line[CL_LINE_MAX + 1];
    while (l.count < CL_MAX && std::fgets(line, sizeof line, f.get())) {
        std::size_t n = std::strlen(line);
        if (n > 0 && line[n - 1] == '\n') {
            line[--n] = '\0';
        } else if (n == CL_LINE_MAX) {
            // The line just filled the buffer: its newline ends it, not a new entry.
            const int c = std::fgetc(f.get());
            if (c != '\n' && c != EOF)
                std::ungetc(c, f.get());
        }
        l.ring[static_cast<std::size_t>(l.count)].assign(line, n);
        ++l.count;
    }
    return true;
}
}  // namespace

ClHistory cl_read(const char* dir, const char* name)
{
    ClHistory l;
    l.mark_changed();
    std::string path;
    if (join_path(path, dir, name))
        read_lines(path, l);
    return l;
}

int cl_save(const ClHistory& list, const char* dir, const char* name)
{
    std::string path;
    if (!join_path(path, dir, name))
        return -1;
    std::string text;
    for (int k = 0; k < list.count; ++k) {
        text += list.ring[static_cast<std::size_t>(slot_of(list, k))];
        text += '\n';
    }
    return write_file_atomic(path, text.data(), text.size()) ? 0 : -1;
}

int cl_save_merged(ClHistory& list, const char* dir, const char* name)
{
    std::string path;
    if (!join_path(path, dir, name))
        return -1;
    ClHistory disk;
    if (read_lines(path, disk)) {
        for (const std::string& text : list.used)
            cl_add(disk, text);
        disk.used.clear();
        disk.mark_changed();
        list = std::move(disk);
    }
    if (cl_save(list, dir, name) != 0)
        return -1;
    list.used.clear();
    return 0;
}

void cl_add(ClHistory& l, std::string_view text)
{
    auto at = [&l](int slot) -> std::string& { return l.ring[static_cast<std::size_t>(slot)]; };

    std::erase(l.used, text);
    l.used.emplace_back(text);
    // Older uses than the last CL_MAX distinct ones are pushed out anyway.
    if (l.used.size() > std::size_t(CL_MAX))
        l.used.erase(l.used.begin());

    int found = -1;
    for (int k = 0; k < l.count; ++k) {
        if (at(slot_of(l, k)) == text) {
            found = k;
            break;
        }
    }
    if (found == 0)
        return;

    if (found > 0) {
        int s = slot_of(l, found);
        std::string moved = std::move(at(s));
        if (s > l.head) {
            for (int i = s; i > l.head; --i)
                at(i) = std::move(at(i - 1));
            at(l.head) = std::move(moved);
        } else {
            // Wrapped: close the gap towards head and take the slot before it.
            for (int i = s; i < l.head - 1; ++i)
                at(i) = std::move(at(i + 1));
            l.head -= 1;
            at(l.head) = std::move(moved);
        }
        l.mark_changed();
        return;
    }

    if (l.count > 0)
        l.head = (l.head + CL_MAX - 1) % CL_MAX;
    // When the ring is full this slot held the oldest entry, which is dropped.
    at(l.head).assign(text);
    if (l.count < CL_MAX)
        ++l.count;
    l.mark_changed();
}

const char* cl_get(const ClHistory& l, int n)
{
    if (n < 1 || n > l.count)
        return nullptr;
    return l.ring[static_cast<std::size_t>(slot_of(l, n - 1))].c_str();
}

void cl_destroy(ClHistory& l)
{
    for (auto& s : l.ring)
        std::string().swap(s);
    l.head = 0;
    l.count = 0;
    l.used.clear();
}

const char* cl_is_web_address(const char* text)
{
    if (!text)
        return nullptr;
    for (const char* prefix : kWebPrefixes) {
        std::size_t n = std::strlen(prefix);
        if (std::strncmp(text, prefix, n) == 0)
            return text + n;
    }
    return nullptr;
}

const char* cl_find_pattern(const ClHistory& l, const char* text)
{
    if (!text)
        return nullptr;
    if (const char* rest = cl_is_web_address(text))
        text = rest;
    std::size_t n = std::strlen(text);
    for (int k = 0; k < l.count; ++k) {
        const char* entry = l.ring[static_cast<std::size_t>(slot_of(l, k))].c_str();
        if (const char* rest = cl_is_web_address(entry))
            entry = rest;
        if (std::strncmp(entry, text, n) == 0)
            return entry;
    }
    return nullptr;
}

void init_read_cboxs(ClBoxes& b, const char* dir)
{
    b.path = cl_read(dir, CL_PATH_FILE);
    b.fspec = cl_read(dir, CL_SPEC_FILE);
    if (b.fspec.count == 0) {
        cl_add(b.fspec, "*");
        b.fspec.used.clear();  // a default, not a use: it must not go over another's filters
    }
    b.pattern = cl_read(dir, CL_PATTERN_FILE);
    b.with = cl_read(dir, CL_WITH_FILE);
    b.copy = cl_read(dir, CL_COPY_FILE);
}

void init_save_cboxs(ClBoxes& b, const char* dir)
{
    cl_save_merged(b.path, dir, CL_PATH_FILE);
    cl_save_merged(b.fspec, dir, CL_SPEC_FILE);
    cl_save_merged(b.pattern, dir, CL_PATTERN_FILE);
}

void init_destroy_cboxs(ClBoxes& b)
{
    for (ClHistory* l : {&b.path, &b.fspec, &b.pattern, &b.with, &b.copy})
        cl_destroy(*l);
}
