// The Help menu's Quick Reference: every key of the command table, and the keys
// of the list and the path bar.
#include <QDialog>
#include <QHeaderView>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cstring>

#include "shell/cmd_table.h"
#include "shell/commands.h"

int help_quickref()
{
    auto* w = cmd_base() ? cmd_base()->findChild<QDialog*>(QStringLiteral("quickref")) : nullptr;
    if (!w) {
        w = new QDialog(cmd_base());
        w->setObjectName(QStringLiteral("quickref"));
        w->setWindowTitle(QStringLiteral("Quick Reference"));
        auto* table = new QTableWidget(0, 2, w);
        table->setHorizontalHeaderLabels({QStringLiteral("Key"), QStringLiteral("Command")});
        table->verticalHeader()->hide();
        table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
        table->setShowGrid(false);
        table->setAlternatingRowColors(true);
        table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        auto row = [table](const QString& key, const QString& what) {
            const int r = table->rowCount();
            table->insertRow(r);
            table->setItem(r, 0, new QTableWidgetItem(key));
            table->setItem(r, 1, new QTableWidgetItem(what));
        };
        for (const Cmd& c : cmd_table()) {
            if (!*c.key)
                continue;
            // Items of a submenu say which one; keys without an item say what they do.
            static const char* const kLonger[][2] = {
                {"fm_new_file", "New File"},          {"fm_new_folder", "New Folder"},
                {"fm_new_window", "New Window"},      {"em_select_all", "Select All"},
                {"em_select_pattern", "Select by Pattern"}, {"em_unselect_all", "Unselect All"},
                {"kp_open", "Open (keypad)"},         {"kp_up", "Up One Level (keypad)"},
                {"kp_delete", "Delete (keypad)"}};
            QString what = c.label ? QString::fromLatin1(c.label).remove('&') : QString();
            for (const auto& l : kLonger)
                if (std::strcmp(l[0], c.name) == 0)
                    what = QString::fromLatin1(l[1]);
            row(QString::fromLatin1(c.key + (c.key[0] == '=' ? 1 : 0)), what);
        }
        row(QStringLiteral("Alt+F, Alt+E, Alt+G, Alt+B, Alt+H"), QStringLiteral("Open a menu"));
        row(QStringLiteral("Menu, Shift+F10"), QStringLiteral("The list's context menu"));
        row(QStringLiteral("Letters in the list"), QStringLiteral("Go to the first name that starts so"));
        row(QStringLiteral("/ or ?  then text, Return"), QStringLiteral("Search names forward or back"));
        row(QStringLiteral(":  then a command, Return"), QStringLiteral("Run a command line here"));
        row(QStringLiteral("Escape twice in Path"), QStringLiteral("Complete the path from the disk"));
        table->resizeColumnsToContents();
        table->horizontalHeader()->setStretchLastSection(true);
        auto* layout = new QVBoxLayout(w);
        layout->addWidget(table);
        w->resize(460, 520);
    }
    w->show();
    w->raise();
    return 0;
}
