#ifndef IBASEPLUGIN_H
#define IBASEPLUGIN_H

#include "plugin/IBaseInterface.h"
#include "plugin/IDestroyEvent.h"

#include <QtCore/QString>
#include <QtCore/QtPlugin>

QT_BEGIN_NAMESPACE
class QObject;
QT_END_NAMESPACE

/// What every plug-in of the host answers. User-interface thread; virtual-table order is fixed.
class IBasePlugin : public IBaseInterface, public IDestroyEvent
{
public:
    virtual ~IBasePlugin() {}

    /// Called once after loading. False: the plug-in cannot work, and the host drops it.
    virtual bool Init() = 0;

    /// Kind of plug-in, in the host's own numbering.
    virtual int GetPluginType() = 0;

    /// Identifier that tells plug-ins apart: a GUID as text, 8-4-4-4-12 hexadecimal digits.
    virtual QString GetCLSID() = 0;

    /// Version, major in the high byte and minor in the low byte of 16 bits: 0x0101 is 1.1.
    virtual int GetVersion() = 0;

    /// Name for lists and logs.
    virtual QString GetPluginName() = 0;

    /// Whether the host may release the plug-in now.
    virtual bool IsAllowRelease() = 0;

    /// Asks for a further object by the host's own number. Returns 0; `*out` is written only when there is one,
    /// and stays the plug-in's.
    virtual int QueryInterface(int id, QObject **out) = 0;
};

#define IBasePlugin_iid STK_HOST_IID_PREFIX ".plugin.IBasePlugin"
Q_DECLARE_INTERFACE(IBasePlugin, IBasePlugin_iid)

#endif // IBASEPLUGIN_H
