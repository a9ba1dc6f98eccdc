#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

/// The virtual card behind the device-service library, from the profile to the callbacks.
class tst_VirtualChannel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void channelIsNamedAfterItsProfile();
    void brokenProfileIsRefusedWithItsPlace();
    void missingProfileIsRefused();
    void errorNeedNotBeAsked();
    void interruptedChannelStaysSo();
    void cardTakesItsTime();
    void cardThatThinksCanBePulledOut();
    void sessionThroughTheLibrary();
    void everyApduTakesTheLatency();
    void latencyIsAddedToTheCardsOwnTime();
    void latencyIsInterrupted();
    void latencyIsHeldInBounds();
    void shutDownForgetsTheLatency();
    void networkIsTheProfiles_data();
    void networkIsTheProfiles();
    void operatorIsTheProfiles();
    void commandsThroughTheLibrary();

private:
    std::string profile(const QByteArray &yaml);

    QTemporaryDir m_folder;
};

namespace
{

const char *const demo = "name: Demo\n"
                         "menu:\n"
                         "  title: Menu\n"
                         "  items:\n"
                         "    - id: 1\n"
                         "      text: News\n"
                         "      menu:\n"
                         "        title: Where\n"
                         "        items:\n"
                         "          - {id: 17, text: Here}\n"
                         "          - {id: 18, text: There}\n"
                         "    - id: 2\n"
                         "      text: Slow\n"
                         "      delay: 300ms\n"
                         "    - id: 3\n"
                         "      text: Slower\n"
                         "      delay: 60s\n";

using std::chrono::milliseconds;
using vectors::waitForEvent;

/// How long the channel takes for a STATUS, in milliseconds; -1: it fails.
qint64 timeOfStatus(sdk::CardChannel *channel)
{
    QElapsedTimer clock;
    clock.start();
    cat::Bytes answer;
    return channel->transmit({0x80, 0xF2, 0x00, 0x00, 0x00}, &answer) ? clock.elapsed() : -1;
}

} // namespace

std::string tst_VirtualChannel::profile(const QByteArray &yaml)
{
    QFile file(m_folder.filePath("profile.yaml"));
    if (!file.open(QIODevice::WriteOnly) || file.write(yaml) != yaml.size())
        return std::string();
    return file.fileName().toStdString();
}

void tst_VirtualChannel::init()
{
    events::reset();
    QVERIFY(m_folder.isValid());
    sdk::setVirtualCardLatency(milliseconds(0));
    QVERIFY(events::registerBoth());
}

void tst_VirtualChannel::cleanup()
{
    sdk::shutDown();
    events::reset();
}

void tst_VirtualChannel::channelIsNamedAfterItsProfile()
{
    std::string error = "untouched";
    const auto channel = sdk::openVirtualCard(profile(demo), &error);
    QVERIFY2(channel, error.c_str());
    QCOMPARE(channel->name(), std::string("virtual card 'Demo'"));
    QCOMPARE(error, std::string("untouched"));
}

void tst_VirtualChannel::brokenProfileIsRefusedWithItsPlace()
{
    std::string error;
    const std::string path = profile("name: Demo\nmenu:\n  title: [\n");
    QVERIFY(!sdk::openVirtualCard(path, &error));
    QVERIFY2(QString::fromStdString(error).startsWith(QString::fromStdString(path) + ":"), error.c_str());
}

void tst_VirtualChannel::missingProfileIsRefused()
{
    std::string error;
    QVERIFY(!sdk::openVirtualCard("no/such/profile.yaml", &error));
    QVERIFY2(QString::fromStdString(error).startsWith("no/such/profile.yaml"), error.c_str());
}

void tst_VirtualChannel::errorNeedNotBeAsked()
{
    QVERIFY(!sdk::openVirtualCard("no/such/profile.yaml", nullptr));
    const auto channel = sdk::openVirtualCard(profile(demo), nullptr);
    QVERIFY(channel);
    channel->interrupt();
    QVERIFY(!channel->reset(nullptr));
}

