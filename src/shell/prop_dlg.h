// Properties (`property_dlg`): the selected entries' type, size, date, place, link,
// owner and permission bits; renames one entry and changes the permission bits of
// one or many. GUI thread only; the file tool that gives the type runs on a thread
// of its own.
#pragma once
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

class PropertyDlg {
public:
    explicit PropertyDlg(QWidget* parent);
    ~PropertyDlg();
    QDialog* dialog() const { return dlg_.get(); }

    // -1, and nothing is shown, when no entry is selected.
    int prop_setup();
    // False when the typed name could not be used: the dialog stays open with it.
    bool prop_done();
    void prop_cancel();
    // Set-up and the modal dialog: 0 after Done, -1 after Cancel or with nothing selected.
    int run();

private:
    void x_prop_setup_one(int entry);
    void x_prop_setup_multi();
    // 0, or 1 after reporting why this entry was left as it was; 2 when that was
    // the new name, before anything was changed.
    int x_prop_done_one(int entry, const QString* new_name, const QString& owner,
                        const QString& group);
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
};

// Edit > Inspect... (F9) and Rename (F2): the dialog over the main window.
int em_properties();
