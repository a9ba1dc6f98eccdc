#include "dashboard/PluginHost.h"

#include "plugin/INotify.h"
#include "plugin/IUIPlugin.h"

#include <QtCore/QFileInfo>
#include <QtCore/QRect>

namespace dashboard
{

namespace
{

const unsigned int languageChanged = 320; // message code of INotify

} // namespace

PluginHost::~PluginHost()
{
    unload();
}

bool PluginHost::isLoaded() const
{
    return m_object && m_plugin;
}

bool PluginHost::load(const QString &file, QString *error)
{
    unload();
    if (!open(file, error))
        return false;
    if (!findInterfaces(error)) {
        drop();
        return false;
    }
    if (!m_plugin->Init()) {
        *error = QString("the plug-in '%1' refused to start (last error %2)").arg(file).arg(m_plugin->GetLastError());
        unload();
        return false;
    }
    return true;
}

bool PluginHost::open(const QString &file, QString *error)
{
    if (!QFileInfo(file).isFile()) {
        *error = QString("there is no plug-in file '%1'; name another one with --plugin").arg(file);
        return false;
    }
    m_loader.setFileName(QFileInfo(file).absoluteFilePath());
    m_object = m_loader.instance();
    if (!m_object) {
        *error = QString("'%1' cannot be loaded as a plug-in: %2").arg(file, m_loader.errorString());
        m_loader.unload();
        return false;
    }
    return true;
}

/// Casts to the interfaces in the host's order. All of them are needed.
bool PluginHost::findInterfaces(QString *error)
{
    const char *missing = nullptr;
    if (!qobject_cast<IBasePlugin *>(m_object.data()))
        missing = IBasePlugin_iid;
    m_plugin = qobject_cast<IUIPlugin *>(m_object.data());
    if (!missing && !m_plugin)
        missing = IUIPlugin_iid;
    m_notify = qobject_cast<INotify *>(m_object.data());
    if (!missing && !m_notify)
        missing = INotify_iid;
    if (missing)
        *error = QString("'%1' is a plug-in of another kind: it has no interface %2").arg(m_loader.fileName(), missing);
    return !missing;
}

QString PluginHost::title() const
{
    if (!isLoaded())
        return QString();
    const int version = m_plugin->GetVersion();
    return QString("%1 %2.%3").arg(m_plugin->GetPluginName()).arg((version >> 8) & 0xff).arg(version & 0xff);
}

bool PluginHost::showWindow(QWidget *parent, const QRect &area)
{
    if (!isLoaded())
        return false;
    QRect rect = area;
    return m_plugin->ShowWindow(parent, rect);
}

void PluginHost::changeLanguage(const QString &language)
{
    if (!isLoaded())
        return;
    m_plugin->ChangeLang(language);
    m_notify->Notify(languageChanged, 0, 0);
}

void PluginHost::unload()
{
    if (isLoaded()) {
        m_plugin->UnSDKRegisterEvent();
        m_plugin->OnDestroy();
        m_plugin->Release();
    }
    drop();
}

/// Release() may or may not have deleted the object: the guarded pointer knows.
void PluginHost::drop()
{
    delete m_object.data();
    m_plugin = nullptr;
    m_notify = nullptr;
    if (m_loader.isLoaded())
        m_loader.unload();
}

} // namespace dashboard
