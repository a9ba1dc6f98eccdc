#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <mutex>

/// What a host may do to look into the session, and to disturb it: commands raised, faults, every APDU.
class tst_Inspection : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void raisedCommandComesWhileTheCardIsAtRest();
    void raisedCommandsComeOneAfterTheOther();
    void raisedCommandWaitsForTheEndOfTheSession();
    void raisedMenuTakesThePlaceOfTheCards();
    void whatCannotBeRaisedIsRefused_data();
    void whatCannotBeRaisedIsRefused();
    void raisingNeedsACard();
    void cardThatCannotBeToldIsNoted();
    void hangingCardAnswersNothing();
    void hangingCardCanBePulledOut();
    void nextCallFails();
    void callsBeforeAndBehindDoNotFail();
    void shutDownForgetsFaults();
    void everyApduIsHeardOf();
    void titleIsTheMenus();

private:
    bool attach();
    static bool raise(const char *hex);

    QTemporaryDir m_folder;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

const char *const displayText = "D00F 8103012180 82028102 8D0404486921";
const char *const idleText = "D00F 8103012800 82028182 8D0404486921";

cat::Bytes bytesOf(const char *hex)
{
    cat::Bytes bytes;
    cat::fromHex(hex, &bytes);
    return bytes;
}

} // namespace

bool tst_Inspection::raise(const char *hex)
{
    std::string error;
    return sdk::raiseCommand(bytesOf(hex), &error);
}

bool tst_Inspection::attach()
{
    QFile file(m_folder.filePath("card.yaml"));
    const QByteArray yaml =
        "name: Demo\nmenu:\n  title: Menu\n  items:\n    - {text: Shout, steps: [display: Hello]}\n";
    if (!file.open(QIODevice::WriteOnly) || file.write(yaml) != yaml.size())
        return false;
    file.close();
    sdk::attachDevice(sdk::openVirtualCard(file.fileName().toStdString(), nullptr));
    return waitForEvent("DEVICE 6602");
}

void tst_Inspection::init()
{
    events::reset();
    sdk::setVirtualCardLatency(std::chrono::milliseconds(0));
    QVERIFY(events::registerBoth());
    events::listen();
}

void tst_Inspection::cleanup()
{
    sdk::shutDown();
    events::reset();
}

void tst_Inspection::raisedCommandComesWhileTheCardIsAtRest()
{
    QVERIFY(attach());
    QVERIFY(raise(displayText));
    QVERIFY(waitForEvent("STK 1"));
    MDSVStkPromptData data;
    QCOMPARE(MDSV_STKSrv_GetPromptText(events::lastId(), &data), 0);
    QCOMPARE(QString::fromUtf16(data.usText), QString("Hi!"));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QVERIFY(events::exchanges().contains("Response: DISPLAY TEXT: 00 command performed successfully"));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0); // and the card's own session goes as ever
    QVERIFY(waitFor([] { return events::count("STK 1") == 2; }));
}

void tst_Inspection::raisedCommandsComeOneAfterTheOther()
{
    QVERIFY(attach());
    QVERIFY(raise(displayText));
    QVERIFY(raise(idleText));
    QVERIFY(waitForEvent("STK 1"));
    QVERIFY(!events::has("STK 13"));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 1, 1), 0);
    QVERIFY(waitFor([] { return events::exchanges().filter("Command: SET UP IDLE MODE TEXT").size() == 1; }));
}

void tst_Inspection::raisedCommandWaitsForTheEndOfTheSession()
{
    QVERIFY(attach());
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 1"));
    QVERIFY(raise(idleText));
    QTest::qWait(50); // time enough for what must not come
    QCOMPARE(events::exchanges().filter("Command: SET UP IDLE MODE TEXT").size(), 0);
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 1, 1), 0);
    QVERIFY(waitFor([] { return events::exchanges().filter("Command: SET UP IDLE MODE TEXT").size() == 1; }));
}

void tst_Inspection::raisedMenuTakesThePlaceOfTheCards()
{
    QVERIFY(attach());
    QVERIFY(raise("D013 8103012500 82028182 85024E6F 8F0401486921"));
    QVERIFY(waitFor([] { return sdk::menuTitle() == u"No"; }));
}

