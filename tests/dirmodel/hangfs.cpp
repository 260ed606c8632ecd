// A two-entry FUSE file system for tests: "ok" answers, the status call on "hang"
// blocks until the file system is unmounted.
#define FUSE_USE_VERSION 31
#include <cerrno>
#include <cstring>
#include <fuse.h>
#include <sys/stat.h>
#include <unistd.h>

static void* hang_init(fuse_conn_info* conn, fuse_config* cfg)
{
    conn->want &= ~FUSE_CAP_READDIRPLUS;
    cfg->attr_timeout = 0;
    cfg->entry_timeout = 0;
    return nullptr;
}

static int hang_getattr(const char* path, struct stat* st, fuse_file_info*)
{
    std::memset(st, 0, sizeof *st);
    if (std::strcmp(path, "/") == 0) {
        st->st_mode = S_IFDIR | 0755;
        st->st_nlink = 2;
        return 0;
    }
    if (std::strcmp(path, "/ok") == 0) {
        st->st_mode = S_IFREG | 0644;
        st->st_nlink = 1;
        st->st_size = 7;
        return 0;
    }
    if (std::strcmp(path, "/hang") == 0) {
        for (;;)
            pause();
    }
    return -ENOENT;
}

static int hang_readdir(const char*, void* buf, fuse_fill_dir_t fill, off_t, fuse_file_info*,
                        fuse_readdir_flags)
{
    fill(buf, ".", nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
    fill(buf, "..", nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
    fill(buf, "ok", nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
    fill(buf, "hang", nullptr, 0, static_cast<fuse_fill_dir_flags>(0));
    return 0;
}

int main(int argc, char* argv[])
{
    static fuse_operations ops{};
    ops.init = hang_init;
    ops.getattr = hang_getattr;
    ops.readdir = hang_readdir;
    return fuse_main(argc, argv, &ops, nullptr);
}
