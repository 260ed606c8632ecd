// Keeps the tree a stack of layers: every #include "..." under src/ names its own
// folder or a lower one, and nothing built into the core names a widget unit's
// header. Prints each offence as file:line and fails; a folder without a rank fails
// too, so a new folder gets its place before it gets code.
// Usage: check_layers SRC_DIR CORE_SOURCES (one path a line, as CMake lists them).
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace fs = std::filesystem;

namespace {
// Lowest first. The shell's top is the only folder that includes the subsystems' widgets.
const std::map<std::string, int> kRanks = {
    {"dirmodel", 0}, {"shell/kit", 1}, {"fileops", 2}, {"assoc", 3},
    {"filelist", 4}, {"clipboard", 5}, {"hotlist", 6}, {"shell", 7},
};

std::string rel(const fs::path& p, const fs::path& src)
{
    return fs::relative(fs::weakly_canonical(p), src).generic_string();
}
}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: check_layers SRC_DIR CORE_SOURCES\n");
        return 2;
    }
    const fs::path src = fs::weakly_canonical(argv[1]);
    std::set<std::string> core;  // .cpp files of vell_core, relative to src
    {
        std::ifstream in(argv[2]);
        for (std::string line; std::getline(in, line);)
            if (!line.empty())
                core.insert(rel(fs::path(line).is_absolute() ? fs::path(line) : src / line, src));
    }
    // A header is of the core or of the widgets as the unit it declares is; a header
    // without a unit of its own is neither.
    auto side = [&](const std::string& file) -> int {  // 1 core, 2 widgets, 0 neither
        fs::path unit = file;
        unit.replace_extension(".cpp");
        if (core.count(unit.generic_string()))
            return 1;
        return fs::exists(src / unit) ? 2 : 0;
    };

    const std::regex include(R"re(^\s*#\s*include\s*"([^"]+)")re");
    int files = 0, includes = 0, faults = 0;
    std::set<std::string> unranked;
    for (const auto& e : fs::recursive_directory_iterator(src)) {
        const std::string ext = e.path().extension().string();
        if (!e.is_regular_file() || (ext != ".cpp" && ext != ".h"))
            continue;
        const std::string me = rel(e.path(), src);
        const std::string folder = fs::path(me).parent_path().generic_string();
        const auto my_rank = kRanks.find(folder);
        if (my_rank == kRanks.end()) {
            unranked.insert(folder.empty() ? "." : folder);
            continue;
        }
        ++files;
        std::ifstream in(e.path());
        int n = 0;
        for (std::string line; std::getline(in, line);) {
            ++n;
            std::smatch m;
            if (!std::regex_search(line, m, include))
                continue;
            const std::string name = m[1];
            fs::path target = name.find('/') == std::string::npos ? e.path().parent_path() / name : src / name;
            if (!fs::exists(target))
                continue;  // generated (ui_*.h) or a system header written with quotes
            ++includes;
            const std::string to = rel(target, src);
            const std::string to_folder = fs::path(to).parent_path().generic_string();
            const auto to_rank = kRanks.find(to_folder);
            if (to_rank != kRanks.end() && to_rank->second > my_rank->second) {
                std::printf("%s:%d: %s (rank %d) includes %s of %s (rank %d), a higher layer\n", me.c_str(), n,
                            folder.c_str(), my_rank->second, to.c_str(), to_folder.c_str(), to_rank->second);
                ++faults;
            }
            if (side(me) == 1 && side(to) == 2) {
                std::printf("%s:%d: a core unit includes %s, a widget unit\n", me.c_str(), n, to.c_str());
                ++faults;
            }
        }
    }
    for (const std::string& f : unranked) {
        std::printf("src/%s: a folder without a layer: give it a rank in check_layers.cpp\n", f.c_str());
        ++faults;
    }
    std::printf("layers: %d files, %d includes, %d faults\n", files, includes, faults);
    return faults ? 1 : 0;
}
