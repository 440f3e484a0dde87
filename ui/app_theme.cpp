#include "ui/app_theme.h"

#include <QApplication>
#include <QFile>
#include <QIcon>

void applyAppTheme()
{
    // The resources are in a static library, which nothing else makes the linker keep.
    Q_INIT_RESOURCE(sondrix);

    QApplication::setWindowIcon(QIcon(QStringLiteral(":/sondrix/sondrix_icon_512x512.png")));
    QFile sheet(QStringLiteral(":/sondrix/DarkBlue.qss"));
    if (sheet.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qApp->setStyleSheet(QString::fromUtf8(sheet.readAll()));
    }
}
