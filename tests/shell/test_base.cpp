// The main window: geometry to and from the settings record,
// the hotlist pane state, and saving the session once.
#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QTimer>
#include <sys/stat.h>

#include "shell/base.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "tmpdir.h"
#include "ui_base.h"

namespace {
class BaseTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        gConfig = new ConfigRecord;
        init_config_defaults(*gConfig);
        gConfigPath = dir.path();
        gStartPath = "/tmp";
        base_window_closed = 0;
    }
    void TearDown() override
    {
        // Closing the window asks the application to quit, which would end every
        // later test's dialog loop at once; running the main loop takes that back.
        QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); });
        QCoreApplication::exec();
        delete window;
        delete gConfig;
        gConfig = nullptr;
    }
    BaseWindow* open() { return window = base_open(FwOptions{}); }

    TmpDir dir;
    BaseWindow* window = nullptr;
};
}  // namespace

TEST_F(BaseTest, GeometryComesFromTheRecordAndGoesBack)
{
    gConfig->set_i32(cfg::kWindowWidth, 820);
    gConfig->set_i32(cfg::kWindowHeight, 530);
    gConfig->set_i32(cfg::kHotlistWidth, 150);
    for (int c = 1; c <= 6; ++c)
        gConfig->set_column_width(c, 60 + c);
    BaseWindow* w = open();
    EXPECT_EQ(w->size(), QSize(820, 530));
    EXPECT_EQ(w->ui->hotlist_panel->width(), 150);

    w->resize(700, 480);
    w->ui->workspace->setSizes({210, 470});
    w->ui->filelist->setColumnWidth(2, 99);

    ConfigRecord out;
    base_get_window_metrics(out);
    base_get_divider_metrics(out);
    EXPECT_EQ(out.window_width(), 700);
    EXPECT_EQ(out.window_height(), 480);
    EXPECT_EQ(out.hotlist_width(), 210);
    EXPECT_EQ(out.column_width(3), 99);
    EXPECT_EQ(out.column_width(6), 66);
}

TEST_F(BaseTest, HiddenHotlistPaneIsRestoredAndToggled)
{
    gConfig->set_hotlist_shown(false);
    BaseWindow* w = open();
    EXPECT_TRUE(w->ui->hotlist_panel->isHidden());
    EXPECT_FALSE(w->ui->tb_hotlist->isChecked());

    w->ui->tb_hotlist->click();
    EXPECT_TRUE(gConfig->hotlist_shown());

    w->ui->hl_close->click();
    EXPECT_TRUE(w->ui->hotlist_panel->isHidden());
    EXPECT_FALSE(w->ui->tb_hotlist->isChecked());
    EXPECT_FALSE(gConfig->hotlist_shown());
}

TEST_F(BaseTest, SessionIsSavedOnceOnClose)
{
    BaseWindow* w = open();
    const std::string file = dir / "config.003";
    w->close();
    struct stat st {};
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_size, 5692);
    EXPECT_EQ(base_window_closed, 1);

    ::unlink(file.c_str());
    base_closing();
    fm_exit();
    EXPECT_NE(::stat(file.c_str(), &st), 0) << "a second way out saves nothing again";
}

TEST_F(BaseTest, NothingIsSavedWithoutDirectoryOrWhenSaveAtExitIsOff)
{
    for (bool no_dir : {true, false}) {
        if (no_dir)
            gConfigPath.clear();
        else
            gConfig->set_i32(cfg::kSaveAtExit, 0);
        open()->close();
        delete window;
        window = nullptr;
        gConfigPath = dir.path();
        struct stat st {};
        EXPECT_NE(::stat((dir / "config.003").c_str(), &st), 0) << no_dir;
    }
}
