// The association editor: four fields checked and joined into one working-list line.
#include "assoc/at_dlg.h"

#include <QDialog>
#include <QMainWindow>
#include <QLineEdit>
#include <QPushButton>

#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"
#include "ui_assoc_type_dlg.h"

namespace {
// A line is read back with a 1024-byte buffer, newline included.
constexpr size_t kMaxLine = 1023;

std::string field_bytes(const QLineEdit* e)
{
    return e->text().toUtf8().toStdString();
}

std::string join_line(const std::string& pattern, const std::string& open,
                      const std::string& view, const std::string& edit)
{
    std::string line = pattern + '\t' + open + '\t' + view + '\t' + edit;
    if (line.size() > kMaxLine) {
        size_t n = kMaxLine;
        while (n > 0 && (static_cast<unsigned char>(line[n]) & 0xC0) == 0x80)
            --n;  // never leave half a UTF-8 character behind
        line.resize(n);
    }
    return line;
}

// Returns true when the fields make a line; otherwise the user was told why.
bool at_done(Ui::assoc_type_dlg& ui, std::string& line)
{
    const std::string pattern = field_bytes(ui.at_pattern);
    // An empty pattern gets the tab message too: the one check covers both.
    if (pattern.empty() || pattern.find('\t') != std::string::npos) {
        wreport(gBase, "VELL", "Pattern cannot have TABs");
        return false;
    }
    const std::string open = field_bytes(ui.at_command);
    const std::string view = field_bytes(ui.at_view_cmd);
    const std::string edit = field_bytes(ui.at_edit_cmd);
    // Blanks count as a command here; launching treats them as none later.
    if (open.empty() && view.empty() && edit.empty()) {
        wreport(gBase, "VELL", "No actions added for Open, View or Edit");
        return false;
    }
    line = join_line(pattern, open, view, edit);
    return true;
}
}  // namespace

void at_split_line(const std::string& line, std::string fields[4])
{
    size_t start = 0;
    for (int k = 0; k < 4; ++k) {
        if (start == std::string::npos) {
            fields[k].clear();
            continue;
        }
        const size_t tab = line.find('\t', start);
        fields[k] = line.substr(start, tab == std::string::npos ? std::string::npos : tab - start);
        start = tab == std::string::npos ? std::string::npos : tab + 1;
    }
}

int at_edit(QWidget* list_dlg, AtMode mode, std::string& line)
{
    QDialog dlg(list_dlg);
    Ui::assoc_type_dlg ui;
    ui.setupUi(&dlg);
    if (mode == AT_EDIT) {
        std::string f[4];
        at_split_line(line, f);
        ui.at_pattern->setText(QString::fromUtf8(f[0]));
        ui.at_command->setText(QString::fromUtf8(f[1]));
        ui.at_view_cmd->setText(QString::fromUtf8(f[2]));
        ui.at_edit_cmd->setText(QString::fromUtf8(f[3]));
    }
    std::string result;
    auto try_done = [&] {
        if (at_done(ui, result))
            dlg.accept();
    };
    QObject::connect(ui.at_done, &QPushButton::clicked, &dlg, try_done);
    // Enter in the first two fields only; the others have no default to press.
    QObject::connect(ui.at_pattern, &QLineEdit::returnPressed, &dlg, try_done);
    QObject::connect(ui.at_command, &QLineEdit::returnPressed, &dlg, try_done);
    // Cancel, Escape and the window's close all reach reject().
    QObject::connect(ui.at_cancel, &QPushButton::clicked, &dlg, &QDialog::reject);

    wblock(list_dlg, 1);
    dlg.adjustSize();
    wcenter(gBase ? static_cast<QWidget*>(gBase) : list_dlg, &dlg);
    ui.at_pattern->setFocus();
    const int rc = dlg.exec();
    wblock(list_dlg, 0);
    if (rc != QDialog::Accepted)
        return -1;
    line = result;
    return 0;
}
