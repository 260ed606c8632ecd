// The directory reader. Names are read on this thread, status calls run on the
// status workers (dir_statpool.h) a few batches ahead, and the records are filled
// here in the stream's order.
#include "dirmodel/dir_read.h"

#include <algorithm>
#include <atomic>
#include <ostream>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <memory>
#include <new>
#include <string_view>
#include <thread>
#include <unistd.h>

#include "dirmodel/dir_entry.h"
#include "dirmodel/dir_sort.h"
#include "dirmodel/es_path.h"

namespace {

constexpr int kGrowSlots = 128;
constexpr std::size_t kBatchEntries = 512;
constexpr std::size_t kBatchesAhead = 4;
constexpr int kProgressTimerMs = 300;

uint64_t sRecordsMade = 0;

struct DirCloser {
    void operator()(DIR* d) const { ::closedir(d); }
};

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
std::shared_ptr<DirStatBatch> read_batch(DIR* d, bool hide_dot)
{
    auto b = std::make_shared<DirStatBatch>();
    b->names.reserve(kBatchEntries * 16);
    b->offsets.reserve(kBatchEntries);
    while (b->offsets.size() < kBatchEntries) {
        const struct dirent* e = ::readdir(d);
        if (!e)
            break;
        if (dir_hidden_name(e->d_name, hide_dot))
            continue;
        b->offsets.push_back(static_cast<uint32_t>(b->names.size()));
        b->names.append(e->d_name, std::strlen(e->d_name) + 1);
    }
    return b;
}

// The names of the live records, for the duplicate check: open addressing over
// one array, so the whole table goes back to the system when the read ends.
class NameSet {
public:
    // False when a record of the same name is already in.
    bool insert(const FileRecord* r)
    {
        if ((used_ + 1) * 2 > slots_.size())
            rehash(std::max<std::size_t>(1024, slots_.size() * 2));
        return place(r);
    }

private:
    bool place(const FileRecord* r)
    {
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t i = std::hash<std::string_view>{}(r->name.view()) & mask;; i = (i + 1) & mask) {
            if (!slots_[i]) {
                slots_[i] = r;
                ++used_;
                return true;
            }
            if (slots_[i]->name == r->name)
                return false;
        }
    }
    void rehash(std::size_t n)
    {
        std::vector<const FileRecord*> old(n, nullptr);
        old.swap(slots_);
        used_ = 0;
        for (const FileRecord* r : old)
            if (r)
                place(r);
    }

    std::vector<const FileRecord*> slots_;
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
// are made and dropped on the GUI thread in practice; the lock is for tests that
// make them elsewhere. Under AddressSanitizer every record is its own allocation,
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

// Makes the listing's path the working directory and opens its stream; null
// when any of that fails.
std::unique_ptr<DIR, DirCloser> open_listing(const DirListing& l)
{
    if (l.path.empty() || ::chdir(l.path.c_str()) != 0)
        return nullptr;
    int fd = ::open(l.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    std::unique_ptr<DIR, DirCloser> dir(::fdopendir(fd));
    if (!dir)
        ::close(fd);
    return dir;
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
                r->set_link(b.links[i]);
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
FileRecord* read_entries(DirListing& l, DIR* dir, DirStatPool& pool, NameSet& seen, const DirReadEnv& env)
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

            if (!seen.insert(r))
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

int dir_read(DirListing& l, DirCmpFn primary, int ascending, const DirReadEnv& env)
{
    if (env.show_status)
        env.show_status("Reading Directory");

    empty_listing(l);

    if (env.timer_attach)
        env.timer_attach(kProgressTimerMs);

    // On these failures the progress timer stays attached, as it always has.
    std::unique_ptr<DIR, DirCloser> dir = open_listing(l);
    if (!dir)
        return -1;

    const int threads = env.stat_threads > 0 ? env.stat_threads : default_threads();
    DirStatPool pool(::dirfd(dir.get()), env.stat_fn, threads, env.stat_timeout);

    NameSet seen;
    FileRecord* hand = read_entries(l, dir.get(), pool, seen, env);

    dir.reset();
    put_back(l, hand);

    seen = NameSet();  // its table goes before the sort's
    dir_sort(l, primary, ascending, env.folders_first);

    if (env.timer_trigger)
        env.timer_trigger();
    if (env.timer_detach)
        env.timer_detach();
    return 0;
}
