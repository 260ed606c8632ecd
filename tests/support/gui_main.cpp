// Entry point of the widget tests: one QApplication for the whole binary.
#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? "offscreen" : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);
    Q_INIT_RESOURCE(vell);  // the images live in the static widget library
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
