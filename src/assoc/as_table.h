// The association table: file-name patterns tied to open, view and edit commands,
// loaded once at start-up from "associate.003" (or the built-in rows) and written
// back by the associations dialog. Built, changed and read on the GUI thread only.
#pragma once
#include <string>
#include <vector>

// One association. Members are in memory order (edit before view); the file
// holds view before edit. An absent command is "".
struct AssocRec {
    std::string pattern;
    std::string open;
    std::string edit;
    std::string view;
};

// Table order is file order and is the matching order. The capacity is kept
// apart from the vector's own so it grows in the table's steps of 10.
class AssocTable {
public:
    static constexpr int kStep = 10;

    int apat_ctr() const { return static_cast<int>(apat.size()); }
    int apat_max() const { return max_; }
    const AssocRec& operator[](int i) const { return apat[static_cast<std::size_t>(i)]; }
    AssocRec& operator[](int i) { return apat[static_cast<std::size_t>(i)]; }

    // Appends copies, arguments in file order. Grows the capacity to count + 10
    // once the count reaches it.
    void add(const char* pattern, const char* open, const char* view, const char* edit);
    // Empties the table and resets the capacity to 10.
    void clear();

    std::vector<AssocRec> apat;

private:
    int max_ = kStep;
};

// The program's table.
extern AssocTable apat;

enum class AssocLoadStatus {
    File,      // read from the file (possibly empty)
    Defaults,  // the file did not open: the ten built-in rows
    Invalid,   // fatal: a record line without a tab
    NoMemory,  // fatal
};

struct AssocLoadResult {
    AssocLoadStatus status = AssocLoadStatus::File;
    int line = 0;  // record number of an invalid line (comments not counted)

    bool fatal() const
    {
        return status == AssocLoadStatus::Invalid || status == AssocLoadStatus::NoMemory;
    }
    // "Invalid association at line %d" or "Unable to allocate memory"; "" otherwise.
    // The caller shows it titled "Error" and exits with status 1.
    std::string message() const;
};

// Loads `path` into `t` (cleared first), or the built-in rows when it does not open.
// On a fatal result the table is left empty.
AssocLoadResult as_read_table(AssocTable& t, const std::string& path);
// Loads dir + "/" + name into `apat` and remembers the path for as_save_associations.
// Signal set-up is the GUI layer's (as_init in as_launch.h).
AssocLoadResult init_read_associations(const char* dir, const char* name);

// Writes the header line and one record per association, mode "w". 0, or -1 with
// errno when the file cannot be written.
int as_write_table(const AssocTable& t, const std::string& path);
// Writes `apat` to the path given to init_read_associations. -1 when none was given.
int as_save_associations();
// The path init_read_associations loaded (dir + "/" + name), "" before it.
const std::string& as_table_path();

// The 80-byte first line of the file, newline included.
extern const char kAssocHeader[];

// Appends one association to `apat` (arguments in file order).
void _add_pat(const char* pattern, const char* open, const char* view, const char* edit);

// Splits a copy of `src` (in one static buffer, grown to fit it) at `sep` into at
// most n fields; unused fields point to "". Returns the separators consumed (0 if
// n < 1). The fields are valid until the next call. Not re-entrant.
int _split_str(const char* src, char sep, const char** fields, int n);

// Index of the first association whose pattern matches `name`, or -1.
int _get_pat_idx(const AssocTable& t, const char* name);
int _get_pat_idx(const char* name);

enum { AS_OPEN = 0, AS_VIEW = 1, AS_EDIT = 2 };
// The command of `kind` of the first matching association, or nullptr when none
// matches, the kind is unknown, or that command is empty or white space only. Never
// looks past the first match. The pointer is valid until the table changes.
const char* _get_pat_cmd(const AssocTable& t, const char* name, int kind);
const char* _get_pat_cmd(const char* name, int kind);

// Every association whose pattern matches `name`, in table order.
std::vector<int> as_matching(const AssocTable& t, const char* name);

// For the dialogs' working list: the record as "pattern\topen\tview\tedit".
std::string as_line(const AssocRec& r);
// One line per association, in table order.
std::vector<std::string> as_table_lines(const AssocTable& t);
// Replaces the contents of `t` with the working-list lines, each split at tabs
// into pattern, open, view, edit.
void as_table_replace(AssocTable& t, const std::vector<std::string>& lines);
