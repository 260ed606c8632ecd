// A listing built by hand: names ending in "/" are directories; `selected` are
// flagged with the counts kept, `current` is the current record.
#pragma once
#include <initializer_list>
#include <string>
#include <sys/stat.h>

#include "dirmodel/dir_types.h"

struct HandListing : DirListing {
    HandListing(std::initializer_list<std::string> names, std::initializer_list<int> sel = {},
                int cur = -1)
    {
        for (const std::string& n : names) {
            auto* r = new FileRecord;
            const bool dir = !n.empty() && n.back() == '/';
            r->name = dir ? n.substr(0, n.size() - 1) : n;
            r->status.st_mode = dir ? (S_IFDIR | 0755) : (S_IFREG | 0644);
            dirs += dir;
            records.push_back(r);
        }
        count = capacity = static_cast<int>(records.size());
        for (int i : sel) {
            (*this)[i].flags |= DIR_F_SELECTED;
            ++selected;
            selected_dirs += S_ISDIR((*this)[i].status.st_mode);
        }
        current = cur;
    }
};