void tst_VirtualChannel::interruptedChannelStaysSo()
{
    const auto channel = sdk::openVirtualCard(profile(demo), nullptr);
    QVERIFY(channel);
    std::string error;
    cat::Bytes answer;
    QVERIFY(channel->reset(&error));
    QVERIFY(channel->transmit({0x80, 0xF2, 0x00, 0x00, 0x00}, &answer));
    QCOMPARE(cat::toHex(answer), std::string("9000"));
    channel->interrupt();
    QVERIFY(!channel->transmit({0x80, 0xF2, 0x00, 0x00, 0x00}, &answer));
    QVERIFY(!channel->reset(&error));
    QVERIFY(!error.empty());
}

void tst_VirtualChannel::cardTakesItsTime()
{
    sdk::attachDevice(sdk::openVirtualCard(profile(demo), nullptr));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 2), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(clock.elapsed() >= 300);
}

void tst_VirtualChannel::cardThatThinksCanBePulledOut()
{
    sdk::attachDevice(sdk::openVirtualCard(profile(demo), nullptr));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 3), 0);
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(!events::has("STK 99"));
}

void tst_VirtualChannel::sessionThroughTheLibrary()
{
    sdk::attachDevice(sdk::openVirtualCard(profile(demo), nullptr));
    QVERIFY(waitForEvent("DEVICE 6602"));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(QString::fromUtf16(menu.usTitle), QString("Menu"));
    QCOMPARE(int(menu.sItemCount), 3);
    QCOMPARE(QString::fromUtf16(menu.pItems[1].usText), QString("Slow"));
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);

    for (const int action : {1, 3}) {
        events::forget();
        QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
        QVERIFY(waitForEvent("STK 6"));
        MDSVStkSubMenu subMenu;
        QCOMPARE(MDSV_STKSrv_GetSubMenu(events::lastId(), &subMenu), 0);
        QCOMPARE(QString::fromUtf16(subMenu.usTitle), QString("Where"));
        QCOMPARE(int(subMenu.pItems[1].sItemId), 18);
        QCOMPARE(MDSV_STKSrv_ReleaseSubMenus(&subMenu), 0);
        QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), action, 18), 0);
        QVERIFY(waitForEvent("STK 99"));
        QCOMPARE(events::texts(), (QStringList{"STK 6", "STK 99"}));
    }
}

void tst_VirtualChannel::everyApduTakesTheLatency()
{
    const auto channel = sdk::openVirtualCard(profile(demo), nullptr);
    QVERIFY(channel);
    QVERIFY(channel->reset(nullptr));
    qint64 fastest = vectors::limit;
    for (int i = 0; i < 5; ++i)
        fastest = std::min(fastest, timeOfStatus(channel.get()));
    QVERIFY2(fastest < 20, qPrintable(QString::number(fastest)));
    // Those that are open already take it, too.
    sdk::setVirtualCardLatency(milliseconds(80));
    for (int i = 0; i < 3; ++i)
        QVERIFY(timeOfStatus(channel.get()) >= 80);
}

void tst_VirtualChannel::latencyIsAddedToTheCardsOwnTime()
{
    sdk::attachDevice(sdk::openVirtualCard(profile(demo), nullptr));
    QVERIFY(waitForEvent("DEVICE 6602"));
    sdk::setVirtualCardLatency(milliseconds(100));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 2), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(clock.elapsed() >= 400);
}

void tst_VirtualChannel::latencyIsInterrupted()
{
    sdk::setVirtualCardLatency(milliseconds(60000));
    QElapsedTimer clock;
    clock.start();
    sdk::attachDevice(sdk::openVirtualCard(profile(demo), nullptr));
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QVERIFY(clock.elapsed() < vectors::limit);
}

