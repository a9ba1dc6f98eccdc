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

using vectors::waitForEvent;

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

QTEST_GUILESS_MAIN(tst_VirtualChannel)
#include "tst_VirtualChannel.moc"
