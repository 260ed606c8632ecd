// Path and pattern helpers shared by the whole program: the filter and association
// matcher, path joining and clean-up. Pure functions; any thread.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// 0 when `name` matches `pattern`: alternatives separated by "|", each an fnmatch
// pattern with no flags; a leading "^" ignores case. Non-zero otherwise.
int es_strcmp(const char* name, const char* pattern);

// The same pattern taken apart once, for matching many names: an alternative that
// is a plain text, or one with a "*" only at its start, end or both, is compared
// without fnmatch. Gives es_strcmp's answer for every name. Any thread; match() is
// const and keeps no state.
class EsPattern {
public:
    explicit EsPattern(std::string_view pattern = "*");
    bool match(std::string_view name) const;
    bool any() const { return any_; }

private:
    enum class Kind : unsigned char { Exact, Prefix, Suffix, Contains, Glob };
    struct Alt {
        Kind kind;
        std::string text;  // the literal part, or the whole pattern for Glob
    };
    bool match_folded(std::string_view name) const;
    std::vector<Alt> alts_;
    bool fold_ = false;
    bool any_ = false;  // an alternative is "*": every name matches
};

// Joins dir and name with one "/" where neither brings one, then drops trailing
// slashes while at least 3 characters remain. `out` holds strlen(dir)+strlen(name)+2.
// Returns the length.
int es_construct_fullpath(char* out, const char* dir, const char* name);

// dir + "/" + name, with no second "/" when dir ends in one ("/" + "a" gives "/a").
std::string es_join(std::string_view dir, std::string_view name);

// The directory and the last name of a path: "/a/b" gives "/a" and "b", "/a"
// gives "/" and "a", a bare name gives "." and itself.
std::string es_dir_of(std::string_view path);
std::string es_name_of(std::string_view path);

// Cuts the last component in place (/a/b/ and /a/b give /a, /a gives /, abc stays).
// Returns the new length.
int es_remove_subdirectory(char* path);

// Cleans runs of slashes in place, keeping a leading "//" and the old scan (a//b//c
// gives a/b//c). Returns path.
char* es_strip_pathname(char* path);

// 1 when every character is a decimal digit (also for ""), else 0.
int misc_all_digits(const char* text);
