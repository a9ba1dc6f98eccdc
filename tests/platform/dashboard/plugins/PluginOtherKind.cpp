#include <QtCore/QObject>
#include <QtCore/QtPlugin>

/// A Qt plug-in that is none of this host's.
class PluginOtherKind : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "test.plugin.other")
};

#include "PluginOtherKind.moc"
