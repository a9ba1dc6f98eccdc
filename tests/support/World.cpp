#include "support/World.h"

#include <QtCore/QEvent>
#include <QtCore/QThread>
#include <QtCore/QTime>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

namespace support
{

QStringList leftovers()
{
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

    while (QApplication::overrideCursor())
        QApplication::restoreOverrideCursor();

    QStringList result;
    for (const QWidget *widget : QApplication::topLevelWidgets())
        result << QString("top-level widget %1 '%2'").arg(widget->metaObject()->className(), widget->objectName());
    if (QApplication::activeModalWidget())
        result << "a modal window";
    return result;
}

void keepClearOfMinuteEnd()
{
    const QTime now = QTime::currentTime();
    const int left = 60000 - now.second() * 1000 - now.msec();
    if (left < 4000)
        QThread::msleep(static_cast<unsigned long>(left));
}

} // namespace support
