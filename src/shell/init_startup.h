// Start-up decisions that need no window: the start directory and the
// configuration directory. Called once from init() on the GUI thread.
#pragma once
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

// The start directory from the program's arguments (argv[0] excluded): the first
// word that is neither an option nor an option's value ("-x 10 DIR" and "-x10 DIR"
// both give DIR), made absolute against cwd, used only when it names a directory;
// otherwise cwd, or "/" when cwd is empty.
std::string init_start_path(const std::vector<std::string>& args, const std::string& cwd);

// The working directory, or "" when it cannot be read (at most 1024 bytes).
std::string init_current_dir();

// ".ke/vell" under home (or "/.ke/vell" without HOME). An existing directory must be
// writable; a missing one is made with one mkdir 0700 (no parents). Returns the path,
// or nothing after writing the "VELL error: ..." line to err.
std::optional<std::string> init_config_dir(const char* home, std::FILE* err);
