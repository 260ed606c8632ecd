#include "shell/fw_options.h"

#include <charconv>
#include <cstring>

namespace {
std::optional<int> parse_int(const std::string& s)
{
    int v = 0;
    const char* end = s.data() + s.size();
    auto [p, ec] = std::from_chars(s.data(), end, v);
    if (ec != std::errc() || p != end || s.empty())
        return std::nullopt;
    return v;
}
}  // namespace

FwOptions fw_parse_options(const std::vector<std::string>& args)
{
    FwOptions o;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--help") {
            o.help = true;
            continue;
        }
        if (a.size() < 2 || a[0] != '-' || !std::strchr("sxyhwS", a[1])) {
            if (a.empty() || a[0] != '-')
                o.operands.push_back(a);
            continue;
        }
        std::string value;
        if (a.size() > 2) {
            value = a.substr(2);
        } else if (i + 1 < args.size()) {
            value = args[++i];
        } else {
            o.error = "option " + a + " needs a value";
            return o;
        }
        const char opt = a[1];
        if (opt == 's') {
            o.server = value;
        } else if (opt == 'S') {
            if (value.size() != 1 || !std::strchr("imn", value[0])) {
                o.error = "-S takes i, m or n";
                return o;
            }
            o.state = value[0];
        } else {
            auto n = parse_int(value);
            if (!n || ((opt == 'h' || opt == 'w') && *n <= 0)) {
                o.error = std::string("bad value for -") + opt + ": " + value;
                return o;
            }
            (opt == 'x' ? o.x : opt == 'y' ? o.y : opt == 'h' ? o.height : o.width) = *n;
        }
    }
    return o;
}

const char* fw_usage()
{
    return "Usage: vell [options] [directory]\n"
           "  -s server   display server to use\n"
           "  -x x        initial horizontal position\n"
           "  -y y        initial vertical position\n"
           "  -h h        initial height\n"
           "  -w w        initial width\n"
           "  -S i|m|n    initial state: iconified, maximized or normal\n"
           "Example: vell -x10 -y10 -h200 -w300 /tmp\n";
}
