// The main window's parts that the file list needs, for the benchmarks that drive it
// offscreen: the list `filelist` and the status labels, built and shown.
#pragma once
#include <QLabel>
#include <QMainWindow>
#include "filelist/fl_view.h"
#include <QVBoxLayout>

#include "filelist/fl_panel.h"
#include "shell/kit/globals.h"

struct BenchWindow {
    QMainWindow window;
    FlView* list = new FlView;
    QLabel* status1 = new QLabel;
    QLabel* status2 = new QLabel;

    BenchWindow()
    {
        auto* central = new QWidget;
        auto* lay = new QVBoxLayout(central);
        list->setObjectName("filelist");
        status1->setObjectName("status1");
        status2->setObjectName("status2");
        lay->addWidget(list);
        lay->addWidget(status1);
        lay->addWidget(status2);
        window.setCentralWidget(central);
        window.resize(800, 600);
        fl_setup(list);
    }
    void show()
    {
        window.show();
        gBase = &window;
    }
};
