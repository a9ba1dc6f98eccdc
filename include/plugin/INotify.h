#ifndef INOTIFY_H
#define INOTIFY_H

#include "plugin/IBaseInterface.h"

#include <QtCore/QObject>
#include <QtCore/QtPlugin>

/// Messages from the host. User-interface thread; virtual-table order is fixed.
class INotify
{
public:
    virtual ~INotify() {}

    /// The host's message `code` with two values whose meaning depends on it. 320: the language has changed, and
    /// `Change::tr` now answers in the new one.
    virtual int Notify(unsigned int code, unsigned int first, unsigned int second) = 0;
};

#define INotify_iid STK_HOST_IID_PREFIX ".plugin.INotify"
Q_DECLARE_INTERFACE(INotify, INotify_iid)

#endif // INOTIFY_H
