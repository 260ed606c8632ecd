// The window utilities: message boxes through the seam, formatted labels and
// blocking.
#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

#include "shell/kit/w_msg.h"
#include "shell/kit/w_utils.h"

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
