// A main window over a temporary directory, with message boxes answered and
// recorded instead of shown, and a Trash of its own in another one.
#pragma once
#include <gtest/gtest.h>

#include <QAbstractItemView>
#include <QApplication>
#include <QHeaderView>
#include <QLabel>
#include <QTest>
#include "filelist/fl_view.h"
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

#include "launch_recorder.h"
#include "assoc/as_table.h"
#include "filelist/fl_find.h"
#include "filelist/fl_model.h"
#include "filelist/fl_nav.h"
#include "filelist/fl_panel.h"
#include "filelist/fl_select.h"
#include "filelist/tb_path.h"
#include "fileops/undo.h"
#include "shell/base.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_msg.h"
#include "tmpdir.h"
#include "ui_base.h"

class FlGuiTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        gConfig = new ConfigRecord;
        init_config_defaults(*gConfig);
        gConfig->set_i32(cfg::kKeyTimeout, 300);
        std::filesystem::create_directories(cfgdir.path());
        gConfigPath = cfgdir.path();
        gOptions = cfg::kReaderInitialOptions;
        gStartPath = dir.path();
        base_window_closed = 0;
        gDir.path.clear();
        gDir.filespec = "*";
        init_destroy_cboxs(gCboxes);
        init_read_cboxs(gCboxes, gConfigPath.c_str());
        apat.clear();
        messages.clear();
        old_data_home = qgetenv("XDG_DATA_HOME");
        old_config_home = qgetenv("XDG_CONFIG_HOME");
        qputenv("XDG_DATA_HOME", QByteArray::fromStdString(data.path()));
        qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(config.path()));
        undo_clear();
        // The histories outlive a window; each case starts with none.
        fl_back_history().clear();
        fl_forward_history().clear();
        old_handler = w_set_message_handler([this](const WMessage& m) {
            messages << m.text;
            return 1;
        });
    }
    void TearDown() override
    {
        w_set_message_handler(old_handler);
        for (const auto& [name, old] : {std::pair("XDG_DATA_HOME", old_data_home), {"XDG_CONFIG_HOME", old_config_home}})
            old.isNull() ? qunsetenv(name) : qputenv(name, old);
        if (window)
            window->session_saved = true;
        delete window;
        delete gConfig;
        gConfig = nullptr;
    }
    BaseWindow* open()
    {
        window = base_open(FwOptions{});
        return window;
    }
    void make_file(const std::string& name, int size = 0, mode_t mode = 0644)
    {
        std::ofstream(dir / name) << std::string(size, 'x');
        ::chmod((dir / name).c_str(), mode);
    }
    void make_dir(const std::string& name) { std::filesystem::create_directories(dir / name); }

    FlView* list() { return window->ui->filelist; }
    FlModel* model() { return fl_model(); }
    QString status1() { return window->ui->status1->text(); }
    QString status2() { return window->ui->status2->text(); }
    int row_named(const char* name)
    {
        for (int r = 0; r < model()->rowCount(); ++r)
            if (model()->index(r, 0).data().toString() == name)
                return r;
        return -1;
    }
    int index_named(const char* name) { return model()->index_of(row_named(name)); }
    // Exactly these names (as bytes) selected.
    void select(std::initializer_list<const char*> names)
    {
        fl_unselect_all();
        for (const char* n : names)
            for (int i = 0; i < gDir.count; ++i)
                if (gDir[i].name.view() == n)
                    fl_select_index(i);
    }
    QPoint row_point(int row)
    {
        return list()->visualRect(model()->index(row, 0)).center();
    }
    void click_header(int section)
    {
        QHeaderView* h = list()->header();
        QTest::mouseClick(h->viewport(), Qt::LeftButton, {},
                          QPoint(h->sectionViewportPosition(section) + 5, h->height() / 2));
    }
    // The names selected in the records and in the widget, in row order.
    QStringList selected_records()
    {
        QStringList out;
        for (int i = 0; i < gDir.count; ++i)
            if (gDir[i].flags & DIR_F_SELECTED)
                out << QString::fromStdString(gDir[i].name);
        return out;
    }
    QStringList selected_rows()
    {
        QStringList out;
        for (int r = 0; r < model()->rowCount(); ++r)
            if (list()->selectionModel()->isRowSelected(r, {}) && model()->index_of(r) >= 0)
                out << model()->index(r, 0).data().toString();
        return out;
    }

    TmpDir dir;
    TmpDir cfgdir;
    TmpDir data;    // $XDG_DATA_HOME: the Trash is data/Trash, applications data/applications
    TmpDir config;  // $XDG_CONFIG_HOME: the desktop's default applications
    QByteArray old_data_home, old_config_home;
    LaunchRecorder launches;
    BaseWindow* window = nullptr;
    QStringList messages;
    WMessageHandler old_handler;
};
