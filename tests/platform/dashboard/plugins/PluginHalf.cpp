#include "plugin/INotify.h"

/// Has only one of the interfaces.
class PluginHalf : public QObject, public INotify
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "test.plugin.half")
    Q_INTERFACES(INotify)

public:
    int Notify(unsigned int, unsigned int, unsigned int) override { return 0; }
};

#include "PluginHalf.moc"
