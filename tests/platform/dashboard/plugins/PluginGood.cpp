#include "PluginDouble.h"

/// Does all as it should.
class PluginGood : public PluginDouble
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "test.plugin.good")
};

#include "PluginGood.moc"
