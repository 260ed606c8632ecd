// The directory reader. Names are read on the reader thread, status calls run on
// the status workers (dir_statpool.h) a few batches ahead, and the records are
// filled on the reader thread.
#include "dirmodel/dir_read.h"

#include <algorithm>
#include <atomic>
#include <ostream>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <system_error>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string_view>
#include <thread>
#include <unistd.h>

#include "dirmodel/dir_entry.h"
#include "dirmodel/dir_names.h"
#include "dirmodel/dir_sort.h"
#include "dirmodel/es_path.h"

namespace {

constexpr int kGrowSlots = 128;
constexpr std::size_t kBatchEntries = 512;
// Enough for the workers to go on with while the reader waits for the GUI thread to
// pump its events (2-5 ms, and the workers finish about an entry a microsecond).
constexpr std::size_t kBatchesAhead = 8;
// While the names are shown (20-40 ms of GUI time): at 24 the workers ran dry
// 10 ms before it ended.
constexpr std::size_t kListedAhead = 32;
constexpr int kProgressTimerMs = 300;

uint64_t sRecordsMade = 0;

FileRecord* new_record()
{
    ++sRecordsMade;
    return new FileRecord;
}

int default_threads()
{
    unsigned hw = std::thread::hardware_concurrency();
    return hw >= 4 ? 3 : 2;
}

void grow(DirListing& l)
{
    try {
        l.records.resize(static_cast<std::size_t>(l.capacity) + kGrowSlots, nullptr);
    } catch (const std::bad_alloc&) {
        std::_Exit(1);
    }
    l.capacity += kGrowSlots;
}

}  // namespace

bool dir_hidden_name(const char* n, bool hide_dot)
{
    if (n[0] != '.')
        return false;
    if (n[1] == '\0' || (n[1] == '.' && n[2] == '\0'))
        return true;
    return hide_dot;
}

namespace {

// Reads up to kBatchEntries names that are to be listed. Empty at the end.
std::shared_ptr<DirStatBatch> read_batch(DirNames& d, bool hide_dot)
{
    auto b = std::make_shared<DirStatBatch>();
    b->names.reserve(kBatchEntries * 16);
    b->offsets.reserve(kBatchEntries);
    while (b->offsets.size() < kBatchEntries) {
        const DirNameEntry* e = d.next();
        if (!e)
            break;
        if (dir_hidden_name(e->name, hide_dot))
            continue;
        b->offsets.push_back(static_cast<uint32_t>(b->names.size()));
        b->names.append(e->name, std::strlen(e->name) + 1);
    }
    return b;
}

// The names of the live records, for the duplicate check: open addressing over
// one array of record indexes (plus one; 0 is a free slot), so the whole table
// goes back to the system when the read ends.
class NameSet {
public:
    explicit NameSet(const DirListing& l) : l_(l) {}
    // False when a record of the same name is already in. `index` is where the
    // record named `n` is (or is about to be) in the listing; the records before it
    // stay where they are.
    bool insert(std::string_view n, uint32_t index)
    {
        if ((used_ + 1) * 2 > slots_.size())
            rehash(std::max<std::size_t>(1024, slots_.size() * 2));
        return place(n, index);
    }

    void release()
    {
        std::vector<uint32_t>().swap(slots_);
        used_ = 0;
    }

private:
    std::string_view name(uint32_t index) const { return l_.records[index]->name.view(); }
    bool place(std::string_view n, uint32_t index)
    {
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t i = std::hash<std::string_view>{}(n) & mask;; i = (i + 1) & mask) {
            if (!slots_[i]) {
                slots_[i] = index + 1;
                ++used_;
                return true;
            }
            if (name(slots_[i] - 1) == n)
                return false;
        }
    }
    void rehash(std::size_t n)
    {
        std::vector<uint32_t> old(n, 0);
        old.swap(slots_);
        used_ = 0;
        for (uint32_t s : old)
            if (s)
                place(name(s - 1), s - 1);
    }

    const DirListing& l_;
    std::vector<uint32_t> slots_;
    std::size_t used_ = 0;
};

}  // namespace

DirListing::~DirListing()
{
    for (FileRecord* r : records)
        delete r;
}

