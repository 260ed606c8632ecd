#include "shell/config_dlg.h"

#include <cstdlib>
#include <string>

#include <QDialog>
#include <QFontDialog>
#include <QMainWindow>
#include <QTreeWidget>
#include "filelist/fl_view.h"

#include "filelist/fl_panel.h"
#include "shell/kit/globals.h"
#include "shell/kit/init_config.h"
#include "shell/kit/w_font.h"
#include "shell/kit/w_utils.h"
#include "dirmodel/fname.h"
#include "ui_config_dlg.h"

using namespace cfg;

namespace {
// Each radio button with the option bit it stands for; the first of every group is
// its designed state, kept when none of the group's bits is set.
struct RadioBit {
    QRadioButton* Ui::config_dlg::*button;
    uint32_t bit;
};
const RadioBit kRadioBits[] = {
    {&Ui::config_dlg::sym_prompt, OPT_SYM_PROMPT},
    {&Ui::config_dlg::sym_symlinks, OPT_SYM_SYMLINKS},
    {&Ui::config_dlg::sym_files, OPT_SYM_FILES},
    {&Ui::config_dlg::rm1_prompt, OPT_RM1_PROMPT},
    {&Ui::config_dlg::rm1_prompt_nowr, OPT_RM1_PROMPT_NOWR},
    {&Ui::config_dlg::rm1_no_prompt, OPT_RM1_NO_PROMPT},
    {&Ui::config_dlg::rm_prompt, OPT_RM_PROMPT},
    {&Ui::config_dlg::rm_no_prompt, OPT_RM_NO_PROMPT},
    {&Ui::config_dlg::rm_i_prompt, OPT_RM_I_PROMPT},
    {&Ui::config_dlg::rm_i_prompt_nowr, OPT_RM_I_PROMPT_NOWR},
    {&Ui::config_dlg::rm_i_no_prompt, OPT_RM_I_NO_PROMPT},
    {&Ui::config_dlg::change_owner_dialog_assume_ignore, OPT_CHOWN_ASSUME_IGNORE},
};

QString field(std::string_view s)
{
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}
}  // namespace

ConfigDlg::ConfigDlg(QWidget* parent) : dlg_(new QDialog(parent)), ui_(new Ui::config_dlg)
{
    ui_->setupUi(dlg_.get());
    QObject::connect(ui_->capply, &QPushButton::clicked, dlg_.get(), [this] {
        config_apply();
        dlg_->accept();
    });
    QObject::connect(ui_->ccancel, &QPushButton::clicked, dlg_.get(), &QDialog::reject);
    QObject::connect(dlg_.get(), &QDialog::rejected, dlg_.get(), [this] { config_cancel(); });
    QObject::connect(ui_->clist_select, &QPushButton::clicked, dlg_.get(),
                     [this] { config_list_font(); });
    QObject::connect(ui_->ctree_select, &QPushButton::clicked, dlg_.get(),
                     [this] { config_tree_font(); });
    wshortcut(dlg_.get(), "Alt+D", ui_->capply);
    wshortcut(dlg_.get(), "Alt+C", ui_->ccancel);
}

ConfigDlg::~ConfigDlg() = default;

void ConfigDlg::config_setup()
{
    const ConfigRecord& rec = *gConfig;
    const uint32_t opt = rec.options();
    const QString enc = field(rec.alt_encoding());
    for (const std::string& set : fname_charsets())
        ui_->cenc->addItem(QString::fromStdString(set));
    if (!enc.isEmpty()) {
        const int at = ui_->cenc->findText(enc);
        if (at > 0)
            ui_->cenc->setCurrentIndex(at);
    }
    if (opt & OPT_ENC_UTF8_ALTERNATE)
        ui_->cenc_utf8_alternate->setChecked(true);
    else if (opt & OPT_ENC_ALTERNATE)
        ui_->cenc_alternate->setChecked(true);

    ui_->cto->setText(QString::number(rec.key_timeout()));
    ui_->ctree_font->setText(field(rec.hotlist_font()));
    ui_->clist_font->setText(field(rec.filelist_font()));

    ui_->cdirs->setChecked(rec.folders_first() != 0);
    ui_->cdot->setChecked(opt & OPT_HIDE_DOT);
    (opt & OPT_OVERWRITE ? ui_->overwrite : ui_->overwrite_prompt)->setChecked(true);
    ui_->rm_trash->setChecked(!(opt & OPT_DELETE_PERMANENT));
    for (const RadioBit& r : kRadioBits)
        if (opt & r.bit)
            (ui_.get()->*r.button)->setChecked(true);
}

