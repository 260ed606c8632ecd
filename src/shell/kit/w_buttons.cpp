#include "shell/kit/w_buttons.h"

ButtonSet w_parse_buttons(std::string_view set, bool comma_separates)
{
    ButtonSet b;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= set.size(); ++i) {
        const bool sep = i == set.size() || set[i] == '|' || (comma_separates && set[i] == ',');
        if (!sep)
            continue;
        std::string label(set.substr(start, i - start));
        start = i + 1;
        const int number = static_cast<int>(b.labels.size()) + 1;
        if (!label.empty() && label[0] == '@') {
            b.default_button = number;
            label.erase(0, 1);
        } else if (!label.empty() && label[0] == '#') {
            b.escape_button = number;
            label.erase(0, 1);
        }
        b.labels.push_back(std::move(label));
    }
    return b;
}
