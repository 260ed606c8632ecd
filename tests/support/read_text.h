// The whole of a file as bytes; empty when it cannot be read.
#pragma once
#include <fstream>
#include <sstream>
#include <string>

inline std::string read_text(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}
