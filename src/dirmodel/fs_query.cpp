#include "dirmodel/fs_query.h"

#include <sys/stat.h>

int fs_path_is_directory(const char* path)
{
    struct stat st {};
    if (::stat(path, &st) != 0)
        return -1;
    if (!S_ISDIR(st.st_mode))
        return 0;
    return st.st_nlink ? static_cast<int>(st.st_nlink) : 2;
}
