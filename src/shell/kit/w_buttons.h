// Button sets of questions: one string of labels separated by "|" (and "," where
// the caller allows it); "&" marks the mnemonic, a leading "@" the default button,
// a leading "#" the one Escape chooses. Buttons are numbered from 1. Thread-safe.
#pragma once
#include <string>
#include <string_view>
#include <vector>

struct ButtonSet {
    std::vector<std::string> labels;  // marks removed, "&" kept
    int default_button = 1;
    int escape_button = 0;  // 0: the last button
    int escape() const { return escape_button ? escape_button : static_cast<int>(labels.size()); }
};

ButtonSet w_parse_buttons(std::string_view set, bool comma_separates = false);
