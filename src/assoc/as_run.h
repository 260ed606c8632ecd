// Turning a command template and file names into a shell command line, and starting
// commands and programs without waiting and without leaving a zombie (SIGCHLD is
// ignored from start-up). Launched commands find the platform adapters first on
// PATH. GUI thread, except as_get_filetype, which any thread may call.
#pragma once
#include <string>
#include <sys/types.h>
#include <vector>

struct DirListing;

// Room `name` takes in a name list: 3 + its length + 3 per single quote (3 for "").
// With a buffer, appends 'name' and a blank to the string in it (a single quote in
// the name becomes '\'') and returns the same count, 0 for "".
int add_name(char* buf, const char* name);

// The command line for `tmpl` with `names` ("@" marks their place, "\@" is a
// literal "@", no "@" appends them after a blank). Each name is written for the
// quoting in force where it lands, so the shell takes it as literal text whatever
// the template: outside quotes as 'name' and a blank (a quote pair around "@"
// alone is dropped), inside '...' or "..." escaped for that quote and joined by
// blanks. Leading white space of the template is skipped; an empty result means
// nothing to run.
std::string as_build_cmd(const char* tmpl, const std::vector<std::string>& names);

// Builds from `tmpl` and `name` (or, with no name, every selected entry of `dir`)
// and runs it with misc_run(0, 0, ...). 0 for an empty template; -1 when nothing may
// run (one entry selected while the current one is a directory, nothing selected, a
// directory among the selection).
int as_file_cmd(const DirListing& dir, const char* tmpl, const char* name);

// Sets KEIG to `group`, then starts the command line: one whose first word is
// "shellwin" through "/bin/sh -c 'exec ... &'" (the shell's status), anything else
// as shellwin -U (or -zU with `terminal`) /bin/sh -c command (a process id). -1 for
// an empty or blank command, or a failed start.
int misc_run(int group, int terminal, const char* command);

// Starts `path` (looked up along the launch PATH when it holds no "/") with `args`;
// argv[0] is `path`. The process id or -1. Ends with a nullptr argument.
pid_t misc_spawn(int group, const char* path, ...);
pid_t as_spawnv(const char* path, const std::vector<std::string>& args);

// The directory of the adapters: set by as_set_adapter_dir, else "vell-adapters"
// beside the running executable, else <prefix>/libexec/vell. "" when there is none.
const std::string& as_adapter_dir();
void as_set_adapter_dir(const std::string& dir);
// The running executable (/proc/self/exe).
std::string as_self_exe();
// PATH for launched commands: the adapter directory first.
std::string as_launch_path();

// The file's type as the "file" tool gives it (text after "name: ", newline kept),
// else a text from `mode`. 1 when `out` was set, 0 when nothing fits.
int as_get_filetype(const char* path, mode_t mode, std::string& out);
// The same from the tool's first line for `path`, already read (null: it gave none).
int as_filetype_from(const char* path, const char* line, mode_t mode, std::string& out);
