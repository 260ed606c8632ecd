// The window utilities: message boxes through the seam, formatted labels, per-widget
// timers and blocking.
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

#include "shell/w_msg.h"
#include "shell/w_utils.h"

namespace {
struct ScriptedBoxes {
    explicit ScriptedBoxes(int answer)
    {
        old = w_set_message_handler([this, answer](const WMessage& m) {
            seen.push_back(m);
            return answer;
        });
    }
    ~ScriptedBoxes() { w_set_message_handler(old); }
    std::vector<WMessage> seen;
    WMessageHandler old;
};

void spin(int ms)
{
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms)
        QApplication::processEvents(QEventLoop::AllEvents, 5);
}

struct Counter {
    int calls = 0;
    int stop_after = 0;  // 0: never
};

void count_cb(QWidget* w, void* data)
{
    auto* c = static_cast<Counter*>(data);
    ++c->calls;
    if (c->stop_after && c->calls >= c->stop_after)
        wtimer_detach(w);
}
}  // namespace

TEST(WMessages, ReportAndAskGoThroughTheSeam)
{
    QWidget parent;
    ScriptedBoxes boxes(2);
    EXPECT_EQ(wreport(&parent, "Error", "Directory '%s', not found", "/nope"), 2);
    EXPECT_EQ(wask(&parent, "Question", "Go on?"), 2);
    wreport(&parent, "Error", "%s", std::string(400, 'x').c_str());
    ASSERT_EQ(boxes.seen.size(), 3u);
    EXPECT_EQ(boxes.seen[0].title, "Error");
    EXPECT_EQ(boxes.seen[0].text, "Directory '/nope', not found");
    EXPECT_EQ(boxes.seen[0].labels, QStringList({"&Continue"}));
    EXPECT_EQ(boxes.seen[0].parent, &parent);
    EXPECT_EQ(boxes.seen[1].labels, QStringList({"&Yes", "&No"}));
    EXPECT_EQ(boxes.seen[1].default_button, 1);
    EXPECT_EQ(boxes.seen[2].text.size(), 255);
}

TEST(WMessages, RealBoxAnswersWithTheButtonNumber)
{
    const WMessage m = w_make_message(nullptr, "T", "text", "&Skip|@&Overwrite|#a&Bort");
    for (auto [key, want] : {std::pair{Qt::Key_Escape, 3}, std::pair{Qt::Key_Return, 2}}) {
        QTimer::singleShot(50, [key = key] {
            QWidget* box = QApplication::activeModalWidget();
            ASSERT_NE(box, nullptr);
            QTest::keyClick(box, key);
        });
        EXPECT_EQ(w_message(m), want);
    }
}

TEST(Wprintf, WritesTitlesAndTexts)
{
    EXPECT_EQ(wprintf(nullptr, "x"), -1);
    QWidget window;
    EXPECT_EQ(wprintf(&window, "%d read", 42), 7);
    EXPECT_EQ(window.windowTitle(), "42 read");
    auto* box = new QGroupBox(&window);
    auto* label = new QLabel(&window);
    wprintf(box, "pane %s", "t");
    EXPECT_EQ(box->title(), "pane t");
    EXPECT_EQ(wprintf(label, "%s", std::string(300, 'y').c_str()), 255);
    // A cut at 255 bytes through a two-byte character drops the whole character.
    std::string accents;
    for (int i = 0; i < 100; ++i)
        accents += "\xc3\xa9";
    wprintf(label, "%s%s", std::string(76, 'y').c_str(), accents.c_str());
    EXPECT_EQ(label->text(), QString(76, 'y') + QString(89, QChar(0xE9)));
}

TEST(Wtimer, RearmsAfterEachCallUntilDetached)
{
    QLabel label;
    Counter c;
    c.stop_after = 3;
    wtimer_attach(&label, 10, count_cb, &c);
    spin(200);
    EXPECT_EQ(c.calls, 3) << "a callback that detaches its own timer is not re-armed";
}

TEST(Wblock, BlockedWindowIgnoresInput)
{
    QWidget window;
    auto* edit = new QLineEdit(&window);
    window.show();
    edit->setFocus();
    wblock(&window, 1);
    EXPECT_TRUE(wis_blocked(&window));
    EXPECT_EQ(window.cursor().shape(), Qt::BusyCursor);
    QTest::keyClicks(edit, "abc");
    EXPECT_EQ(edit->text(), "");
    wblock(&window, 0);
    QTest::keyClicks(edit, "abc");
    EXPECT_EQ(edit->text(), "abc");
}
