#ifndef IDESTROYEVENT_H
#define IDESTROYEVENT_H

/// What the host tells a plug-in on its way out. User-interface thread; virtual-table order is fixed.
class IDestroyEvent
{
public:
    virtual ~IDestroyEvent() {}

    /// The host is about to delete the plug-in.
    virtual void OnDestroy() = 0;

    /// The plug-in withdraws every callback it has registered with the device-service library.
    /// Called before OnDestroy(), since nothing may call into a plug-in that is being deleted.
    virtual void UnSDKRegisterEvent() = 0;
};

#endif // IDESTROYEVENT_H
