#ifndef DASHBOARD_GLOBALKEYS_H
#define DASHBOARD_GLOBALKEYS_H

#include <QtCore/QObject>

namespace dashboard
{

/// Keys of the host that work in every window of the program, also in a modal one of the plug-in, where the host's
/// own controls and shortcuts are blocked. Function keys: no keyboard layout moves them, and no text has them.
class GlobalKeys : public QObject
{
    Q_OBJECT

public:
    /// Needs a QApplication. The keys work until it is destroyed. User-interface thread.
    GlobalKeys();

    bool eventFilter(QObject *object, QEvent *event) override;

signals:
    void languageAsked();  ///< F8
    void deviceAsked();    ///< F9
    void inspectorAsked(); ///< F12
};

} // namespace dashboard

#endif // DASHBOARD_GLOBALKEYS_H
