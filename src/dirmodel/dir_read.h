// The directory reader: fills a listing with one record per entry and sorts it.
// Called on the GUI thread. The reading runs on a thread of its own; the hooks run
// on the calling thread while the reader waits, so the two never touch the listing
// at once.
#pragma once
#include <chrono>
#include <cstdint>
#include <dirent.h>
#include <functional>

#include "dirmodel/dir_statpool.h"
#include "dirmodel/dir_types.h"

// Bits of the reader's option word that make it list dot entries; clearing either
// hides them.
inline constexpr uint32_t DIR_OPT_SHOW_DOT = 0x104;

// What dir_read needs from the program around it.
struct DirReadEnv {
    bool hide_dot = false;
    bool folders_first = false;

    // Shows a text in the status field `status1` ("Reading Directory").
    std::function<void(const char* text)> show_status;
    // Lets the GUI process pending events (repaint, timers). Called about every
    // 20 ms of reading and while waiting on a slow status call.
    std::function<void()> pump_events;
    // The progress timer on `status2`: attach a repeating timer of `ms` whose
    // callback shows x_print_progress of the listing, fire it once, detach it.
    std::function<void(int ms)> timer_attach;
    std::function<void()> timer_trigger;
    std::function<void()> timer_detach;

    // Set: a read in name order lists and sorts the names first and calls this
    // once, before the status calls are made; the records are then in their final
    // order (but for entries found gone or of another type by their status call),
    // and those flagged DIR_F_PENDING have a name and the type the directory gave,
    // nothing else yet. The reader then fills them in the order shown, pumping
    // events as it goes.
    std::function<void()> listed;

    // Called on the reader's own thread, not the caller's, once the directory is
    // open and the working one, or could not be: before anything is read.
    std::function<void()> opened;

    // A status call not back within this time marks its entry as timed out.
    std::chrono::milliseconds stat_timeout{10000};
    // The status call (null: fstatat), made on the status workers, several at once,
    // and the number of status workers (0: default).
    DirStatFn stat_fn;
    int stat_threads = 0;
    std::chrono::milliseconds pump_every{20};

    // hide_dot from the reader's option word.
    static bool hide_dot_from_options(uint32_t reader_options)
    {
        return (reader_options & DIR_OPT_SHOW_DOT) != DIR_OPT_SHOW_DOT;
    }
};

// Reads listing.path into the listing, keeping non-directories that match
// listing.filespec, then sorts with dir_sort. Returns 0, or -1 when the path is
// unset, cannot be made the working directory, or cannot be opened (the listing is
// then empty and the progress timer stays attached). The working directory stays
// at the listing's path.
int dir_read(DirListing& listing, DirCmpFn primary, int ascending, const DirReadEnv& env);

// How many records the process has made so far; re-reads reuse records instead.
uint64_t dir_records_allocated();

// Status carried by the directory stream itself. This platform's streams carry
// none, so both answer -1 and the reader asks the file system.
int lstat_optimize(const struct dirent* entry, FileStatus* out);
int stat_optimize(const struct dirent* entry, FileStatus* out);

// The texts of an unreadable entry.
inline constexpr const char* DIR_TEXT_TIMEOUT = "(unable to read - timeout)";
inline constexpr const char* DIR_TEXT_NO_INFO = "(unable to read info)";
inline constexpr const char* DIR_TEXT_NO_LINK = "(unable to read link info)";
