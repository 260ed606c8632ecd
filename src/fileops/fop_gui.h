// The GUI side of the file operation engine: FopUi for the widgets, and starting
// an operation from the GUI.
//
// GuiFopUi's FopUi functions are called by worker threads only. A question (alert,
// filename_too_long) is a blocking hand-off to the GUI thread, which shows it
// modally and goes on processing events meanwhile; one process-wide mutex keeps
// at most one question on screen, so a second worker waits for the first. A
// notice is shown only when no question is up. Progress is posted, never waited
// for, and coalesced per panel so that a fast worker cannot flood the event loop.
#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unordered_map>
#include <vector>

#include "fileops/fop_request.h"
#include "fileops/fop_ui.h"

class QString;
class QWidget;

class GuiFopUi : public FopUi {
public:
    using Decoder = std::function<std::string(std::string_view)>;
    // decode gives the display form of file-system bytes; empty: UTF-8 with
    // invalid sequences replaced.
    explicit GuiFopUi(Decoder decode = {});

    int alert(FopRequest& r, const std::string& title, const std::string& buttons,
              const std::string& message) override;
    void errinfo(const std::string& title, const std::string& message) override;
    void show_progress(FopRequest& r, const FopSlotView& view) override;
    bool filename_too_long(const std::string& source_path, const std::string& proposed,
                           std::string& new_name) override;
    void call_locked(const std::function<void()>& fn) override;
    void finished(FopRequest& r) override;
    std::string display(std::string_view bytes) override;

private:
    struct Pending {
        const FopRequest* request;
        FopSlotView view;
    };
    void apply_pending(void* slot);

    Decoder decode_;
    std::mutex pending_mutex_;
    std::unordered_map<void*, Pending> pending_;  // by panel handle
};

// The instance fop_start_cmd hands to the engine. GUI thread, first call.
GuiFopUi* fop_gui_ui();

// GUI thread: shows one refresh on a panel, if it still shows that request.
void fop_gui_apply_view(void* slot, const FopRequest* r, const FopSlotView& view);

// GUI thread: the over-long-name dialog `long_filename_dlg`. Returns true with
// new_name set when Rename was chosen with a non-empty name.
bool long_filename_ask(QWidget* parent, const QString& old_name, QString& new_name);

// The engine's entry points, as fop_start_cmd calls them.
using FopStarter = std::function<FopRequest*(
    int kind, const std::string& srcdir, const std::vector<std::string>& names,
    const std::string& dest, uint32_t flags, void* slot,
    std::function<void(const std::string&, const std::string&)> item_cb, FopUi* ui)>;
using FopFlagsFn = std::function<uint32_t(uint32_t options_word, int kind, bool single_non_directory)>;
// Replaces them (tests); an empty function puts the engine's own back.
void fop_gui_set_engine(FopStarter start, FopFlagsFn flags);

// Called before every operation starts, and after each item that a move or a
// delete has finished (on the GUI thread, through call_locked).
using FopItemFn = std::function<void(const std::string& dir, const std::string& name)>;
void fop_gui_set_item_hooks(std::function<void()> before_op, FopItemFn after_item);

// The status call that tells a delete of one item whether it is a directory:
// lstat's signature, made on a thread of its own. Not back within `timeout`, the
// item counts as a directory. Tests swap in one that hangs; an empty function
// puts lstat and the directory reader's time-out back.
using FopStatFn = std::function<int(const char* path, struct stat* st)>;
void fop_gui_set_stat(FopStatFn fn, std::chrono::milliseconds timeout);

// GUI thread: adds a slot, starts the operation and binds its request to the
// slot. 0 on success; -1 when no slot could be added or the start failed (the
// empty slot then stays on screen). A delete of one item waits for its status
// off the GUI thread and starts when it comes: it returns 0 at once, and a start
// that then fails is reported the same way.
int fop_start_cmd(int kind, const std::string& srcdir, const std::vector<std::string>& names,
                  const std::string& dest);
// GUI thread: the same for a request made beforehand (fop_make, undo_request). Its
// flags are kept; a restore, a trash and a delete get the item hooks.
int fop_start_request(std::unique_ptr<FopRequest> r);
