#include "support/World.h"

#include <QtCore/QEvent>
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

} // namespace support
