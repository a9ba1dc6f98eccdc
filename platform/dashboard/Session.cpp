#include "dashboard/Session.h"

#include "sdk/MDSVStk.h"
#include "sdk/SdkControl.h"

#include <QtCore/QFile>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

namespace dashboard
{

namespace
{

/// A text field of the library's records: up to its first zero unit, and never past its end.
template <std::size_t N>
QString fromField(const uint16_t (&field)[N])
{
    const auto end = std::find(std::begin(field), std::end(field), uint16_t(0));
    return QString::fromUtf16(field, static_cast<int>(end - std::begin(field)));
}

void printLine(const SessionEntry &entry)
{
    const QByteArray line = toLine(entry).toUtf8() + '\n';
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fflush(stdout);
}

} // namespace

Session::Session(const Options &options) : m_options(options)
{
    sdk::setResponseLimit(options.responseLimit);
    sdk::setExchangeListener([this](const sdk::Exchange &exchange) { add(describe(exchange)); });
    if (options.callbackOnUiThread)
        sdk::setCallbackDispatcher([this](std::function<void()> call) {
            QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
        });
}

Session::~Session()
{
    sdk::shutDown();
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
    emit attachedChanged(false);
}

QString Session::menuTitle() const
{
    MDSVStkMainMenu menu = {};
    if (!m_attached || MDSV_STKSrv_GetMainMenu(&menu) != 0)
        return QString();
    QString title = fromField(menu.usTitle);
    MDSV_STKSrv_ReleaseMenus(&menu);
    return title;
}

void Session::addHostEntry(const QString &text)
{
    add(hostEntry(text));
}

/// Printed at once, so that what is printed is in order and complete even when the user interface is busy.
void Session::add(const SessionEntry &entry)
{
    if (m_options.printSession)
        printLine(entry);
    QMetaObject::invokeMethod(
        this, [this, entry] { emit entryAdded(entry); }, Qt::QueuedConnection);
}

} // namespace dashboard
