// Status calls of the directory reader, run on a few worker threads so that a call
// that hangs on a dead mount costs one abandoned worker and a time-out, never the
// GUI. A few stuck workers at most in the whole process: past them, what no worker
// has taken times out at once. Used by dir_read only; every member is called on the reader thread.
#pragma once
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "dirmodel/dir_types.h"

// The status call: fstatat's signature. Tests swap in one that hangs.
using DirStatFn = std::function<int(int dirfd, const char* name, struct stat* st, int flags)>;

// What a worker found for one entry. Kept small: the reading thread reads every
// one of them after another core wrote it, and the batches in flight are what a
// read holds beyond its records.
struct DirStatSlot {
    std::atomic<uint8_t> state{0};
    uint8_t bits = 0;   // DIR_SB_* below
    uint16_t err = 0;   // errno of the failed status call
    std::atomic<uint32_t> started_ms{0};  // when its call began, in the pool's own milliseconds
    FileStatus st;      // the target's status for a link whose target answered
};
inline constexpr uint8_t DIR_SB_LSTAT_FAILED = 0x1;
inline constexpr uint8_t DIR_SB_LINK = 0x2;
inline constexpr uint8_t DIR_SB_TARGET_FAILED = 0x4;
inline constexpr uint8_t DIR_SB_READLINK_FAILED = 0x8;

// A run of entry names handed to the workers at once.
struct DirStatBatch {
    std::string names;             // NUL-terminated names back to back
    std::vector<uint32_t> offsets; // start of each name in `names`
    std::unique_ptr<DirStatSlot[]> entries;
    alignas(64) std::atomic<std::size_t> next{0};  // its own line: the workers' counter

    DirStatBatch() = default;
    ~DirStatBatch() { delete[] links_.load(); }
    DirStatBatch(const DirStatBatch&) = delete;
    DirStatBatch& operator=(const DirStatBatch&) = delete;

    std::size_t size() const { return offsets.size(); }
    const char* name(std::size_t i) const { return names.data() + offsets[i]; }
    // The link text of entry i, for a link. Most batches have no link: the texts'
    // room is made by the first worker that meets one.
    std::string& link(std::size_t i);
    const std::string& link(std::size_t i) const { return links_.load()[i]; }

private:
    std::atomic<std::string*> links_{nullptr};
};

struct DirStatJob;

class DirStatPool {
public:
    // dirfd is duplicated: a worker stuck in a call keeps its own descriptor.
    DirStatPool(int dirfd, DirStatFn fn, int threads, std::chrono::milliseconds timeout);
    ~DirStatPool();
    DirStatPool(const DirStatPool&) = delete;
    DirStatPool& operator=(const DirStatPool&) = delete;

    // Hands a filled batch (names and offsets set) to the workers.
    void submit(const std::shared_ptr<DirStatBatch>& batch);

    // Waits for entry i of the batch, calling pump about every pump_every while
    // waiting. True when the entry's result is in its slot, false when its status
    // call did not return within the time-out. A wait that has to sleep sleeps
    // until a run of entries is done, so the reader wakes once a run and not once
    // an entry.
    bool wait(DirStatBatch& batch, std::size_t i, const std::function<void()>& pump,
              std::chrono::steady_clock::time_point& last_pump, std::chrono::milliseconds pump_every);

    // True when entry i's result is in its slot already; never waits.
    bool ready(const DirStatBatch& batch, std::size_t i) const;

private:
    bool may_start() const;
    bool spawn_worker();

    std::shared_ptr<DirStatJob> job_;
    std::chrono::milliseconds timeout_;
    int want_threads_;
    int started_ = 0;
    bool inline_ = false;   // the system gave no thread at all: the calls run here
    bool starved_ = false;  // no worker may be started: entries time out at once
};
