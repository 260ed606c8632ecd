#include "assoc/as_launch.h"

#include "dirmodel/es_path.h"

namespace {
std::vector<std::pair<std::string, std::string>> sTable;
}

std::vector<std::string>& as_launch_calls()
{
    static std::vector<std::string> calls;
    return calls;
}

void as_set_stub_associations(std::vector<std::pair<std::string, std::string>> table)
{
    sTable = std::move(table);
}

int misc_run(const char* command)
{
    as_launch_calls().push_back(std::string("run:") + (command ? command : ""));
    return 0;
}

int as_open_file(const char*, const char* name)
{
    int matched = 0;
    for (const auto& [pattern, open] : sTable) {
        if (es_strcmp(name, pattern.c_str()) != 0)
            continue;
        std::string cmd;
        for (char c : open)
            cmd += c == '@' ? std::string(name) : std::string(1, c);
        as_launch_calls().push_back("open:" + cmd);
        ++matched;
    }
    return matched ? 0 : -1;
}
