// Everything before the first window: process group, start directory,
// configuration directory, settings record, histories and associations.
// GUI thread, once.
#pragma once
#include <string>
#include <vector>

int init(const std::vector<std::string>& args);
