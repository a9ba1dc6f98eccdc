#ifndef DASHBOARD_SESSION_H
#define DASHBOARD_SESSION_H

#include "dashboard/ExchangeText.h"
#include "dashboard/Options.h"
#include "sdk/SdkControl.h"

#include <QtCore/QObject>

namespace dashboard
{

/// The device and what is said on it: attaches and detaches the card, and turns the device-service library's
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

    /// Address of the card that attach() takes: that of the options, until another one has been attached.
    QString card() const { return m_card; }

    /// Puts the card into the device. False: nothing has changed, and `*error` says why; of a broken profile
    /// "file:line:column: reason".
    bool attach(QString *error);
    /// The same with another card, which counts from then on; a device that is attached is detached first.
    bool attach(const QString &card, QString *error);

    void detach();

    bool isAttached() const { return m_attached; }

    /// Who is to do something next.
    sdk::Turn turn() const { return m_turn; }

    /// Whether there is a card in the device: a reader may be empty.
    bool hasCard() const { return m_attached && m_turn != sdk::Turn::NoCard; }

    /// Writes every APDU to the trace file of the options, if they name one, from now on. False: it cannot be written,
    /// and `*error` tells file and reason.
    bool startTrace(QString *error);

    /// The text that the card has set up for the idle screen (SET UP IDLE MODE TEXT); empty for none.
    QString idleText() const { return m_idleText; }

    /// The network's operator as the card names it; empty while there is no card, and when it does not say.
    QString operatorName() const { return m_operatorName; }

    /// Whether the device has found a network.
    bool hasNetwork() const { return hasCard() && m_hasNetwork; }

    /// Title of the card's menu; empty while there is none.
    QString menuTitle() const;

    bool isCallbackOnUiThread() const { return m_isCallbackOnUiThread; }
    /// Where the library's callbacks run from now on: on the user-interface thread, or on the library's own.
    void setCallbackOnUiThread(bool onUiThread);

    /// How long the user may take over the next commands.
    void setResponseLimit(const ResponseLimit &limit);
    /// How long after its own time a command is given up that no window has ended.
    void setUnattendedLimit(std::chrono::milliseconds limit);

    /// The card answers nothing while it hangs.
    void setHanging(bool isHanging);
    /// The plug-in's next request of the library fails.
    void failNextCall();
    /// Has the card raise the command. False: it cannot, and `*error` says why.
    bool raise(const cat::Bytes &command, QString *error);

    /// Adds a line for something that the dashboard did.
    void addHostEntry(const QString &text);

signals:
    void entryAdded(const dashboard::SessionEntry &entry);
    void attachedChanged(bool attached);
    void idleTextChanged(const QString &text);
    void turnChanged();

private:
    /// Any thread.
    void add(const SessionEntry &entry);
    /// Any thread.
    void listen(const sdk::Exchange &exchange);
    void setTurn(sdk::Turn turn);
    void setLimits();
    void setDispatcher(bool onUiThread);
    void setIdleText(const QString &text);

    const Options m_options;
    QString m_card;
    sdk::Turn m_turn = sdk::Turn::NoCard;
    bool m_isCallbackOnUiThread = false;
    bool m_attached = false;
    bool m_hasNetwork = false;
    QString m_operatorName;
    QString m_idleText;
};

} // namespace dashboard

#endif // DASHBOARD_SESSION_H
