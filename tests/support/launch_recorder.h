// Stands in for the adapter directory while a test runs: a "shellwin" that writes
// its arguments to a log (and, when asked, then runs the command), and a "rec"
// program that logs its arguments. Launches go through the real misc_run.
#pragma once
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

#include "assoc/as_run.h"
#include "read_text.h"
#include "tmpdir.h"

class LaunchRecorder {
public:
    // `run`: the fake shellwin runs the command after logging it.
    explicit LaunchRecorder(bool run = false)
    {
        namespace fs = std::filesystem;
        fs::create_directories(bin());
        fs::create_directories(log());
        // One file per call, written under a temporary name then renamed, so a
        // reader never sees half a record.
        const std::string logger = "f=" + log() + "/$1.$$; shift\n" +
                                   "{ [ $# -eq 0 ] || printf '%s\\0' \"$@\"; } >\"$f.t\"" +
                                   " && /bin/mv \"$f.t\" \"$f\"\n";
        write_script("vell-log", logger);
        std::string win = "\"" + bin() + "/vell-log\" shellwin \"$@\"\n";
        if (run)
            win += "while case $1 in -*) true;; *) false;; esac; do shift; done\nexec \"$@\"\n";
        write_script("shellwin", win);
        write_script("rec", "exec \"" + bin() + "/vell-log\" rec \"$@\"\n");
        old_ = as_adapter_dir();
        as_set_adapter_dir(bin());
    }
    ~LaunchRecorder() { as_set_adapter_dir(old_); }

    std::string bin() const { return dir_ / "bin"; }
    std::string log() const { return dir_ / "log"; }

    void write_script(const std::string& name, const std::string& body) const
    {
        const std::string p = bin() + "/" + name;
        std::ofstream(p) << "#!/bin/sh\n" << body;
        ::chmod(p.c_str(), 0755);
    }

    // The argument vectors logged by `who` ("shellwin", "rec"), once `n` of them are
    // there or after `ms`, sorted (children finish in any order).
    std::vector<std::vector<std::string>> wait(const std::string& who, std::size_t n,
                                               int ms = 5000) const
    {
        auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        std::vector<std::vector<std::string>> out;
        for (;;) {
            out = read(who);
            if (out.size() >= n || std::chrono::steady_clock::now() > until)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return out;
    }
    // The commands handed to the fake shellwin (its last argument), sorted.
    std::vector<std::string> commands(std::size_t n, int ms = 5000) const
    {
        std::vector<std::string> out;
        for (const auto& args : wait("shellwin", n, ms))
            out.push_back(args.empty() ? std::string() : args.back());
        std::sort(out.begin(), out.end());
        return out;
    }
    void clear() const
    {
        for (const auto& e : std::filesystem::directory_iterator(log()))
            std::filesystem::remove(e.path());
    }

private:
    std::vector<std::vector<std::string>> read(const std::string& who) const
    {
        std::vector<std::vector<std::string>> out;
        for (const auto& e : std::filesystem::directory_iterator(log())) {
            const std::string name = e.path().filename();
            if (name.rfind(who + ".", 0) != 0 || name.ends_with(".t"))
                continue;
            const std::string all = read_text(e.path());
            std::vector<std::string> args;
            std::size_t start = 0;
            for (std::size_t z; (z = all.find('\0', start)) != std::string::npos; start = z + 1)
                args.push_back(all.substr(start, z - start));
            out.push_back(args);
        }
        std::sort(out.begin(), out.end());
        return out;
    }

    TmpDir dir_;
    std::string old_;
};
