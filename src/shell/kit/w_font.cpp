#include "shell/kit/w_font.h"

#include <QApplication>

QFont w_font(const QString& name)
{
    if (name == QLatin1String("TextFont08") || name.isEmpty()) {
        QFont f = QApplication::font();
        f.setPointSize(8);
        return f;
    }
    if (name == QLatin1String("helv12")) {
        QFont f(QStringLiteral("Sans Serif"), 12);
        f.setStyleHint(QFont::SansSerif);
        return f;
    }
    QFont f;
    if (!f.fromString(name))
        f = QApplication::font();
    return f;
}
