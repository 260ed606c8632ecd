// The small dialogs of the file list: a new file or folder (`new_dlg`), selecting by
// pattern (`pattern_dlg`) and a symbolic link to the selected entry (`symlink_dlg`).
// Names are made in the listed directory. GUI thread only.
#pragma once
#include <cstring>
#include <memory>

class QDialog;
class QWidget;
namespace Ui {
class new_dlg;
class pattern_dlg;
class symlink_dlg;
}  // namespace Ui

// The application's texts by id; "" for an unknown id.
inline const char* txtdb(const char* id)
{
    static const char* const kTexts[][2] = {
        {"txt_003", "Create New File"}, {"txt_004", "Create New Folder"},
        {"txt_005", "File Name"},       {"txt_006", "Folder Name"},
        {"txt_016", "Select Pattern"},  {"txt_017", "Unselect Pattern"},
    };
    for (const auto& t : kTexts)
        if (std::strcmp(t[0], id) == 0)
            return t[1];
    return "";
}

inline constexpr int NEW_FILE = 1;
inline constexpr int NEW_FOLDER = -2;

class NewDlg {
public:
    NewDlg(QWidget* parent, int kind);
    ~NewDlg();
    QDialog* dialog() const { return dlg_.get(); }
    void new_setup();
    // The Create button: true when the dialog may close.
    bool new_create();
    int run();

private:
    std::unique_ptr<QDialog> dlg_;
    std::unique_ptr<Ui::new_dlg> ui_;
    int kind_;
};

// File > New > File (F3) and Folder (F4); the toolbar's New repeats the kind last
// chosen (a folder until one is).
int new_file_setup();
int new_dir_setup();
int new_last_kind();

class PatternDlg {
public:
    // op 0 selects, anything else unselects.
    PatternDlg(QWidget* parent, int op);
    ~PatternDlg();
    QDialog* dialog() const { return dlg_.get(); }
    void pattern_setup();
    void pattern_select();
    void pattern_close();
    int run();

private:
    std::unique_ptr<QDialog> dlg_;
    std::unique_ptr<Ui::pattern_dlg> ui_;
    int op_;
};

int em_select_pattern();
int em_unselect_pattern();

class SymlinkDlg {
public:
    explicit SymlinkDlg(QWidget* parent);
    ~SymlinkDlg();
    QDialog* dialog() const { return dlg_.get(); }
    void symlink_dlg_setup_f();
    // The OK button: true when the link was made and the dialog may close.
    bool fm_create_symlink_cb();
    int run();

private:
    std::unique_ptr<QDialog> dlg_;
    std::unique_ptr<Ui::symlink_dlg> ui_;
};

int fm_symlink();