void tst_VirtualChannel::latencyIsHeldInBounds()
{
    const auto channel = sdk::openVirtualCard(profile(demo), nullptr);
    QVERIFY(channel);
    sdk::setVirtualCardLatency(milliseconds(-1000));
    QVERIFY(timeOfStatus(channel.get()) >= 0);
    // What is added to the present moment must not run over.
    sdk::setVirtualCardLatency(milliseconds::max());
    std::thread user([&channel] { QCOMPARE(timeOfStatus(channel.get()), qint64(-1)); });
    QTest::qWait(50);
    channel->interrupt();
    user.join();
}

void tst_VirtualChannel::shutDownForgetsTheLatency()
{
    sdk::shutDown();
    const auto channel = sdk::openVirtualCard(profile(demo), nullptr);
    QVERIFY(channel);
    QVERIFY(timeOfStatus(channel.get()) >= sdk::usualCardLatency.count());
}

void tst_VirtualChannel::networkIsTheProfiles_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<bool>("network");
    QTest::newRow("not said") << QByteArray() << true;
    QTest::newRow("there is one") << QByteArray("network: true\n") << true;
    QTest::newRow("there is none") << QByteArray("network: false\n") << false;
}

void tst_VirtualChannel::networkIsTheProfiles()
{
    QFETCH(QByteArray, line);
    const auto channel = sdk::openVirtualCard(profile(line + demo), nullptr);
    QVERIFY(channel);
    QTEST(channel->hasNetwork(), "network");
}

void tst_VirtualChannel::operatorIsTheProfiles()
{
    QCOMPARE(sdk::openVirtualCard(profile(demo), nullptr)->operatorName(), std::string());
    const auto channel = sdk::openVirtualCard(profile(QByteArray("operator: Aurora\n") + demo), nullptr);
    QVERIFY(channel);
    QCOMPARE(channel->operatorName(), std::string("Aurora"));
    QVERIFY(!channel->staysWithoutCard());
}

void tst_VirtualChannel::commandsThroughTheLibrary()
{
    const QByteArray chain = "name: Chain\n"
                             "network: false\n"
                             "menu:\n"
                             "  title: Menu\n"
                             "  items:\n"
                             "    - id: 1\n"
                             "      text: Chain\n"
                             "      steps:\n"
                             "        - input: {prompt: Name, min: 2, max: 5, as: who}\n"
                             "        - yes-no: {prompt: \"Sure, {who}?\"}\n"
                             "        - sms: {number: \"12345\", message: \"{who}\", on-failure: No network}\n"
                             "        - refresh: reset\n";
    std::string error;
    auto channel = sdk::openVirtualCard(profile(chain), &error);
    QVERIFY2(channel, error.c_str());
    events::listen();
    sdk::attachDevice(std::move(channel));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 3"));
    QCOMPARE(MDSV_STKSrv_AnswerInput(events::lastId(), 1, QString("Alexander").utf16()),
             static_cast<int>(sdk::Status::AnswerRefused));
    QCOMPARE(MDSV_STKSrv_AnswerInput(events::lastId(), 1, QString("Alex").utf16()), 0);
    QVERIFY(waitForEvent("STK 2"));
    MDSVStkInKeyData key;
    QCOMPARE(MDSV_STKSrv_GetInKeyRequest(events::lastId(), &key), 0);
    QCOMPARE(QString::fromUtf16(key.usPrompt), QString("Sure, Alex?"));
    QCOMPARE(MDSV_STKSrv_AnswerInKey(events::lastId(), 1, QString("1").utf16()), 0);
    QVERIFY(waitForEvent("STK 1"));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY2(events::exchanges().contains("Response: SEND SHORT MESSAGE: 20 04 terminal currently unable to process "
                                          "the command, no service"),
             qPrintable(events::exchanges().join('\n')));
}

QTEST_GUILESS_MAIN(tst_VirtualChannel)
#include "tst_VirtualChannel.moc"