void dir_status_from_stat(FileStatus& out, const struct stat& st)
{
    out.st_size = st.st_size;
    out.st_mtim.tv_sec = st.st_mtim.tv_sec;
    out.st_uid = st.st_uid;
    out.st_gid = st.st_gid;
    out.st_mode = st.st_mode;
    out.st_nlink = static_cast<uint32_t>(st.st_nlink);
}

void RecName::assign(std::string_view t)
{
    const std::size_t n = t.size();
    if (n <= kInline) {
        char* old = on_heap() ? heap_ptr() : nullptr;
        if (n)
            std::memmove(raw_, t.data(), n);
        raw_[n] = '\0';
        raw_[kInline] = char(kInline - n);  // 0, the terminator, when full
        std::free(old);
        return;
    }
    if (on_heap() && n <= heap_room()) {
        char* p = heap_ptr();
        std::memmove(p, t.data(), n);
        p[n] = '\0';
        const uint32_t len = static_cast<uint32_t>(n);
        std::memcpy(raw_ + 8, &len, sizeof len);
        return;
    }
    const std::size_t room = (n + 16) & ~std::size_t(15);
    char* p = static_cast<char*>(std::malloc(room));
    if (!p)
        throw std::bad_alloc();
    std::memcpy(p, t.data(), n);  // before the old buffer goes: t may be in it
    p[n] = '\0';
    release();
    const uint32_t len = static_cast<uint32_t>(n);
    const uint32_t room24 = static_cast<uint32_t>(std::min<std::size_t>(room - 1, 0xFFFFFF));
    std::memcpy(raw_, &p, sizeof p);
    std::memcpy(raw_ + 8, &len, sizeof len);
    std::memcpy(raw_ + 12, &room24, 3);
    raw_[kInline] = char(kHeap);
}

std::size_t RecName::heap_room() const
{
    uint32_t room = 0;
    std::memcpy(&room, raw_ + 12, 3);
    return room;
}

void RecName::release()
{
    if (on_heap()) {
        std::free(heap_ptr());
        clear_inline();
    }
}

std::ostream& operator<<(std::ostream& os, const RecName& n)
{
    return os << n.view();
}

namespace {
// The record pool: slabs carved into cells, freed cells kept on a list. Records
// are made on the reader thread and dropped on the GUI thread; the lock keeps
// the two apart. Under AddressSanitizer every record is its own allocation,
// so that misuse of one is still caught.
static_assert(sizeof(FileRecord) == 64, "a record is held a million times over");

struct PoolCell {
    PoolCell* next;
};
std::atomic_flag sPoolLock = ATOMIC_FLAG_INIT;
PoolCell* sPoolFree = nullptr;
constexpr std::size_t kSlabRecords = 1024;

struct PoolGuard {
    PoolGuard()
    {
        while (sPoolLock.test_and_set(std::memory_order_acquire))
            std::this_thread::yield();
    }
    ~PoolGuard() { sPoolLock.clear(std::memory_order_release); }
};
}  // namespace

void* FileRecord::operator new(std::size_t size)
{
#ifndef __SANITIZE_ADDRESS__
    if (size == sizeof(FileRecord)) {
        PoolGuard g;
        if (!sPoolFree) {
            auto* slab = static_cast<char*>(::operator new(kSlabRecords * sizeof(FileRecord)));
            for (std::size_t i = kSlabRecords; i-- > 0;)
                sPoolFree = new (slab + i * sizeof(FileRecord)) PoolCell{sPoolFree};
        }
        PoolCell* c = sPoolFree;
        sPoolFree = c->next;
        return c;
    }
#endif
    return ::operator new(size);
}

void FileRecord::operator delete(void* p, std::size_t size) noexcept
{
    if (!p)
        return;
#ifndef __SANITIZE_ADDRESS__
    if (size == sizeof(FileRecord)) {
        PoolGuard g;
        sPoolFree = new (p) PoolCell{sPoolFree};
        return;
    }
#endif
    ::operator delete(p, size);
}

