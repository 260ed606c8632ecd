// Whole files as byte strings, for tests that check exact file contents.
#pragma once
#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

inline std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

inline void spit(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

// The little-endian 32-bit word at off.
inline uint32_t le32(const std::string& b, std::size_t off)
{
    auto at = [&](std::size_t i) { return uint32_t(static_cast<unsigned char>(b.at(off + i))); };
    return at(0) | at(1) << 8 | at(2) << 16 | at(3) << 24;
}
