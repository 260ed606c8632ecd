#include "shell/init_startup.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

#include "dirmodel/fs_query.h"
#include "shell/fw_options.h"

std::string init_start_path(const std::vector<std::string>& args, const std::string& cwd)
{
    const std::string fallback = cwd.empty() ? std::string("/") : cwd;
    // Only the first operand counts, even when it is not a directory; an option's
    // separate value ("-w 900") is not one.
    for (const std::string& a : fw_parse_options(args).operands) {
        std::string cand = (!a.empty() && a[0] == '/') ? a : cwd + "/" + a;
        if (!cand.empty() && fs_path_is_directory(cand.c_str()) > 0)
            return cand;
        return fallback;
    }
    return fallback;
}

std::string init_current_dir()
{
    char buf[1024];
    return ::getcwd(buf, sizeof buf) ? std::string(buf) : std::string();
}

std::optional<std::string> init_config_dir(const char* home, std::FILE* err)
{
    std::string path = home ? std::string(home) + "/.ke/vell" : std::string("/.ke/vell");
    struct stat st {};
    if (::stat(path.c_str(), &st) == 0 || errno != ENOENT) {
        if (::access(path.c_str(), W_OK) == 0 && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
            return path;
        std::fprintf(err, "VELL error: unable to access config directory %s\n", path.c_str());
        return std::nullopt;
    }
    if (::mkdir(path.c_str(), 0700) != 0) {
        std::fprintf(err, "VELL error: unable to create config directory %s\n", path.c_str());
        return std::nullopt;
    }
    return path;
}