void FileRecord::set_link(std::string_view text)
{
    if (!link)
        link = std::make_unique<char[]>(DIR_LINK_BUF);  // zero-filled
    const std::size_t n = std::min(text.size(), DIR_LINK_BUF - 1);
    std::memcpy(link.get(), text.data(), n);
    link[n] = '\0';
}

uint64_t dir_records_allocated()
{
    return sRecordsMade;
}

int lstat_optimize(const struct dirent*, FileStatus*)
{
    return -1;
}

int stat_optimize(const struct dirent*, FileStatus*)
{
    return -1;
}

namespace {

// A fresh read starts empty: the live records become spares.
void empty_listing(DirListing& l)
{
    l.spare += l.count;
    l.count = 0;
    l.dirs = 0;
    l.selected = 0;
    l.selected_dirs = 0;
    l.total_size = 0;
    l.current = -1;
}

// Makes the listing's path the working directory and opens it; -1 when either
// fails.
int open_listing(const DirListing& l)
{
    if (l.path.empty() || ::chdir(l.path.c_str()) != 0)
        return -1;
    return ::open(l.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

FileRecord* dir_take_record(DirListing& l, FileRecord* hand)
{
    FileRecord* r = hand;
    if (!r) {
        if (l.spare > 0) {
            const int at = l.count + l.spare - 1;
            r = l.records[static_cast<std::size_t>(at)];
            l.records[static_cast<std::size_t>(at)] = nullptr;
            --l.spare;
            r->name.clear();
        } else {
            r = new_record();
        }
    }
    // A record in hand from a filtered-out or duplicate entry, or a spare,
    // still holds that entry's flags and link text: none of it is this one's.
    r->flags = 0;
    if (r->link)
        r->link[0] = '\0';
    return r;
}

namespace {

// Entry i's status and link into the record. Returns the errno of a failed
// status call (ETIMEDOUT when it did not come back), else 0.
int fill_status(FileRecord* r, const DirStatBatch& b, std::size_t i, bool answered)
{
    const DirStatSlot& s = b.entries[i];
    int err = 0;
    if (!answered || (s.bits & DIR_SB_LSTAT_FAILED)) {
        r->status = FileStatus{};
        r->status.st_uid = static_cast<uid_t>(-1);
        r->status.st_gid = static_cast<gid_t>(-1);
        r->flags |= DIR_F_UNREADABLE;
        err = answered ? s.err : ETIMEDOUT;
    } else {
        r->status = s.st;
        if (s.bits & DIR_SB_LINK) {
            r->flags |= DIR_F_LINK;
            if (s.bits & DIR_SB_TARGET_FAILED)
                r->flags |= DIR_F_UNREADABLE;
            if (s.bits & DIR_SB_READLINK_FAILED) {
                r->set_link(DIR_TEXT_NO_LINK);
                r->flags |= DIR_F_UNREADABLE;
            } else {
                r->set_link(b.link(i));
            }
        }
    }
    return err;
}

}  // namespace

bool dir_fill_entry(FileRecord* r, const DirStatBatch& b, std::size_t i, bool answered, const char* filespec)
{
    const int err = fill_status(r, b, i, answered);
    // Gone between the listing and its status call: a read a moment later would not
    // list it either.
    if (answered && (b.entries[i].bits & DIR_SB_LSTAT_FAILED) && (err == ENOENT || err == ENOTDIR))
        return false;
    if (filespec && !S_ISDIR(r->status.st_mode) && es_strcmp(b.name(i), filespec) != 0)
        return false;
    r->name.assign(b.name(i));
    if ((r->flags & DIR_F_UNREADABLE) && !(r->flags & DIR_F_LINK)) {
        r->flags |= DIR_F_LINK;
        r->set_link(err == ETIMEDOUT || err == EINTR ? DIR_TEXT_TIMEOUT : DIR_TEXT_NO_INFO);
    }
    return true;
}

namespace {

// Puts a record that is kept after the live ones and counts it in.
void append_record(DirListing& l, FileRecord* r)
{
    if (l.capacity <= l.count)
        grow(l);
    auto& slot = l.records[static_cast<std::size_t>(l.count)];
    if (slot) {
        // Keep the spare run contiguous behind the live records.
        l.records[static_cast<std::size_t>(l.count + l.spare)] = slot;
    }
    slot = r;
    if (S_ISDIR(r->status.st_mode))
        ++l.dirs;
    ++l.count;
    l.total_size += static_cast<uint64_t>(r->status.st_size);
}

// Reads the stream to its end, a few batches ahead of the status workers, and
// appends a record for each entry kept. Returns the record left in hand, if any.
FileRecord* read_entries(DirListing& l, DirNames& dir, DirStatPool& pool, NameSet& seen, const DirReadEnv& env)
{
    using clock = std::chrono::steady_clock;
    const bool match_all = l.filespec.empty() || l.filespec == "*";
    FileRecord* hand = nullptr;
    auto last_pump = clock::now();
    std::deque<std::shared_ptr<DirStatBatch>> ahead;
    bool at_end = false;
    auto fill_ahead = [&] {
        while (!at_end && ahead.size() < kBatchesAhead) {
            auto b = read_batch(dir, env.hide_dot);
            if (b->size() == 0) {
                at_end = true;
                break;
            }
            pool.submit(b);
            ahead.push_back(std::move(b));
        }
    };

    fill_ahead();
    while (!ahead.empty()) {
        std::shared_ptr<DirStatBatch> b = std::move(ahead.front());
        ahead.pop_front();
        fill_ahead();
        for (std::size_t i = 0; i < b->size(); ++i) {
            const bool answered = pool.wait(*b, i, env.pump_events, last_pump, env.pump_every);
            FileRecord* r = hand = dir_take_record(l, hand);
            if (!dir_fill_entry(r, *b, i, answered, match_all ? nullptr : l.filespec.c_str()))
                continue;

            if (!seen.insert(r->name.view(), static_cast<uint32_t>(l.count)))
                continue;

            append_record(l, r);
            hand = nullptr;

            if ((l.count & 63) == 0 && env.pump_events && clock::now() - last_pump >= env.pump_every) {
                env.pump_events();
                last_pump = clock::now();
            }
        }
    }
    return hand;
}

// The record left in hand joins the spares, or goes when there is no slot for it.
void put_back(DirListing& l, FileRecord* hand)
{
    if (!hand)
        return;
    hand->link.reset();
    const int free_at = l.count + l.spare;
    if (free_at < l.capacity) {
        l.records[static_cast<std::size_t>(free_at)] = hand;
        ++l.spare;
    } else {
        delete hand;
    }
}

}  // namespace

namespace {

// --- The read in name order: names first, shown in order, then their status.

// The type bits of st_mode for a d_type; 0 when the stream does not say.
mode_t mode_of_dtype(unsigned char t)
{
    return t == DT_UNKNOWN ? 0 : DTTOIF(t);
}

void count_records(DirListing& l)
{
    l.dirs = 0;
    l.total_size = 0;
    for (int i = 0; i < l.count; ++i) {
        const FileRecord& r = l[i];
        if (S_ISDIR(r.status.st_mode))
            ++l.dirs;
        l.total_size += static_cast<uint64_t>(r.status.st_size);
    }
}

// A batch of pending records handed to the status workers: their listing indexes.
struct InFlight {
    std::shared_ptr<DirStatBatch> batch;
    std::vector<uint32_t> at;
};

// A batch of the records at the listing indexes `next()` gives (-1 at the end), up
// to kBatchEntries of them; empty at the end.
template <class Next>
InFlight make_batch(const DirListing& l, Next&& next)
{
    InFlight f{std::make_shared<DirStatBatch>(), {}};
    f.at.reserve(kBatchEntries);
    f.batch->offsets.reserve(kBatchEntries);
    while (f.at.size() < kBatchEntries) {
        const int64_t i = next();
        if (i < 0)
            break;
        const RecName& n = l[static_cast<int>(i)].name;
        f.at.push_back(static_cast<uint32_t>(i));
        f.batch->offsets.push_back(static_cast<uint32_t>(f.batch->names.size()));
        f.batch->names.append(n.data(), n.size() + 1);
    }
    return f;
}

// Waits for a batch's entries and fills their records. The indexes of records that
// are not to be listed after all (gone since the listing, or refused by the
// filespec) go to `drop`. True when a record turned out to be a directory or not,
// against what the stream said.
bool harvest(DirListing& l, DirStatPool& pool, InFlight& f, const DirReadEnv& env, std::vector<uint32_t>& drop,
             std::chrono::steady_clock::time_point& last_pump)
{
    const bool match_all = l.filespec.empty() || l.filespec == "*";
    bool retyped = false;
    for (std::size_t k = 0; k < f.at.size(); ++k) {
        const bool answered = pool.wait(*f.batch, k, env.pump_events, last_pump, env.pump_every);
        FileRecord* r = l.records[f.at[k]];
        const bool listed_dir = S_ISDIR(r->status.st_mode);
        r->flags &= ~DIR_F_PENDING;
        if (!dir_fill_entry(r, *f.batch, k, answered, match_all ? nullptr : l.filespec.c_str()))
            drop.push_back(f.at[k]);
        else if (S_ISDIR(r->status.st_mode) != listed_dir)
            retyped = true;
    }
    return retyped;
}

// Lists the stream's names as pending records, with the type the stream gives. A
// non-directory the filespec does not take is left out at once. A link, or an
// entry of no given type, goes to `ask_first`: its status decides its place and
// whether it is listed at all. Meanwhile `early` (a worker on a core the listing
// leaves free) fills what it keeps up with; the rest waits for the names' order.
void list_names(DirListing& l, DirNames& dir, DirStatPool& early, const DirReadEnv& env, std::vector<uint32_t>& ask_first,
                std::vector<uint32_t>& drop)
{
    using clock = std::chrono::steady_clock;
    const bool match_all = l.filespec.empty() || l.filespec == "*";
    auto last_pump = clock::now();
    std::deque<InFlight> ahead;
    int handed = 0;  // records [0, handed) went to `early` or were passed over
    auto hand_over = [&] {
        if (ahead.size() >= 2) {
            handed = l.count;  // it is behind: these wait for the order
            return;
        }
        int i = handed;
        InFlight f = make_batch(l, [&]() -> int64_t {
            while (i < l.count && !(l[i].flags & DIR_F_PENDING))
                ++i;
            return i < l.count ? i++ : -1;
        });
        handed = l.count;
        if (f.at.empty())
            return;  // their status was read ahead
        early.submit(f.batch);
        ahead.push_back(std::move(f));
    };
    while (const DirNameEntry* e = dir.next()) {
        if (dir_hidden_name(e->name, env.hide_dot))
            continue;
        const unsigned char t = e->type;
        const bool typed = t != DT_UNKNOWN && t != DT_LNK;
        const bool is_dir = e->st ? S_ISDIR(e->st->st_mode) : t == DT_DIR;
        if (!match_all && (typed || e->st) && !is_dir && es_strcmp(e->name, l.filespec.c_str()) != 0)
            continue;
        FileRecord* r = dir_take_record(l, nullptr);
        r->name.assign(e->name);
        if (e->st) {
            r->status = *e->st;
        } else {
            r->status = FileStatus{};
            r->status.st_mode = mode_of_dtype(t);
            r->flags = DIR_F_PENDING;
            if (!typed)
                ask_first.push_back(static_cast<uint32_t>(l.count));
        }
        append_record(l, r);
        if (l.count - handed < static_cast<int>(kBatchEntries))
            continue;
        while (!ahead.empty() && early.ready(*ahead.front().batch, ahead.front().at.size() - 1)) {
            harvest(l, early, ahead.front(), env, drop, last_pump);
            ahead.pop_front();
        }
        hand_over();
        if (env.pump_events && clock::now() - last_pump >= env.pump_every) {
            env.pump_events();
            last_pump = clock::now();
        }
    }
    for (InFlight& f : ahead)
        harvest(l, early, f, env, drop, last_pump);
}

// Asks the status of the pending records at the listing indexes `next()` gives (in
// ascending order, -1 at the end), a few batches ahead of this thread, and fills
// them in; see harvest. `meanwhile`, if set, is called once the first
// `first_ahead` batches are with the workers, before any is filled in.
template <class Next>
bool fill_pending(DirListing& l, DirStatPool& pool, const DirReadEnv& env, Next next, std::vector<uint32_t>& drop,
                  const std::function<void()>& meanwhile = {}, std::size_t first_ahead = kBatchesAhead)
{
    std::deque<InFlight> ahead;
    bool at_end = false;
    bool retyped = false;
    auto last_pump = std::chrono::steady_clock::now();
    auto fill_ahead = [&](std::size_t batches = kBatchesAhead) {
        while (!at_end && ahead.size() < batches) {
            InFlight f = make_batch(l, next);
            if (f.at.size() < kBatchEntries)
                at_end = true;
            if (f.at.empty())
                break;
            pool.submit(f.batch);
            ahead.push_back(std::move(f));
        }
    };
    fill_ahead(first_ahead);
    if (meanwhile)
        meanwhile();
    while (!ahead.empty()) {
        InFlight f = std::move(ahead.front());
        ahead.pop_front();
        fill_ahead();
        retyped |= harvest(l, pool, f, env, drop, last_pump);
    }
    return retyped;
}

// Takes the records at the ascending indexes `at` out of the live ones, keeping the
// order of the rest; they become spares.
void drop_records(DirListing& l, std::vector<uint32_t>& at)
{
    if (at.empty())
        return;
    std::vector<FileRecord*> dropped;
    dropped.reserve(at.size());
    std::size_t k = 0;
    int kept = 0;
    for (int i = 0; i < l.count; ++i) {
        FileRecord* r = l.records[static_cast<std::size_t>(i)];
        if (k < at.size() && at[k] == static_cast<uint32_t>(i)) {
            dropped.push_back(r);
            ++k;
        } else {
            l.records[static_cast<std::size_t>(kept++)] = r;
        }
    }
    for (int s = 0; s < l.spare; ++s)
        l.records[static_cast<std::size_t>(kept + s)] = l.records[static_cast<std::size_t>(l.count + s)];
    for (std::size_t d = 0; d < dropped.size(); ++d)
        l.records[static_cast<std::size_t>(kept + l.spare) + d] = dropped[d];
    l.spare += static_cast<int32_t>(dropped.size());
    l.count = kept;
    at.clear();
}

// The read when the order is by name: the names are listed and sorted first and
// handed to env.listed, then the status calls fill the records in the order shown,
// from the top.
void read_names_first(DirListing& l, int fd, DirNames& dir, DirStatPool& pool, DirCmpFn primary, int ascending,
                      const DirReadEnv& env)
{
    std::vector<uint32_t> first, drop;
    {
        const unsigned cores = std::thread::hardware_concurrency();
        DirStatPool early(fd, env.stat_fn, cores > 2 ? int(cores) - 1 : 1, env.stat_timeout);
        list_names(l, dir, early, env, first, drop);
    }

    std::size_t f = 0;
    fill_pending(l, pool, env, [&]() -> int64_t {
        while (f < first.size() && !(l[static_cast<int>(first[f])].flags & DIR_F_PENDING))
            ++f;
        return f < first.size() ? int64_t{first[f++]} : -1;
    }, drop);
    std::vector<uint32_t>().swap(first);
    std::sort(drop.begin(), drop.end());
    drop_records(l, drop);

    dir_sort(l, primary, ascending, env.folders_first);
    // A name the stream gave twice (renamed while it was read): the sort put the two
    // side by side.
    for (int i = 1; i < l.count; ++i)
        if (l[i].name == l[i - 1].name)
            drop.push_back(static_cast<uint32_t>(i));
    drop_records(l, drop);
    count_records(l);

    // The workers start on the rows from the top while the names are shown.
    int i = 0;
    const bool retyped = fill_pending(l, pool, env, [&]() -> int64_t {
        while (i < l.count && !(l[i].flags & DIR_F_PENDING))
            ++i;
        return i < l.count ? i++ : -1;
    }, drop, env.listed, kListedAhead);
    drop_records(l, drop);
    if (retyped && env.folders_first)
        dir_sort(l, primary, ascending, env.folders_first);
    count_records(l);
}

}  // namespace

namespace {

int read_here(DirListing& l, DirCmpFn primary, int ascending, const DirReadEnv& env)
{
    if (env.show_status)
        env.show_status("Reading Directory");

    empty_listing(l);

    if (env.timer_attach)
        env.timer_attach(kProgressTimerMs);

    // On these failures the progress timer stays attached, as it always has.
    DirFd dir(open_listing(l));
    if (env.opened)
        env.opened();
    if (dir.get() < 0)
        return -1;

    const int threads = env.stat_threads > 0 ? env.stat_threads : default_threads();
    DirStatPool pool(dir.get(), env.stat_fn, threads, env.stat_timeout);

    DirNames names(dir.get());
    if (env.listed && primary == dir_cmp_name) {
        read_names_first(l, dir.get(), names, pool, primary, ascending, env);
    } else {
        NameSet seen(l);
        FileRecord* hand = read_entries(l, names, pool, seen, env);
        dir.reset();
        put_back(l, hand);
        seen.release();  // its table goes before the sort's
        dir_sort(l, primary, ascending, env.folders_first);
    }

    if (env.timer_trigger)
        env.timer_trigger();
    if (env.timer_detach)
        env.timer_detach();
    return 0;
}

}  // namespace

namespace {

// The caller's side of a read on the reader thread: the reader hands each of the
// env's calls over and waits until the caller made it, so that the listing, and
// everything the calls touch, is only ever used by one of the two at a time.
class Relay {
public:
    // Reader: makes `call` on the caller's thread and returns when it is done.
    void run_there(const std::function<void()>& call)
    {
        std::unique_lock lk(m_);
        call_ = &call;
        cv_.notify_all();
        cv_.wait(lk, [&] { return call_ == nullptr; });
    }
    void finish()
    {
        std::lock_guard lk(m_);
        finished_ = true;
        cv_.notify_all();
    }
    // Caller: makes the reader's calls until it finishes. An exception from a call
    // is kept for after the read.
    void serve()
    {
        std::unique_lock lk(m_);
        for (;;) {
            cv_.wait(lk, [&] { return call_ || finished_; });
            if (!call_)
                return;
            lk.unlock();
            try {
                (*call_)();
            } catch (...) {
                if (!error)
                    error = std::current_exception();
            }
            lk.lock();
            call_ = nullptr;
            cv_.notify_all();
        }
    }

    std::exception_ptr error;

private:
    std::mutex m_;
    std::condition_variable cv_;
    const std::function<void()>* call_ = nullptr;
    bool finished_ = false;
};

// `env` with each call going through the relay.
DirReadEnv relayed(const DirReadEnv& env, Relay& relay)
{
    DirReadEnv r = env;
    auto wrap = [&relay](const std::function<void()>& f) -> std::function<void()> {
        if (!f)
            return {};
        return [&relay, &f] { relay.run_there(f); };
    };
    r.pump_events = wrap(env.pump_events);
    r.listed = wrap(env.listed);
    r.timer_trigger = wrap(env.timer_trigger);
    r.timer_detach = wrap(env.timer_detach);
    if (env.show_status)
        r.show_status = [&relay, &env](const char* text) {
            relay.run_there([&] { env.show_status(text); });
        };
    if (env.timer_attach)
        r.timer_attach = [&relay, &env](int ms) {
            relay.run_there([&] { env.timer_attach(ms); });
        };
    return r;
}

}  // namespace

// The listing, its sort and the filling of the records run on a thread of their
// own: the calling (GUI) thread only makes the env's calls, which show the rows and
// keep the window alive, and its share of a read of a million entries is what
// drawing them costs.
int dir_read(DirListing& l, DirCmpFn primary, int ascending, const DirReadEnv& env)
{
    Relay relay;
    const DirReadEnv there = relayed(env, relay);
    int result = -1;
    std::exception_ptr failed;
    std::thread reader;
    try {
        reader = std::thread([&] {
            try {
                result = read_here(l, primary, ascending, there);
            } catch (...) {
                failed = std::current_exception();
            }
            relay.finish();
        });
    } catch (const std::system_error&) {
        return read_here(l, primary, ascending, env);  // no thread to be had: read here
    }
    relay.serve();
    reader.join();
    if (failed)
        std::rethrow_exception(failed);
    if (relay.error)
        std::rethrow_exception(relay.error);
    return result;
}
