// Properties (`property_dlg`): the selected entries' type, size, date, place, link,
// owner and permission bits; renames one entry and changes the permission bits of
// one or many. GUI thread only; the file tool that gives the type runs on a thread
// of its own.
#pragma once
#include <QList>
#include <QPointer>
#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>

class QDialog;
class QString;
class QWidget;
namespace Ui {
class property_dlg;
}
struct PropTypeQuery;

// One entry's changes, decided on the GUI thread and made on a worker.
struct PropChange {
    std::string path;     // the entry as it is
    std::string to;       // its new path, empty to keep the name
    std::string typed;    // the new name as typed, for messages
    std::string display;  // the name as shown, for messages
    std::string refusal;  // an owner or group that is no id: nothing but the rename is done
    bool chown = false;
    uid_t uid = 0;
    gid_t gid = 0;
    bool chmod = false;
    mode_t mode = 0;
};

class PropertyDlg {
public:
    explicit PropertyDlg(QWidget* parent);
    ~PropertyDlg();
    QDialog* dialog() const { return dlg_.get(); }

    // -1, and nothing is shown, when no entry is selected.
    int prop_setup();
    // Starts making the changes on a worker and returns false; the dialog closes
    // when they are made, or stays open with the typed name when it could not be
    // used. busy() until then.
    bool prop_done();
    bool busy() const { return busy_; }
    void prop_cancel();
    // Set-up and the modal dialog: 0 after Done, -1 after Cancel or with nothing selected.
    int run();

private:
    void x_prop_setup_one(int entry);
    void x_prop_setup_multi();
    // 0, or 1 after reporting why this entry was left as it was; 2 when that was
    // the new name, before anything was changed.
    int x_prop_done_one(int entry, const QString* new_name, const QString& owner,
                        const QString& group, PropChange& c);
    void done_finished(bool stay, const std::string& go_to);
    void _show_mode(mode_t mode);
    void x_setup_permission_fields(long uid, long gid);
    // The permission and set-ID bits the toggles give an entry of mode `current`:
    // a half-set toggle keeps that entry's own bit.
    mode_t toggled_mode(mode_t current) const;
    // Starts the file tool on the entry off the GUI thread; pr_filetype shows its
    // answer when it comes, unless the query was stopped first.
    void ask_filetype(const std::string& path, mode_t mode);
    void stop_filetype();

    std::unique_ptr<QDialog> dlg_;
    std::unique_ptr<Ui::property_dlg> ui_;
    int one_entry = -1;
    std::string shown_name_;  // the display text put into pr_name
    std::shared_ptr<PropTypeQuery> type_query_;
    bool busy_ = false;
    QList<QPointer<QWidget>> disabled_;  // by Done, until its changes are made
};

// The rename Done makes; tests swap in one that hangs. Empty: rename(2).
void prop_set_rename_fn(std::function<int(const char*, const char*)> fn);

// Edit > Inspect... (F9) and Rename (F2): the dialog over the main window.
int em_properties();
