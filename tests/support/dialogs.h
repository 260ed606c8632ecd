// Driving modal dialogs from a test: a named child that must exist, and work to do
// once the dialog is up (its exec() holds the test until then).
#pragma once
#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QTimer>
#include <functional>

template <class T> T* w(QWidget* dlg, const char* name)
{
    T* found = dlg->findChild<T*>(name);
    EXPECT_NE(found, nullptr) << name;
    return found;
}

// Runs fn once a modal dialog (named `name`, when given) is on screen and active,
// so that its shortcuts take keys.
inline void when_shown(const char* name, std::function<void(QDialog*)> fn)
{
    auto* t = new QTimer;
    t->setInterval(5);
    QObject::connect(t, &QTimer::timeout, [t, name, fn] {
        auto* d = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (!d || (name && d->objectName() != name) || QApplication::activeWindow() != d)
            return;
        t->stop();
        t->deleteLater();
        fn(d);
    });
    t->start();
}
