// Worker-side services of an operation: progress refreshes, the pause point, the
// time-left estimate, questions and notices. Called on the operation's worker
// thread (the request is the worker's); everything user-facing goes through
// r.ui, which does the hand-off to the GUI thread.
#pragma once
#include "fop_request.h"
#include "fop_ui.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

using FopText = std::optional<std::string_view>;
inline constexpr std::nullopt_t kFopKeep = std::nullopt;

inline constexpr int kFopPercentZero = -100;  // percent: set 0
inline constexpr int kFopPercentKeep = -1;    // percent: keep, and refresh now
inline constexpr int kFopTimeKeep = -2;

// Stores the given texts (kFopKeep keeps one) and refreshes the panel, at most
// once per 0.1 s unless percent is kFopPercentKeep or time_left is 0. errno is
// preserved. Returns 0.
int fop_update_info(FopRequest& r, FopText header, FopText first_label, FopText first_path,
                    FopText second_label, FopText second_path, int percent, int time_left);
// The display texts of the panel as fop_update_info would show them now.
FopSlotView fop_slot_view(FopRequest& r);

// Seconds left from the average rate since the first call; -1 on the first call,
// -2 when too early to tell.
int fop_calc_time_left(FopRequest& r, int64_t done, int64_t total);
// " ", "%d seconds", "%d:%02d minutes" or "%d:%02d hours".
std::string fop_time_text(int seconds);
// Shortens a "label + path" line longer than 60 characters to
// label + "/*" + its last directories and name.
std::string& fop_short_path(std::string& line);

// Waits while the request is paused. 1 if cancel was set while waiting, else 0.
int fop_pause_trap(FopRequest& r);

// A question; returns the chosen button's number from 1.
int fop_alert(FopRequest& r, const std::string& title, const std::string& buttons,
              const char* fmt, ...) __attribute__((format(printf, 4, 5)));
// An error on one item, asked with "&Continue|Continue A&ll|&Abort": 1 to go on
// past the item, -1 to abort. After "Continue All" it returns 1 without asking.
int fop_ask_continue(FopRequest& r, const std::string& title, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
// A notice with the one button "&Close".
void fop_errinfo(FopRequest& r, const std::string& title, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
void fop_ENOMEM(FopRequest& r);

// The item callback, run under the lock.
void fop_item_done(FopRequest& r, const std::string& dir, const std::string& name);
// Display form of a name or path, for messages.
std::string fop_disp(FopRequest& r, std::string_view bytes);