void ConfigDlg::config_apply()
{
    ConfigRecord& rec = *gConfig;
    uint32_t opt = rec.options();
    rec.set_i32(kFoldersFirst, ui_->cdirs->isChecked() ? 2 : 0);

    opt &= ~OPT_HIDE_DOT;
    if (ui_->cdot->isChecked()) {
        opt |= OPT_HIDE_DOT;
        gOptions &= ~kReaderDotBits;
    } else {
        gOptions |= kReaderDotBits;
    }
    opt &= ~OPT_OVERWRITE;
    if (ui_->overwrite->isChecked())
        opt |= OPT_OVERWRITE;

    // The groups' bits are cleared and one is set per group, the last of a group
    // standing for "none of the others".
    const auto pick = [this](std::initializer_list<const RadioBit*> group) {
        for (const RadioBit* r : group)
            if ((ui_.get()->*r->button)->isChecked())
                return r->bit;
        return (*(group.end() - 1))->bit;
    };
    const RadioBit* b = kRadioBits;
    opt &= ~(OPT_SYM_PROMPT | OPT_SYM_SYMLINKS | OPT_SYM_FILES);
    opt |= pick({&b[0], &b[1], &b[2]});
    opt &= ~(OPT_RM1_PROMPT | OPT_RM1_PROMPT_NOWR | OPT_RM1_NO_PROMPT);
    opt |= pick({&b[3], &b[4], &b[5]});
    opt &= ~(OPT_RM_PROMPT | OPT_RM_NO_PROMPT | OPT_RM_I_PROMPT | OPT_RM_I_PROMPT_NOWR |
             OPT_RM_I_NO_PROMPT);
    opt |= pick({&b[6], &b[7]});
    opt |= pick({&b[8], &b[9], &b[10]});
    opt &= ~OPT_DELETE_PERMANENT;
    if (!ui_->rm_trash->isChecked())
        opt |= OPT_DELETE_PERMANENT;
    opt &= ~OPT_CHOWN_ASSUME_IGNORE;
    if (ui_->change_owner_dialog_assume_ignore->isChecked())
        opt |= OPT_CHOWN_ASSUME_IGNORE;

    // Leading digits only; none gives 0, and no range is imposed.
    rec.set_i32(kKeyTimeout, static_cast<int32_t>(
                                 std::strtol(ui_->cto->text().toUtf8().constData(), nullptr, 10)));

    const QByteArray tree_font = ui_->ctree_font->text().toUtf8();
    if (tree_font.toStdString() != rec.hotlist_font()) {
        rec.set_str(kHotlistFont, kFontLen, tree_font.toStdString());
        if (gBase)
            if (auto* tree = gBase->findChild<QTreeWidget*>("tree"))
                tree->setFont(w_font(ui_->ctree_font->text()));
    }
    const QByteArray list_font = ui_->clist_font->text().toUtf8();
    if (list_font.toStdString() != rec.filelist_font()) {
        rec.set_str(kFilelistFont, kFontLen, list_font.toStdString());
        if (FlView* list = fl_list())
            list->setFont(w_font(ui_->clist_font->text()));
    }

    // Item 0 is "Not Specified".
    rec.set_str(kAltEncoding, kAltEncodingLen,
                ui_->cenc->currentIndex() > 0 ? ui_->cenc->currentText().toStdString() : "");
    opt &= ~(OPT_ENC_UTF8_ALTERNATE | OPT_ENC_ALTERNATE);
    if (ui_->cenc_utf8_alternate->isChecked())
        opt |= OPT_ENC_UTF8_ALTERNATE;
    else if (ui_->cenc_alternate->isChecked())
        opt |= OPT_ENC_ALTERNATE;
    rec.set_options(opt);
    init_translation(rec);
    fl_refresh();
}

void ConfigDlg::choose_font(QWidget* button, QWidget* label, const char* title)
{
    auto* text = static_cast<QLabel*>(label);
    QFontDialog chooser(w_font(text->text()), dlg_.get());
    chooser.setWindowTitle(QString::fromLatin1(title));
    chooser.move(button->mapToGlobal(QPoint(0, 0)));
    if (chooser.exec() != QDialog::Accepted)
        return;
    const QString name = chooser.selectedFont().toString();
    if (name != text->text())
        text->setText(name);
}

void ConfigDlg::config_list_font()
{
    choose_font(ui_->clist_select, ui_->clist_font, "Select File List Font");
}

void ConfigDlg::config_tree_font()
{
    choose_font(ui_->ctree_select, ui_->ctree_font, "Select Tree Font");
}

int ConfigDlg::run()
{
    config_setup();
    dlg_->adjustSize();
    wcenter(dlg_->parentWidget(), dlg_.get());
    return wexec(dlg_.get(), fl_list());
}

int em_preferences()
{
    ConfigDlg dlg(gBase);
    return dlg.run();
}
