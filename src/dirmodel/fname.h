// Translation between file-system names (bytes) and the UTF-8 the widgets show and
// accept. fname_setup runs on the GUI thread (start-up, preferences applied);
// fname_decode and fname_encode may run on any thread at once: each thread has its
// own result buffers and conversion state.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

inline constexpr uint32_t FNAME_UTF8_ALTERNATE = 0x2000;  // try UTF-8, then the alternate set
inline constexpr uint32_t FNAME_ALTERNATE = 0x4000;       // names are in the alternate set

// Takes the encoding bits of the settings record's option word and the alternate
// set's name (null or "" for none). Returns 0, or -1 when the set cannot be opened,
// in which case there is no translation context.
int fname_setup(uint32_t options, const char* alt_charset);

// A displayable UTF-8 text: the name itself (same pointer) when nothing changed,
// else a per-thread buffer valid until this thread's next call, marked with a
// leading "?" when characters were replaced by "?". *count gets the number replaced.
const char* fname_decode(const char* name, int* count = nullptr);

// The file-system bytes of a typed text: the text itself except in alternate mode,
// else a per-thread buffer; null when the text cannot be translated.
const char* fname_encode(const char* text);

// The character sets offered for the alternate encoding that this system converts.
std::vector<std::string> fname_charsets();

// Length of the valid UTF-8 sequence at p (at most n bytes), or 0 when none starts.
int fname_utf8_seqlen(const unsigned char* p, std::size_t n);
// The length of s[0, len) without a UTF-8 sequence cut short at its end: a text cut
// at a byte count keeps whole characters.
std::size_t fname_utf8_cut(const char* s, std::size_t len);

// The bytes of a name the user edited in a field that showed `shown` (what
// fname_decode gave for `old_name`). Where the edit left the start and the end of
// the text alone, those parts keep the name's own bytes, so characters that were
// shown as "?" survive a rename; the changed middle is encoded. An unchanged text
// gives the old name. Null when the typed part cannot be encoded.
const char* fname_merge_edit(const std::string& old_name, const std::string& shown,
                             const std::string& typed);
