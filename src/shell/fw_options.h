// The framework's command-line options: -s server, -x, -y, -h, -w, -S i|m|n.
// Parsed on the GUI thread before the toolkit starts; the start directory is the
// first operand (init_start_path).
#pragma once
#include <optional>
#include <string>
#include <vector>

struct FwOptions {
    std::optional<std::string> server;
    std::optional<int> x, y, height, width;
    char state = 0;  // 'i' iconified, 'm' maximized, 'n' normal, 0 not given
    bool help = false;
    std::string error;  // non-empty: a bad option value, usage should be shown
    std::vector<std::string> operands;  // the words that are neither options nor their values
};

// Each option takes its value attached ("-x10") or as the next word ("-x 10").
// Words that are not framework options are left alone.
FwOptions fw_parse_options(const std::vector<std::string>& args);

// The usage text, with the examples "-x10 -y10 -h200 -w300".
const char* fw_usage();
