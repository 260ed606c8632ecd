// A fresh temporary directory per test, removed with everything in it.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

class TmpDir {
public:
    TmpDir()
    {
        const char* base = std::getenv("VELL_TEST_TMP");
        std::string root = base && *base ? base : "/tmp";
        std::filesystem::create_directories(root);
        std::string templ = root + "/vell-XXXXXX";
        char* made = mkdtemp(templ.data());
        path_ = made ? made : "";
    }
    ~TmpDir()
    {
        std::error_code ec;
        if (!path_.empty())
            std::filesystem::remove_all(path_, ec);
    }
    TmpDir(const TmpDir&) = delete;
    TmpDir& operator=(const TmpDir&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};
