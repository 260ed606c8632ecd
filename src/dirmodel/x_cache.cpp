// Name caches and the reader's progress text.
#include "dirmodel/x_cache.h"

#include <cstdio>
#include <cstring>

#include "dirmodel/dir_types.h"

NameCache* x_new_cache(int capacity)
{
    auto* c = new NameCache;
    c->capacity = capacity > 0 ? capacity : 1;
    c->entries.resize(static_cast<std::size_t>(c->capacity));
    return c;
}

static int x_find(uint32_t id, const NameCache* cache)
{
    for (int i = 0, slot = cache->cursor; i < cache->count; ++i, slot = (slot + 1) % cache->capacity)
        if (cache->entries[static_cast<std::size_t>(slot)].id == id)
            return slot;
    return -1;
}

int x_get_record(uint32_t id, char* out, NameCache* cache)
{
    if (cache->count < 1)
        return 0;
    int slot = x_find(id, cache);
    if (slot < 0)
        return 0;
    const char* name = cache->entries[static_cast<std::size_t>(slot)].name;
    std::size_t n = std::strlen(name);
    std::memcpy(out, name, n + 1);
    return static_cast<int>(n);
}

void x_add_record(uint32_t id, const char* text, NameCache* cache)
{
    int slot = 0;
    if (cache->count == 0) {
        cache->cursor = 0;
        cache->count = 1;
    } else if ((slot = x_find(id, cache)) < 0) {
        cache->cursor = cache->cursor == 0 ? cache->capacity - 1 : cache->cursor - 1;
        slot = cache->cursor;
        if (cache->count < cache->capacity)
            ++cache->count;
    }
    NameCacheEntry& e = cache->entries[static_cast<std::size_t>(slot)];
    e.id = id;
    std::snprintf(e.name, sizeof e.name, "%s", text);
}

std::string x_print_progress(const DirListing& listing)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%d read", listing.count);
    return buf;
}
