#include "hotlist/hl_file.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "shell/kit/io_util.h"

namespace {
// A line that just filled the buffer leaves its newline behind; read on its own
// it would be one more, empty, entry.
void drop_newline(FILE* f)
{
    const int c = std::fgetc(f);
    if (c != '\n' && c != EOF)
        std::ungetc(c, f);
}
}  // namespace

int HotList::add(const std::string& path)
{
    if (contains(path))
        return -1;
    entries.push_back(path);
    return 0;
}

bool HotList::remove(const std::string& path)
{
    auto it = std::find(entries.begin(), entries.end(), path);
    if (it == entries.end())
        return false;
    entries.erase(it);
    return true;
}

bool HotList::contains(const std::string& path) const
{
    return std::find(entries.begin(), entries.end(), path) != entries.end();
}

void HotlistEdits::note_add(const std::string& path)
{
    std::erase(removed, path);
    if (std::find(added.begin(), added.end(), path) == added.end())
        added.push_back(path);
}

void HotlistEdits::note_remove(const std::string& path)
{
    std::erase(added, path);
    if (std::find(removed.begin(), removed.end(), path) == removed.end())
        removed.push_back(path);
}

HotList hotlist_merge(const HotList& disk, const HotList& mine, const HotlistEdits& edits)
{
    auto in = [](const std::vector<std::string>& v, const std::string& s) {
        return std::find(v.begin(), v.end(), s) != v.end();
    };
    HotList out;
    if (edits.reordered) {
        for (const std::string& e : mine.entries)
            if (disk.contains(e) || in(edits.added, e))
                out.add(e);
        for (const std::string& e : disk.entries)
            if (!in(edits.removed, e))
                out.add(e);
        return out;
    }
    for (const std::string& e : disk.entries)
        if (!in(edits.removed, e))
            out.add(e);
    for (const std::string& e : edits.added)
        out.add(e);
    return out;
}

int hotlist_read(const std::string& file, HotList& out)
{
    out.entries.clear();
    std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(file.c_str(), "r"), std::fclose);
    if (!f) {
        out.entries.emplace_back("/");
        return -1;
    }
    char buf[1025];
    while (std::fgets(buf, sizeof buf, f.get())) {
        std::string line(buf);
        if (!line.empty() && line.back() == '\n')
            line.pop_back();
        else if (line.size() == sizeof buf - 1)
            drop_newline(f.get());
        out.add(line);
    }
    return 0;
}

int hotlist_save_merged(const std::string& file, const HotList& mine, HotlistEdits& edits)
{
    HotList disk;
    if (hotlist_write(file, hotlist_read(file, disk) == 0 ? hotlist_merge(disk, mine, edits) : mine) != 0)
        return -1;
    edits = HotlistEdits{};
    return 0;
}

int hotlist_write(const std::string& file, const HotList& list)
{
    std::string text;
    for (const std::string& e : list.entries)
        text.append(e).push_back('\n');
    return write_file_atomic(file, text.data(), text.size()) ? 0 : -1;
}
