#include "shell/open_with.h"

#include <QAction>
#include <QCheckBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include "filelist/fl_view.h"
#include <QVBoxLayout>
#include <algorithm>
#include <sys/stat.h>

#include "assoc/as_apps.h"
#include "assoc/as_launch.h"
#include "dirmodel/es_path.h"
#include "filelist/fl_panel.h"
#include "shell/cmd_table.h"
#include "shell/kit/globals.h"
#include "shell/kit/w_utils.h"

namespace {

// A name of the shown directory, or a full path (Find Files' results).
std::string full_path(const std::string& n)
{
    return !n.empty() && n[0] == '/' ? n : es_join(gDir.path, n);
}

// The distinct types of the files; one file alone is also looked into, as Open
// does, since its name may not tell (a README, a script without a suffix).
std::vector<std::string> types_of(const std::vector<std::string>& names)
{
    std::vector<std::string> types;
    for (const std::string& n : names) {
        std::string t = as_content_type(full_path(n), names.size() == 1);
        if (std::find(types.begin(), types.end(), t) == types.end())
            types.push_back(std::move(t));
    }
    return types;
}

QIcon icon_of(const DesktopApp& a)
{
    const QString name = QString::fromStdString(a.icon);
    const QIcon fallback = QIcon::fromTheme(QStringLiteral("application-x-executable"));
    if (name.startsWith(u'/'))
        return QIcon(name);
    return name.isEmpty() ? fallback : QIcon::fromTheme(name, fallback);
}

void launch(const std::string& id, const std::vector<std::string>& names)
{
    std::vector<std::string> paths;
    for (const std::string& n : names)
        paths.push_back(full_path(n));
    std::string error;
    if (as_launch_app(id, paths, &error) != 0)
        wreport(cmd_base(), "Error", "%s", error.c_str());
}

}  // namespace

std::vector<std::string> ow_selected_files()
{
    std::vector<std::string> names;
    for (int i = 0; i < gDir.count; ++i)
        if ((gDir[i].flags & DIR_F_SELECTED) && !S_ISDIR(gDir[i].status.st_mode))
            names.push_back(gDir[i].name.c_str());
    return names;
}

void ow_add_apps(QMenu* menu)
{
    ow_add_apps(menu, ow_selected_files());
}

void ow_add_apps(QMenu* menu, const std::vector<std::string>& names)
{
    for (const DesktopApp& a : as_apps_for_types(types_of(names))) {
        // An "&" in a name is shown, not taken for a mnemonic.
        const QString label = QString::fromStdString(a.name).replace(u'&', QStringLiteral("&&"));
        QAction* item = menu->addAction(icon_of(a), label, [id = a.id, names] { launch(id, names); });
        item->setObjectName(QStringLiteral("lcm_app_") + QString::fromStdString(a.id));
        if (a.is_default) {
            QFont bold = item->font();
            bold.setBold(true);
            item->setFont(bold);
        }
    }
}

int ow_dialog(const std::vector<std::string>& names)
{
    const std::vector<std::string> types = types_of(names);
    const std::vector<DesktopApp> apps = as_apps_for_types(types);
    QDialog dlg(cmd_base());
    dlg.setObjectName(QStringLiteral("open_with"));
    dlg.setWindowTitle(QStringLiteral("Open With"));
    auto* layout = new QVBoxLayout(&dlg);
    auto* apps_label = new QLabel(QStringLiteral("&Application:"), &dlg);
    layout->addWidget(apps_label);
    auto* list = new QListWidget(&dlg);
    list->setObjectName(QStringLiteral("ow_apps"));
    list->setIconSize(QSize(24, 24));
    apps_label->setBuddy(list);
    for (const DesktopApp& a : apps) {
        auto* item = new QListWidgetItem(icon_of(a), QString::fromStdString(a.name), list);
        item->setData(Qt::UserRole, QString::fromStdString(a.id));
        item->setToolTip(QString::fromStdString(a.id));
        if (a.is_default) {
            QFont bold = item->font();
            bold.setBold(true);
            item->setFont(bold);
            list->setCurrentItem(item);
        }
    }
    layout->addWidget(list);
    auto* as_default = new QCheckBox(QStringLiteral("&Use as default for this type"), &dlg);
    as_default->setObjectName(QStringLiteral("ow_default"));
    std::string described;
    for (const std::string& t : types)
        described += (described.empty() ? "" : ", ") + as_type_description(t) + " (" + t + ")";
    as_default->setToolTip(QString::fromStdString(described));
    const auto chosen = [list] {
        QListWidgetItem* item = list->currentItem();
        return item && item->isSelected() ? item->data(Qt::UserRole).toString().toStdString() : std::string();
    };
    as_default->setEnabled(!chosen().empty());
    QObject::connect(list, &QListWidget::itemSelectionChanged, as_default,
                     [=] { as_default->setEnabled(!chosen().empty()); });
    layout->addWidget(as_default);
    layout->addWidget(new QLabel(QStringLiteral("Command:"), &dlg));
    auto* field = new QLineEdit(&dlg);
    field->setObjectName(QStringLiteral("ow_command"));
    field->setMinimumWidth(320);
    layout->addWidget(field);
    auto* buttons = new QDialogButtonBox(&dlg);
    QPushButton* open = buttons->addButton(QStringLiteral("&Open"), QDialogButtonBox::AcceptRole);
    open->setObjectName(QStringLiteral("ow_open"));
    open->setDefault(true);
    QPushButton* cancel = buttons->addButton(QStringLiteral("&Cancel"), QDialogButtonBox::RejectRole);
    cancel->setObjectName(QStringLiteral("ow_cancel"));
    layout->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    QObject::connect(list, &QListWidget::itemActivated, &dlg, &QDialog::accept);
    (apps.empty() ? static_cast<QWidget*>(field) : list)->setFocus();
    if (wexec(&dlg, fl_list()) != 0)
        return -1;
    // A typed command wins over the list, as the dialog always ran one.
    const QByteArray cmd = field->text().toUtf8();
    if (!cmd.trimmed().isEmpty()) {
        for (const std::string& n : names)
            file_cmd(cmd.constData(), n.c_str());
        return 0;
    }
    const std::string id = chosen();
    if (id.empty())
        return 0;
    if (as_default->isChecked())
        for (const std::string& t : types) {
            std::string error;
            if (as_set_default_app(id, t, &error) != 0)
                wreport(cmd_base(), "Error", "%s", error.c_str());
        }
    launch(id, names);
    return 0;
}
