// The one way a message box reaches the screen. Every notice and question of the
// program, from the GUI thread or handed over from a worker, ends in w_message();
// tests install a handler that answers instead of a person. GUI thread only.
#pragma once
#include <functional>
#include <QString>
#include <QStringList>

class QWidget;

struct WMessage {
    QWidget* parent = nullptr;
    QString title;
    QString text;
    QStringList labels;      // in order, "&" marks the mnemonic
    int default_button = 1;  // numbered from 1
    int escape_button = 0;   // 0: the last button
};

using WMessageHandler = std::function<int(const WMessage&)>;

// Replaces the handler (an empty one restores the real box); returns the old one.
WMessageHandler w_set_message_handler(WMessageHandler handler);

// Shows the box modally and returns the number of the chosen button, from 1.
int w_message(const WMessage& m);

// Builds a message from a button-set string ("&Yes|#&No", "@" default, "#" Escape).
WMessage w_make_message(QWidget* parent, const QString& title, const QString& text,
                        const char* buttons, bool comma_separates = false);
