#ifndef DASHBOARD_PLUGINHOST_H
#define DASHBOARD_PLUGINHOST_H

#include <QtCore/QPluginLoader>
#include <QtCore/QPointer>
#include <QtCore/QString>

class INotify;
class IUIPlugin;

QT_BEGIN_NAMESPACE
class QRect;
class QWidget;
QT_END_NAMESPACE

namespace dashboard
{

/// Loads one user-interface plug-in and takes it through its life: instance, interfaces, Init, ShowWindow any number
/// of times, and back. User-interface thread.
class PluginHost
{
public:
    PluginHost() = default;
    /// Unloads.
    ~PluginHost();
    PluginHost(const PluginHost &) = delete;
    PluginHost &operator=(const PluginHost &) = delete;

    /// Loads the library `file`, creates its object and initialises it. A plug-in that was loaded is unloaded first.
    /// False: nothing is loaded, and `*error` says what is wrong with which file.
    bool load(const QString &file, QString *error);

    bool isLoaded() const;

    /// The plug-in's name and version, "STKPlugin 1.1"; empty when none is loaded.
    QString title() const;

    /// Opens the plug-in's window over `area` of `parent`. False when there is no plug-in or it did not open.
    bool showWindow(QWidget *parent, const QRect &area);

    /// Tells the plug-in that Change::tr now speaks `language`: ChangeLang, then message 320.
    void changeLanguage(const QString &language);

    /// Takes the plug-in out: UnSDKRegisterEvent, OnDestroy, Release, delete. Nothing when none is loaded.
    void unload();

private:
    bool open(const QString &file, QString *error);
    bool findInterfaces(QString *error);
    void drop();

    QPluginLoader m_loader;
    QPointer<QObject> m_object;
    IUIPlugin *m_plugin = nullptr;
    INotify *m_notify = nullptr;
};

} // namespace dashboard

#endif // DASHBOARD_PLUGINHOST_H
