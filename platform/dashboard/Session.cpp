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

Session::Session(const Options &options) : m_options(options)
{
    setLimits();
    sdk::setExchangeListener([this](const sdk::Exchange &exchange) { listen(exchange); });
    sdk::setApduListener([this](const sdk::ApduExchange &exchange) { add(describe(exchange)); });
    if (options.callbackOnUiThread)
        sdk::setCallbackDispatcher([this](std::function<void()> call) {
            QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
        });
}

Session::~Session()
{
    end();
}

void Session::end()
{
    sdk::shutDown();
}

void Session::setLimits() const
{
    for (const ResponseLimit &each : m_options.responseLimits) {
        if (each.stkType)
            sdk::setResponseLimit(*each.stkType, each.limit);
        else
            sdk::setResponseLimit(each.limit);
    }
    if (m_options.unattendedLimit)
        sdk::setUnattendedLimit(*m_options.unattendedLimit);
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
    std::string reason;
    auto channel = sdk::openVirtualCard(QFile::encodeName(m_options.profileFile).toStdString(), &reason);
    if (!channel) {
        *error = QString::fromStdString(reason);
        return false;
    }
    addHostEntry("attaches the " + QString::fromStdString(channel->name()));
    setIdleText(QString());
    sdk::attachDevice(std::move(channel));
    m_attached = true;
    emit attachedChanged(true);
    return true;
}

void Session::detach()
{
    if (!m_attached)
        return;
    addHostEntry("detaches the device");
    sdk::detachDevice();
    m_attached = false;
    setIdleText(QString());
    emit attachedChanged(false);
}

QString Session::menuTitle() const
{
    const std::optional<std::u16string> title = m_attached ? sdk::menuTitle() : std::nullopt;
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
