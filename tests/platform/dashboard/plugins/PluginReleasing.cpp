#include "PluginDouble.h"

/// Deletes itself when the host gives it up.
class PluginReleasing : public PluginDouble
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "test.plugin.releasing")

public:
    void Release() override
    {
        PluginDouble::Release();
        delete this;
    }
};

#include "PluginReleasing.moc"
