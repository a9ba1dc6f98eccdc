#ifndef STKPLUGIN_H
#define STKPLUGIN_H

#include "plugin/INotify.h"
#include "plugin/IUIPlugin.h"

#include <QtCore/QObject>

class STKDialog;

/// The object that the host holds for this plug-in. Making it brings the SIM Toolkit up, callbacks included; deleting
/// it takes everything down. The host must have called UnSDKRegisterEvent() before it deletes it.
///
/// Everything is called on the user-interface thread. Operations that are not described only answer a fixed value.
class STKPlugin : public QObject, public IUIPlugin, public INotify
{
    Q_OBJECT
#if QT_VERSION >= 0x050000
    Q_PLUGIN_METADATA(IID IUIPlugin_iid)
#endif
    Q_INTERFACES(IBasePlugin : IUIPlugin INotify)

public:
    STKPlugin();
    virtual ~STKPlugin();

    /// Does nothing: the host deletes the object.
    virtual void Release();
    virtual int GetLastError();

    virtual void OnDestroy();

    /// Withdraws the callbacks from the device-service library. Deliberately makes the window's object when there is
    /// none.
    virtual void UnSDKRegisterEvent();

    virtual bool Init();
    virtual int GetPluginType();
    virtual QString GetCLSID();
    virtual int GetVersion();
    virtual QString GetPluginName();
    virtual bool IsAllowRelease();

    /// Always 0; there are no further objects, and `*out` stays as it is.
    virtual int QueryInterface(int id, QObject **out);

    /// Builds and opens the STK window over `parent`, which owns it. `rect` is not used. Every call builds a fresh
    /// window, also while one is open. True when the window was built.
    virtual bool ShowWindow(QWidget *parent, QRect &rect);
    virtual int DoModal();
    virtual void Hide();
    virtual void FitSize(QRect &rect);
    virtual bool IsReady();

    /// True for any text that is not empty. Changes nothing: Notify(320, …) does.
    virtual bool ChangeLang(const QString &lang);

    /// Code 320: the buttons take their texts anew. Always 0.
    virtual int Notify(unsigned int code, unsigned int first, unsigned int second);

protected:
    STKDialog *m_pStkDialog;

private:
    Q_DISABLE_COPY(STKPlugin)
};

#endif // STKPLUGIN_H
