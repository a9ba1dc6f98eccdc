#include "RoadWorld.h"

#include "core/CoreControl.h"
#include "platform/core/RealInput.h"
#include "sdk/SdkControl.h"
#include "support/Peek.h"
#include "support/World.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

namespace
{
struct DialogPeek : STKDialog {
    using STKDialog::m_pStkDialogInstance;
    using STKDialog::m_pStkThread;
};
} // namespace

bool isInShard(int number)
{
    const QStringList words = QString::fromLatin1(qgetenv("STK_TEST_SHARD")).split('/');
    const int shards = words.value(1).toInt();
    return shards == 0 || number % shards == words.value(0).toInt() - 1;
}

void CallQueue::post(std::function<void()> call)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_calls.push_back(std::move(call));
    QCoreApplication::postEvent(this, new QEvent(QEvent::User));
}

bool CallQueue::event(QEvent *event)
{
    if (event->type() != QEvent::User)
        return QObject::event(event);
    std::function<void()> call;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        call = std::move(m_calls.front());
        m_calls.pop_front();
    }
    call();
    return true;
}

RoadWorld::RoadWorld(bool onUiThread) : host(new QWidget), dialog(nullptr)
{
    support::keepClearOfMinuteEnd();
    QLoggingCategory::setFilterRules("default.debug=false"); // the exchanges are what counts here
    host->resize(900, 600);
    host->show();
    core::setMainWindow(host);
    core::setUrlOpener([this](const QString &url) {
        m_page = url;
        return true;
    });
    sdk::setExchangeListener([this](const sdk::Exchange &exchange) {
        QMutexLocker lock(&m_mutex);
        m_exchanges << QString::fromStdString(exchange.text);
        m_bytes << QString::fromStdString(cat::toHex(exchange.bytes));
    });
    if (onUiThread) {
        sdk::setCallbackDispatcher([this](std::function<void()> call) { m_uiThread.post(std::move(call)); });
    }
    dialog = STKDialog::Instance();
    m_thread = thread();
}

RoadWorld::~RoadWorld()
{
    end();
}

QStringList RoadWorld::end()
{
    if (DialogPeek::m_pStkDialogInstance) {
        dialog->unSDKRegisterEvent();
        STKDialog::Destroy();
    }
    dialog = nullptr;
    sdk::shutDown();
    delete m_thread; // the window leaves a thread that is not running undeleted
    delete host;
    core::setMainWindow(nullptr);
    core::setUrlOpener(core::UrlOpener());
    return support::leftovers();
}

bool RoadWorld::attach(const QString &file)
{
    std::string error;
    auto channel = sdk::openVirtualCard(QFile::encodeName(QFINDTESTDATA(file)).toStdString(), &error);
    if (!channel) {
        qWarning("%s: %s", qPrintable(file), error.c_str());
        return false;
    }
    sdk::attachDevice(std::move(channel));
    return true;
}

bool RoadWorld::show(int rows)
{
    if (!realinput::waitForKeyboard(host)) // the window manager has then put it in its place
        return false;
    QRect rect = host->geometry();
    return dialog->ShowStkDlg(host, rect) && realinput::waitForKeyboard(frame()) &&
           QTest::qWaitFor([&] { return table() && table()->rowCount() == rows; });
}

QDialog *RoadWorld::frame() const
{
    return host ? host->findChild<QDialog *>("STKPlugin_Stkdialog") : nullptr;
}

QTableWidget *RoadWorld::table() const
{
    return host ? host->findChild<QTableWidget *>("STKPlugin_TableWidgetMenu") : nullptr;
}

QPushButton *RoadWorld::button(const char *name) const
{
    return host->findChild<QPushButton *>(QString("STKPlugin_PushBtn") + name);
}

QString RoadWorld::shown() const
{
    if (!frame() || !frame()->isVisible())
        return "no window";
    QStringList texts;
    for (int i = 0; i < table()->rowCount(); ++i)
        texts << table()->item(i, 0)->text();
    return frame()->windowTitle() + ": " + texts.join(", ");
}

STKThread *RoadWorld::thread() const
{
    return support::peek(dialog, &DialogPeek::m_pStkThread);
}

bool RoadWorld::isWaiting() const
{
    return thread()->isRunning();
}

QStringList RoadWorld::exchanges() const
{
    QMutexLocker lock(&m_mutex);
    return m_exchanges;
}

QString RoadWorld::bytesOf(const QString &exchange) const
{
    QMutexLocker lock(&m_mutex);
    return m_bytes.value(m_exchanges.indexOf(exchange));
}

void RoadWorld::forget()
{
    QMutexLocker lock(&m_mutex);
    m_exchanges.clear();
    m_bytes.clear();
}

QString RoadWorld::openedPage() const
{
    return m_page;
}
