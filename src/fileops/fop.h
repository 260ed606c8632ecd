// The file operation engine's entry for the GUI: start a copy, move or delete on
// a worker thread of its own, and compute the request flags from the settings.
// All of it is called on the GUI thread.
#pragma once
#include "fop_request.h"
#include "fop_ui.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// Makes the request and starts its detached worker. Returns null with errno
// EINVAL (no names, or a missing source directory or destination for copy and
// move), ENOMEM, or the thread-creation error. The worker owns the request from
// then on: it calls ui->finished(*r) last and frees the request right after.
FopRequest* fop(int kind, const std::string& srcdir, const std::vector<std::string>& names,
                const std::string& dest, uint32_t flags, void* slot,
                std::function<void(const std::string&, const std::string&)> item_cb, FopUi* ui);

// The two halves of fop(), for callers that fill in more of the request (a
// restore's entries, an undo's checks) before it starts. fop_make gives null
// with errno EINVAL or ENOMEM; fop_launch frees the request and gives null with
// errno set when its thread cannot start.
std::unique_ptr<FopRequest> fop_make(int kind, const std::string& srcdir, const std::vector<std::string>& names,
                                     const std::string& dest, uint32_t flags);
FopRequest* fop_launch(std::unique_ptr<FopRequest> r, void* slot,
                       std::function<void(const std::string&, const std::string&)> item_cb, FopUi* ui);

// Request flags from the settings record's option word (cfg::OPT_*).
// single_non_directory: a delete of exactly one item that is not a directory.
uint32_t fop_flags_from_options(uint32_t options_word, int kind, bool single_non_directory);
