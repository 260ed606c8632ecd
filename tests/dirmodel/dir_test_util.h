// Helpers shared by the reader tests: making entries and reading a listing.
#pragma once
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "dirmodel/dir_read.h"
#include "dirmodel/dir_sort.h"

inline void make_file(const std::string& path, std::size_t size = 0)
{
    int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
    if (fd >= 0) {
        if (size)
            (void)::ftruncate(fd, static_cast<off_t>(size));
        ::close(fd);
    }
}

inline int read_dir(DirListing& l, const std::string& path, const std::string& filter = "*",
                    DirReadEnv env = {})
{
    l.path = path;
    l.filespec = filter;
    return dir_read(l, dir_cmp_name, 1, env);
}

inline std::vector<std::string> names_of(const DirListing& l)
{
    std::vector<std::string> out;
    for (int i = 0; i < l.count; ++i)
        out.push_back(l[i].name);
    return out;
}

inline const FileRecord* find_record(const DirListing& l, const std::string& name)
{
    for (int i = 0; i < l.count; ++i)
        if (l[i].name == name)
            return &l[i];
    return nullptr;
}
