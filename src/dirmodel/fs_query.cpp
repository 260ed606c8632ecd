#include "dirmodel/fs_query.h"

#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "dirmodel/es_path.h"
#include "dirmodel/fname.h"

int fs_path_is_directory(const char* path)
{
    struct stat st {};
    if (::stat(path, &st) != 0)
        return -1;
    if (!S_ISDIR(st.st_mode))
        return 0;
    return st.st_nlink ? static_cast<int>(st.st_nlink) : 2;
}

int fs_path_has_subdirectories(const char* parent, const char* name, int flags)
{
    constexpr std::size_t kPathMax = 1024;
    std::string joined((parent ? std::strlen(parent) : 0) + (name ? std::strlen(name) : 0) + 2, '\0');
    joined.resize(static_cast<std::size_t>(es_construct_fullpath(joined.data(), parent, name)));
    const char* encoded = fname_encode(joined.c_str());
    if (!encoded)
        return -2;
    std::string path(encoded, strnlen(encoded, kPathMax - 1));

    const int links = fs_path_is_directory(path.c_str());
    if (links > 2)
        return links;

    struct Closer {
        void operator()(DIR* d) const { ::closedir(d); }
    };
    std::unique_ptr<DIR, Closer> dir(::opendir(path.c_str()));
    if (!dir)
        return -1;
    const bool dots = flags & 0x2;
    while (const struct dirent* e = ::readdir(dir.get())) {
        const char* n = e->d_name;
        if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0')))
            continue;
        if (n[0] == '.' && !dots)
            continue;
        struct stat st {};
        if (::fstatat(::dirfd(dir.get()), n, &st, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        if (S_ISDIR(st.st_mode))
            return links;
    }
    return 0;
}
