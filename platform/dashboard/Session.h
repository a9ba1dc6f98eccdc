#ifndef DASHBOARD_SESSION_H
#define DASHBOARD_SESSION_H

#include "dashboard/ExchangeText.h"
#include "dashboard/Options.h"

#include <QtCore/QObject>

namespace dashboard
{

/// The device and what is said on it: attaches and detaches the virtual card, and turns the device-service library's
/// exchanges, which come on a thread of their own, into signals. There is one at a time. User-interface thread.
class Session : public QObject
{
    Q_OBJECT

public:
    explicit Session(const Options &options);
    /// Detaches the device and ends the device-service library's thread.
    ~Session() override;

    /// Reads the profile and puts its card into the device. False: nothing has changed, and `*error` is
    /// "file:line:column: reason".
    bool attach(QString *error);

    void detach();

    bool isAttached() const { return m_attached; }

    /// Title of the card's menu; empty while there is none.
    QString menuTitle() const;

    /// Adds a line for something that the dashboard did.
    void addHostEntry(const QString &text);

signals:
    void entryAdded(const dashboard::SessionEntry &entry);
    void attachedChanged(bool attached);

private:
    /// Any thread.
    void add(const SessionEntry &entry);

    const Options m_options;
    bool m_attached = false;
};

} // namespace dashboard

#endif // DASHBOARD_SESSION_H
