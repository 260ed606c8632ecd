// The file transport record: what Copy, Cut, a drag and Delete carry from the
// list to the engine (a source directory and names in it, all raw bytes), its
// packed form on the clipboard, the URI forms other programs read and write,
// and the cut list that answers "is this row cut?" in constant time.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct DirListing;

struct FileTransf {
    int32_t count = 0;
    std::string srcdir;
    std::vector<std::string> names;
};

// The selected records of a listing, in listing order. one_dir: exactly one
// record is selected and it is a directory.
FileTransf transf_from_selection(const DirListing& l, bool* one_dir = nullptr);

// Packed layout (little-endian): "VTR1", count (int32), then the directory and
// each name as a 32-bit length and its bytes. Any byte may appear in a name.
std::string transf_pack(const FileTransf& t);
// False, with t untouched, when the bytes are not a whole record.
bool transf_unpack(std::string_view bytes, FileTransf& t);

// Whether a received record names entries of one directory and nothing else:
// 0 when it does; -1 when a name is "", "." or ".." or holds "/", -2 when the
// source directory is not a full path. `bad` then holds that name or directory.
int transf_check(const FileTransf& t, std::string& bad);

// "file://" + the path with every byte outside the unreserved set and "/"
// percent-encoded, so names that are not UTF-8 survive the trip.
std::string uri_from_path(std::string_view path);
// The path of a local file URI ("file:///p" or "file://localhost/p"), decoded
// byte for byte; false for anything else.
bool path_from_uri(std::string_view uri, std::string& path);

// text/uri-list: one URI per line, CRLF line ends.
std::string transf_uri_list(const FileTransf& t);
// x-special/gnome-copied-files: "copy" or "cut", then one URI per line.
std::string transf_gnome_list(const FileTransf& t, bool cut);

// Files that another program put in a URI list (lines starting with "#" are
// comments), grouped by their directory in order of first appearance. False
// when a line is not a local file URI; `bad` then holds it and groups is empty.
bool transf_from_uri_lines(std::string_view text, std::vector<FileTransf>& groups, std::string& bad);

// The names of a cut, looked up by (directory, name) in constant time.
class CutList {
public:
    void assign(FileTransf t);
    void clear() { assign({}); }
    bool empty() const { return left_.empty(); }
    bool contains(std::string_view dir, std::string_view name) const;
    // Takes one name out (its slot in the record becomes empty); false when it
    // was not there.
    bool remove(std::string_view dir, std::string_view name);
    // The record with the names still cut, in their first order.
    FileTransf remaining() const;
    const FileTransf& record() const { return t_; }

private:
    FileTransf t_;
    std::unordered_map<std::string_view, std::size_t> left_;  // views into t_.names, and their slots
};
