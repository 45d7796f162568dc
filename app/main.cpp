#include "startprogram.h"

#include <QApplication>
#include <QDir>
#include <QIcon>

// The icon an installed theme gives the program's id, else the sizes built into the program.
static QIcon applicationIcon()
{
    QIcon builtIn;
    for (const QFileInfo& size : QDir(QStringLiteral(":/appicon")).entryInfoList(QDir::Files))
        builtIn.addFile(size.filePath());
    return QIcon::fromTheme(QStringLiteral(TALLYVANE_APP_ID), builtIn);
}

int main(int argc, char** argv)
{
    StartOptions options;
    options.configure = [] {
        QApplication::setApplicationVersion(QStringLiteral(TALLYVANE_VERSION));
        // The desktop file name ties the windows to the launcher; the icon shows in the task switcher.
        QApplication::setDesktopFileName(QStringLiteral(TALLYVANE_APP_ID));
        QApplication::setWindowIcon(applicationIcon());
    };
    StartProgram(argc, argv, options);
    return 0;
}
