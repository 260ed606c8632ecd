// What a running file operation needs from the user interface: questions,
// notices, progress, the over-long-name dialog and calls made under the lock.
// The engine calls it from its worker threads only; the GUI implements it with
// hand-offs to its own thread, and tests implement it with scripted answers.
#pragma once
#include <functional>
#include <string>
#include <string_view>

struct FopRequest;

// One refresh of an operation's progress panel, already formatted by the engine:
// the lines are in display form and shortened, the count is "%d of %d", the time
// is one of " ", "%d seconds", "%d:%02d minutes", "%d:%02d hours".
struct FopSlotView {
    std::string header;
    std::string first_line;
    std::string second_line;
    std::string count_text;
    std::string time_text;
    int percent = 0;
};

class FopUi {
public:
    virtual ~FopUi() = default;

    // A question; blocks until answered and returns the chosen button's number,
    // from 1. The button set uses "|" and "," between labels, "@" for the default
    // button and "#" for the one Escape chooses. At most one question is up at a
    // time; a second worker waits for the first.
    virtual int alert(FopRequest& r, const std::string& title, const std::string& buttons,
                      const std::string& message) = 0;

    // A notice with the one button "&Close". One attempt: dropped when a question
    // is up.
    virtual void errinfo(const std::string& title, const std::string& message) = 0;

    // Shows a refresh of the request's panel. Never blocks.
    virtual void show_progress(FopRequest& r, const FopSlotView& view) = 0;

    // The target name was too long: true with new_name set when the user chose
    // Rename, false for Skip. Blocks like a question.
    virtual bool filename_too_long(const std::string& source_path, const std::string& proposed,
                                   std::string& new_name) = 0;

    // Runs fn on the GUI thread and waits for it (the item callback).
    virtual void call_locked(const std::function<void()>& fn) = 0;

    // The worker's last act on the request: its panel may go. The request is
    // freed right after this returns.
    virtual void finished(FopRequest& r) = 0;

    // Display form of a name or path: bytes in, UTF-8 out.
    virtual std::string display(std::string_view bytes) = 0;
};