void tst_Inspection::whatCannotBeRaisedIsRefused_data()
{
    QTest::addColumn<QByteArray>("hex");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("no command") << QByteArray("8103012180");
    QTest::newRow("no details") << QByteArray("D00482028102");
    QTest::newRow("too long") << QByteArray("D081FE 8103012180 82028102 8D81F204") + QByteArray("41").repeated(241);
}

void tst_Inspection::whatCannotBeRaisedIsRefused()
{
    QFETCH(QByteArray, hex);
    QVERIFY(attach());
    std::string error;
    QVERIFY(!sdk::raiseCommand(bytesOf(hex.constData()), &error));
    QVERIFY(!error.empty());
}

void tst_Inspection::raisingNeedsACard()
{
    std::string error;
    QVERIFY(!sdk::raiseCommand(bytesOf(displayText), &error));
    QVERIFY2(QString::fromStdString(error).contains("attach the device"), error.c_str());
}

void tst_Inspection::cardThatCannotBeToldIsNoted()
{
    QVERIFY(vectors::attachWithMenu());
    QVERIFY(raise(displayText));
    QVERIFY(waitFor([] { return events::notes().filter("cannot be told").size() == 1; }));
}

void tst_Inspection::hangingCardAnswersNothing()
{
    QVERIFY(attach());
    sdk::setVirtualCardsHanging(true);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QTest::qWait(100);
    QVERIFY(!events::has("STK 1"));
    sdk::setVirtualCardsHanging(false);
    QVERIFY(waitForEvent("STK 1"));
}

void tst_Inspection::hangingCardCanBePulledOut()
{
    QVERIFY(attach());
    sdk::setVirtualCardsHanging(true);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
}

void tst_Inspection::nextCallFails()
{
    QVERIFY(attach());
    sdk::failNextCall();
    MDSVStkMainMenu menu = {};
    QVERIFY(sdk::menuTitle() == u"Menu"); // takes no part
    QVERIFY(MDSV_STKSrv_GetMainMenu(&menu) != 0);
    QVERIFY(!menu.pItems);
    QCOMPARE(events::notes().filter("MDSV_STKSrv_GetMainMenu").size(), 1);
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
}

/// What is lent must come back, and a registration is no request.
void tst_Inspection::callsBeforeAndBehindDoNotFail()
{
    QVERIFY(attach());
    MDSVStkMainMenu menu = {};
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    sdk::failNextCall();
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    QVERIFY(MDSV_STKSrv_SelectMenuItem(1, 1) != 0);
}

void tst_Inspection::shutDownForgetsFaults()
{
    QVERIFY(attach());
    sdk::setVirtualCardsHanging(true);
    sdk::failNextCall();
    sdk::shutDown();
    events::forget();
    QVERIFY(events::registerBoth());
    QVERIFY(attach());
    MDSVStkMainMenu menu = {};
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
}

void tst_Inspection::everyApduIsHeardOf()
{
    std::mutex mutex;
    QStringList heard;
    const auto begin = std::chrono::system_clock::now();
    bool areTimesRight = true;
    sdk::setApduListener([&](const sdk::ApduExchange &apdu) {
        const std::lock_guard<std::mutex> lock(mutex);
        heard << QString::fromStdString(cat::toHex(apdu.command)).left(4) + ' ' +
                     QString::fromStdString(cat::toHex(apdu.answer)).right(4);
        areTimesRight = areTimesRight && apdu.time >= begin && apdu.time <= std::chrono::system_clock::now();
    });
    QVERIFY(attach());
    sdk::setApduListener({});
    QCOMPARE(heard, QStringList({"8010 9119", "8012 9000", "8014 9000"}));
    QVERIFY(areTimesRight);
    QVERIFY(raise(displayText));
    QVERIFY(waitForEvent("STK 1"));
    QCOMPARE(heard.size(), 3); // nothing comes when nobody listens
}

void tst_Inspection::titleIsTheMenus()
{
    QVERIFY(!sdk::menuTitle());
    QVERIFY(attach());
    QVERIFY(sdk::menuTitle() == u"Menu");
    sdk::detachDevice();
    QVERIFY(!sdk::menuTitle());
}

QTEST_GUILESS_MAIN(tst_Inspection)
#include "tst_Inspection.moc"
