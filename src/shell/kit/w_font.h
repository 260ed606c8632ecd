// The program's font names and the Qt fonts they stand for. GUI thread only.
#pragma once
#include <QFont>
#include <QString>

// Maps the stored font names ("TextFont08", "helv12", or a QFont::toString()).
QFont w_font(const QString& name);
