#include "filelist/fl_panel.h"

#include <QHeaderView>
#include <QStandardItemModel>
#include <QTreeView>

#include "shell/globals.h"
#include "shell/init_config.h"
#include "shell/w_utils.h"

namespace {
QTreeView* sList = nullptr;
constexpr int kColumns = 7;
}  // namespace

void fl_setup(QTreeView* list)
{
    sList = list;
    auto* model = new QStandardItemModel(0, kColumns, list);
    model->setHorizontalHeaderLabels(
        {"Name", "Size", "Date", "Owner", "Group", "Permissions", "Link"});
    list->setModel(model);
    list->header()->setStretchLastSection(true);
    list->setFont(w_font(QString::fromUtf8(gConfig->filelist_font())));
}

int fl_get_column_width(int column)
{
    if (!sList || column < 1 || column > kColumns)
        return -1;
    return sList->header()->sectionSize(column - 1);
}

void fl_set_column_width(int column, int width)
{
    if (!sList || column < 1 || column > kColumns)
        return;
    sList->header()->resizeSection(column - 1, width);
}
