#include "dashboard/Session.h"

#include "sdk/SdkControl.h"

#include <QtCore/QFile>

#include <cstdio>
#include <optional>
#include <utility>

namespace dashboard
{

namespace
{

void printLine(const SessionEntry &entry)
{
    const QByteArray line = toLine(entry).toUtf8() + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}

} // namespace

Session::Session(const Options &options) : m_options(options), m_card(options.card)
{
    setLimits();
    sdk::setExchangeListener([this](const sdk::Exchange &exchange) { listen(exchange); });
    sdk::setApduListener([this](const sdk::ApduExchange &exchange) { add(describe(exchange)); });
    sdk::setTurnListener([this](sdk::Turn turn) {
        QMetaObject::invokeMethod(
            this, [this, turn] { setTurn(turn); }, Qt::QueuedConnection);
    });
    if (options.callbackOnUiThread)
        setDispatcher(true);
}

Session::~Session()
{
    end();
}

void Session::end()
{
    sdk::shutDown();
}

void Session::setLimits()
{
    for (const ResponseLimit &each : m_options.responseLimits)
        setResponseLimit(each);
    if (m_options.unattendedLimit)
        setUnattendedLimit(*m_options.unattendedLimit);
}

void Session::setResponseLimit(const ResponseLimit &limit)
{
    if (limit.stkType)
        sdk::setResponseLimit(*limit.stkType, limit.limit);
    else
        sdk::setResponseLimit(limit.limit);
}

void Session::setUnattendedLimit(std::chrono::milliseconds limit)
{
    sdk::setUnattendedLimit(limit);
}

void Session::setDispatcher(bool onUiThread)
{
    m_isCallbackOnUiThread = onUiThread;
    if (onUiThread)
        sdk::setCallbackDispatcher([this](std::function<void()> call) {
            QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
        });
    else
        sdk::setCallbackDispatcher({});
}

void Session::setCallbackOnUiThread(bool onUiThread)
{
    setDispatcher(onUiThread);
    addHostEntry(onUiThread ? "has callbacks on the user-interface thread" : "has callbacks on the service's thread");
}

void Session::setHanging(bool isHanging)
{
    addHostEntry(isHanging ? "lets the card hang" : "lets the card answer again");
    sdk::setVirtualCardsHanging(isHanging);
}

void Session::failNextCall()
{
    addHostEntry("lets the next call fail");
    sdk::failNextCall();
}

bool Session::raise(const cat::Bytes &command, QString *error)
{
    std::string reason;
    if (sdk::raiseCommand(command, &reason)) {
        addHostEntry("has the card raise " +
                     QString::fromStdString(cat::commandName(cat::decodeCommand(command).command.details.type)));
        return true;
    }
    *error = QString::fromStdString(reason);
    return false;
}

bool Session::startTrace(QString *error)
{
    std::string reason;
    if (m_options.traceFile.isEmpty() ||
        sdk::setTraceFile(QFile::encodeName(m_options.traceFile).toStdString(), &reason))
        return true;
    *error = QString::fromStdString(reason);
    return false;
}

bool Session::attach(QString *error)
{
    return attach(m_card, error);
}

bool Session::attach(const QString &card, QString *error)
{
    std::string reason;
    auto channel = sdk::openCard(QFile::encodeName(card).toStdString(), &reason);
    if (!channel) {
        *error = QString::fromStdString(reason);
        return false;
    }
    detach();
    m_card = card;
    addHostEntry("attaches the " + QString::fromStdString(channel->name()));
    setIdleText(QString());
    m_operatorName = QString::fromStdString(channel->operatorName());
    m_hasNetwork = channel->hasNetwork();
    sdk::attachDevice(std::move(channel));
    m_attached = true;
    setTurn(sdk::Turn::Card); // until the library tells otherwise
    emit attachedChanged(true);
    return true;
}

void Session::setTurn(sdk::Turn turn)
{
    const sdk::Turn next = m_attached ? turn : sdk::Turn::NoCard;
    if (next == m_turn)
        return;
    m_turn = next;
    if (m_turn == sdk::Turn::NoCard)
        setIdleText(QString());
    emit turnChanged();
}

void Session::detach()
{
    if (!m_attached)
        return;
    addHostEntry("detaches the device");
    sdk::detachDevice();
    m_attached = false;
    m_operatorName.clear();
    setTurn(sdk::Turn::NoCard);
    setIdleText(QString());
    emit attachedChanged(false);
}

QString Session::menuTitle() const
{
    const std::optional<std::u16string> title = hasCard() ? sdk::menuTitle() : std::nullopt;
    return title ? QString::fromStdU16String(*title) : QString();
}

void Session::setIdleText(const QString &text)
{
    if (text == m_idleText)
        return;
    m_idleText = text;
    emit idleTextChanged(text);
}

void Session::listen(const sdk::Exchange &exchange)
{
    add(describe(exchange));
    const std::optional<QString> text = idleTextOf(exchange);
    if (text)
        QMetaObject::invokeMethod(
            this, [this, text] { setIdleText(m_attached ? *text : QString()); }, Qt::QueuedConnection);
}

void Session::addHostEntry(const QString &text)
{
    add(hostEntry(text));
}

/// Printed at once, so that what is printed is in order and complete even when the user interface is busy.
void Session::add(const SessionEntry &entry)
{
    if (m_options.printSession && entry.kind != EntryKind::Apdu)
        printLine(entry);
    QMetaObject::invokeMethod(
        this, [this, entry] { emit entryAdded(entry); }, Qt::QueuedConnection);
}

} // namespace dashboard
