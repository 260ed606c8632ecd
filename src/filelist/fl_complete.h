// Completion of a typed path from the file system, and the double-Escape that asks
// for it in the path box. GUI thread only.
#pragma once
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

// Completes the last component of an absolute path against the directories on disk
// (names beginning with "." included, files ignored): the common prefix of all
// matching directory names, with a final "/" only when exactly one matched. nullopt
// for a relative path, an unreadable directory or no matching directory.
// "/us" gives "/usr/"; "/usr/l" beside lib and local gives "/usr/l".
std::optional<std::string> find_matching_dir(std::string_view path);

// Counts Escape presses in the path box. Two presses within 2 seconds (whole
// seconds, as time() gives them) ask for a completion.
class EscCounter {
public:
    using Clock = std::function<time_t()>;
    explicit EscCounter(Clock now = [] { return time(nullptr); }) : now_(std::move(now)) {}

    // An Escape press; true when this press completes the pair (the counter is then
    // reset). A press more than 2 seconds after a counted one forgets it and begins a
    // new pair, so a stale first press needs two more.
    bool press();
    // Any other key, or an Escape while the drop-down list is open.
    void reset() { count_ = 0; }
    int count() const { return count_; }

private:
    Clock now_;
    int count_ = 0;
    time_t last_ = 0;
};
