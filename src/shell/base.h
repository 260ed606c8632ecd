// The main window `base`: its set-up in two phases, geometry to and from the
// settings record, the change notification of the file list, and saving the
// session exactly once on every way out. GUI thread only.
#pragma once
#include <QMainWindow>

#include "shell/fw_options.h"

class ConfigRecord;
namespace Ui {
class base;
}

class BaseWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit BaseWindow(QWidget* parent = nullptr);
    ~BaseWindow() override;
    Ui::base* ui;
    bool session_saved = false;

protected:
    void closeEvent(QCloseEvent* e) override;
};

// Creates `base`, runs both set-up phases around showing it, and applies the
// framework's geometry options. The window is owned by the caller.
BaseWindow* base_open(const FwOptions& fw);

void base_setup(BaseWindow* w, int phase);
void base_opening();
void base_set_window_metrics(const ConfigRecord& rec);
void base_get_window_metrics(ConfigRecord& rec);
void base_set_divider_metrics(const ConfigRecord& rec);
void base_get_divider_metrics(ConfigRecord& rec);
void base_update();
// Saves settings, histories and hotlist; runs at most once per process.
void base_closing();
int fm_exit();
int vm_hotlist_toggle();
int help_about();

// The number of running file operations; the operations window sets it.
extern int (*gRunningOperations)();
