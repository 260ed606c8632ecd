// Launching for the file list: running a command line and opening a file through
// the association table. Until the association table is in, these record what they
// were asked to do, and tests read the record. GUI thread only.
#pragma once
#include <string>
#include <utility>
#include <vector>

// Runs a command line. Returns 0.
int misc_run(const char* command);
// Runs the open command of every association whose pattern the name matches, in
// table order, in directory `dir`. 0 when at least one matched, -1 otherwise.
int as_open_file(const char* dir, const char* name);

// What was run, in order: "run:<command>" and "open:<command>" lines.
std::vector<std::string>& as_launch_calls();
// The stand-in association table: (pattern, open command with "@" for the name).
void as_set_stub_associations(std::vector<std::pair<std::string, std::string>> table);
