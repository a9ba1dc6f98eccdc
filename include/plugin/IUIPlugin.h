#ifndef IUIPLUGIN_H
#define IUIPLUGIN_H

#include "plugin/IBasePlugin.h"

QT_BEGIN_NAMESPACE
class QRect;
class QWidget;
QT_END_NAMESPACE

/// A plug-in with a window. User-interface thread; virtual-table order is fixed.
class IUIPlugin : public IBasePlugin
{
public:
    virtual ~IUIPlugin() {}

    /// Opens the plug-in's window over `rect` of `parent`. True when the window was built.
    /// The window belongs to `parent`.
    virtual bool ShowWindow(QWidget *parent, QRect &rect) = 0;

    /// Runs the window modally and returns its result.
    virtual int DoModal() = 0;

    virtual void Hide() = 0;

    /// The place for the window has changed to `rect`.
    virtual void FitSize(QRect &rect) = 0;

    virtual bool IsReady() = 0;

    /// The host's language is now `lang`. False when `lang` is no language.
    virtual bool ChangeLang(const QString &lang) = 0;
};

#define IUIPlugin_iid STK_HOST_IID_PREFIX ".plugin.IUIPlugin"
Q_DECLARE_INTERFACE(IUIPlugin, IUIPlugin_iid)

#endif // IUIPLUGIN_H
