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
    ~Session() override;

    /// Detaches the device and ends the device-service library's thread: no exchange comes after. The destructor does
    /// it, too.
    void end();

    /// Reads the profile and puts its card into the device. False: nothing has changed, and `*error` is
    /// "file:line:column: reason".
    bool attach(QString *error);

    void detach();

    bool isAttached() const { return m_attached; }

    /// Writes every APDU to the trace file of the options, if they name one, from now on. False: it cannot be written,
    /// and `*error` tells file and reason.
    bool startTrace(QString *error);

    /// The text that the card has set up for the idle screen (SET UP IDLE MODE TEXT); empty for none.
    QString idleText() const { return m_idleText; }

    /// Title of the card's menu; empty while there is none.
    QString menuTitle() const;

    /// Adds a line for something that the dashboard did.
    void addHostEntry(const QString &text);

signals:
    void entryAdded(const dashboard::SessionEntry &entry);
    void attachedChanged(bool attached);
    void idleTextChanged(const QString &text);

private:
    /// Any thread.
    void add(const SessionEntry &entry);
    /// Any thread.
    void listen(const sdk::Exchange &exchange);
    void setLimits() const;
    void setIdleText(const QString &text);

    const Options m_options;
    bool m_attached = false;
    QString m_idleText;
};

} // namespace dashboard

#endif // DASHBOARD_SESSION_H
