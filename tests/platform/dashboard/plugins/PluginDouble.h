#ifndef PLUGINDOUBLE_H
#define PLUGINDOUBLE_H

#include "plugin/INotify.h"
#include "plugin/IUIPlugin.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QRect>
#include <QtCore/QStringList>

#include <QWidget>

/// A plug-in that works and writes down what the host asks of it, in an application property named "calls", which
/// outlives it. Its window opens unless the property "opens" is false.
class PluginDouble : public QObject, public IUIPlugin, public INotify
{
    Q_OBJECT
    Q_INTERFACES(IBasePlugin : IUIPlugin INotify)

public:
    PluginDouble() { note("create"); }
    ~PluginDouble() override { note("delete"); }

    void Release() override { note("Release"); }
    int GetLastError() override { return 77; }
    void OnDestroy() override { note("OnDestroy"); }
    void UnSDKRegisterEvent() override { note("UnSDKRegisterEvent"); }
    bool Init() override
    {
        note("Init");
        return true;
    }
    int GetPluginType() override { return 0; }
    QString GetCLSID() override { return "00000000-0000-0000-0000-000000000000"; }
    int GetVersion() override { return 0x020b; }
    QString GetPluginName() override { return "Double"; }
    bool IsAllowRelease() override { return false; }
    int QueryInterface(int, QObject **) override { return 0; }
    bool ShowWindow(QWidget *parent, QRect &rect) override
    {
        note(QString("ShowWindow %1 %2x%3").arg(parent->objectName()).arg(rect.width()).arg(rect.height()));
        return qApp->property("opens").isNull() || qApp->property("opens").toBool();
    }
    int DoModal() override { return 0; }
    void Hide() override {}
    void FitSize(QRect &) override {}
    bool IsReady() override { return false; }
    bool ChangeLang(const QString &lang) override
    {
        note("ChangeLang " + lang);
        return true;
    }
    int Notify(unsigned int code, unsigned int first, unsigned int second) override
    {
        note(QString("Notify %1 %2 %3").arg(code).arg(first).arg(second));
        return 0;
    }

protected:
    static void note(const QString &call)
    {
        qApp->setProperty("calls", qApp->property("calls").toStringList() << call);
    }
};

#endif // PLUGINDOUBLE_H
