// Texts of the list's columns and the status bar: sizes, dates; and messages
// formatted into a bounded text. Results in static buffers are shared: GUI thread
// only for ll2str and cvt2c; the others write into the caller's buffer and may run
// on any thread.
#pragma once
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>

// "%.1fMB", "%.1fKB" or "%ld bytes"; valid until the next call.
const char* ll2str(int64_t size);

// Decimal digits with "," between groups of three; valid until the next call.
const char* cvt2c(uint64_t size);

// The date of `t` in style 0 (age), 1 (relative day) or 2 (the list's column),
// measured against `now`. `out` holds at least 99 bytes. Returns the length.
int es_generate_time_string(char* out, time_t t, int style, time_t now = ::time(nullptr));

// Size in GB, MB or KB with the whole remainder after the point, else "N byte_count"
// (64-bit, so a sum of sizes past 2 GB is not wrapped).
// Returns out.
char* es_generate_byte_string(char* out, int64_t size);

// vsnprintf into at most `max` bytes, cut where it does not split a UTF-8
// character. `formatted`, when given, gets the length before that cut.
std::string es_vformat(std::size_t max, const char* fmt, va_list ap, int* formatted = nullptr);
