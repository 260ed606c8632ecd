#include "shell/kit/w_msg.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QThread>
#include <vector>

#include "shell/kit/w_buttons.h"
#include "shell/kit/w_font.h"

namespace {
WMessageHandler& handler()
{
    static WMessageHandler h;
    return h;
}

int show_box(const WMessage& m)
{
    QMessageBox box(m.parent);
    box.setWindowTitle(m.title);
    box.setText(m.text);
    box.setTextFormat(Qt::PlainText);
    if (auto* label = box.findChild<QLabel*>(QStringLiteral("qt_msgbox_label")))
        label->setFont(w_font("helv12"));
    std::vector<QAbstractButton*> buttons;
    for (const QString& l : m.labels)
        buttons.push_back(box.addButton(l, QMessageBox::ActionRole));
    const int n = static_cast<int>(buttons.size());
    if (m.default_button >= 1 && m.default_button <= n)
        box.setDefaultButton(static_cast<QPushButton*>(buttons[m.default_button - 1]));
    const int esc = m.escape_button ? m.escape_button : n;
    if (esc >= 1 && esc <= n)
        box.setEscapeButton(buttons[esc - 1]);
    box.exec();
    for (int i = 0; i < n; ++i)
        if (box.clickedButton() == buttons[i])
            return i + 1;
    return esc;
}
}  // namespace

WMessageHandler w_set_message_handler(WMessageHandler h)
{
    WMessageHandler old = std::move(handler());
    handler() = std::move(h);
    return old;
}

int w_message(const WMessage& m)
{
    // Worker threads hand their questions over; a box from any other thread would
    // touch widgets it does not own.
    Q_ASSERT(QThread::currentThread() == qApp->thread());
    if (handler())
        return handler()(m);
    return show_box(m);
}

WMessage w_make_message(QWidget* parent, const QString& title, const QString& text,
                        const char* buttons, bool comma_separates)
{
    const ButtonSet set = w_parse_buttons(buttons, comma_separates);
    WMessage m;
    m.parent = parent;
    m.title = title;
    m.text = text;
    for (const std::string& l : set.labels)
        m.labels << QString::fromUtf8(l.c_str());
    m.default_button = set.default_button;
    m.escape_button = set.escape();
    return m;
}
