// Small id-to-name caches for user and group names, and the reader's progress text.
// A cache is not locked: use each one from one thread (the GUI thread for the
// user and group caches of dir_sort.h).
#pragma once
#include <cstdint>
#include <string>
#include <vector>

struct DirListing;

struct NameCacheEntry {
    uint32_t id = 0;
    char name[16] = {};
};

// A ring filled backwards: `cursor` is the newest entry, the probe runs forward
// from it, so the oldest entry is the one overwritten when the ring is full.
struct NameCache {
    std::vector<NameCacheEntry> entries;
    int count = 0;
    int cursor = 0;
    int capacity = 0;
};

// A new empty cache; never freed by this module.
NameCache* x_new_cache(int capacity);

// Copies the name cached for id into out (16 bytes) and returns its length, or
// returns 0 when the id is not cached.
int x_get_record(uint32_t id, char* out, NameCache* cache);

// Adds or replaces the pair (at most 15 bytes of text are kept).
void x_add_record(uint32_t id, const char* text, NameCache* cache);

// The progress text of a read in progress: "%d read" of the listing's count.
std::string x_print_progress(const DirListing& listing);
