// The meta-objects of the plug-in's classes, and of the host's that it connects by name.
#include "Scenes.h"

#include "STKPlugin/STKDialog.h"
#include "STKPlugin/STKInputDlg.h"
#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKPlugin.h"
#include "STKPlugin/STKThread.h"

#include "core/ExtendDialog.h"
#include "core/ExtendLineEdit.h"
#include "core/WsMessageBox.h"
#include "core/WsSound.h"

#include <QtCore/QMetaMethod>

namespace
{
QString kindOf(const QMetaMethod &method)
{
    const char *const access[] = {"private", "protected", "public"};
    const char *const kinds[] = {"method", "signal", "slot", "constructor"};
    return QString("%1 %2").arg(access[method.access()], kinds[method.methodType()]);
}

/// As "public slot 8 void onDeviceAvailable(bool isAvaialable)".
QString printed(const QMetaMethod &method, int index)
{
    QStringList parameters;
    for (int i = 0; i < method.parameterCount(); ++i)
        parameters << QString(method.parameterTypes().at(i) + ' ' + method.parameterNames().at(i));
    return QString("%1 %2 %3 %4(%5)")
        .arg(kindOf(method))
        .arg(index)
        .arg(method.typeName(), QString(method.name()), parameters.join(", "));
}

QStringList printed(const QMetaObject &meta)
{
    QStringList lines = {QString("[%1, a %2]").arg(meta.className(), meta.superClass()->className())};
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        lines << printed(meta.method(i), i - meta.methodOffset());
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        lines << QString("property ") + meta.property(i).name();
    for (int i = meta.enumeratorOffset(); i < meta.enumeratorCount(); ++i)
        lines << QString("enumeration ") + meta.enumerator(i).name();
    for (int i = meta.classInfoOffset(); i < meta.classInfoCount(); ++i)
        lines << QString("information ") + meta.classInfo(i).name();
    return lines << QString();
}
} // namespace

QStringList metaObjects()
{
    QStringList text;
    for (const QMetaObject *meta :
         {&STKPlugin::staticMetaObject, &STKLogic::staticMetaObject, &STKThread::staticMetaObject,
          &STKDialog::staticMetaObject, &STKTableWidget::staticMetaObject, &STKInputDlg::staticMetaObject,
          &ExtendDialog::staticMetaObject, &ExtendLineEdit::staticMetaObject, &WsMessageBox::staticMetaObject,
          &WsSound::staticMetaObject})
        text << printed(*meta);
    text << QString("STKExtendDlg and STKInputExtendDlg have none of their own: they are %1 and %2.")
                .arg(STKExtendDlg::staticMetaObject.className(), STKInputExtendDlg::staticMetaObject.className());
    return text;
}
