// Preferences (`config_dlg`): set-up copies the settings record into the controls,
// Done copies them back and applies at once what can be applied (dot files, folder
// order, fonts, the name encoding); Cancel changes nothing. The record reaches the
// disk only at exit. GUI thread only.
#pragma once
#include <memory>

class QDialog;
class QWidget;
namespace Ui {
class config_dlg;
}

class ConfigDlg {
public:
    explicit ConfigDlg(QWidget* parent);
    ~ConfigDlg();
    QDialog* dialog() const { return dlg_.get(); }

    void config_setup();
    void config_apply();
    void config_list_font();
    void config_tree_font();
    void config_cancel() {}
    // Shows the dialog modally: 0 after Done, -1 after Cancel.
    int run();

private:
    void choose_font(QWidget* button, QWidget* label, const char* title);

    std::unique_ptr<QDialog> dlg_;
    std::unique_ptr<Ui::config_dlg> ui_;
};

// Edit > Preferences... (F10): the dialog over the main window.
int em_preferences();
