#include "PluginDouble.h"

/// Cannot work, and says so in Init().
class PluginRefusing : public PluginDouble
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "test.plugin.refusing")

public:
    bool Init() override
    {
        PluginDouble::Init();
        return false;
    }
};

#include "PluginRefusing.moc"
