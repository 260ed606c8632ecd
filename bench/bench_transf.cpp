// Reading a URI list that another program put on the clipboard or dropped: N
// files (default 80,000), each in a directory of its own, the worst case for the
// grouping by directory. Prints the median of RUNS in milliseconds last.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "clipboard/transf.h"

int main(int argc, char** argv)
{
    const int n = argc > 1 ? std::atoi(argv[1]) : 80000;
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    std::string text;
    for (int i = 0; i < n; ++i)
        text += "file:///data/dir" + std::to_string(i) + "/file%20" + std::to_string(i) + "\r\n";
    std::vector<double> ms;
    for (int r = 0; r < runs; ++r) {
        std::vector<FileTransf> groups;
        std::string bad;
        const auto t0 = std::chrono::steady_clock::now();
        if (!transf_from_uri_lines(text, groups, bad) || groups.size() != static_cast<std::size_t>(n)) {
            std::fprintf(stderr, "wrong result\n");
            return 1;
        }
        ms.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    }
    std::sort(ms.begin(), ms.end());
    std::printf("%d lines, %d directories\n%.1f\n", n, n, ms[ms.size() / 2]);
}
