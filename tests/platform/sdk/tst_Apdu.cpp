#include "platform/sdk/Commands.h"

#include "sdk/MDSVStk.h"

#include <QElapsedTimer>
#include <QTest>

using News = sdk::CardChannel::News;

/// What the service says to cards of both classes, and how it understands their status words (ETSI TS 102 221 clause
/// 10.2, 3GPP TS 51.011 clause 9.4).
class tst_Apdu : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void oldCardIsSpokenToInItsClass();
    void oldCardIsAskedBackInItsClass();
    void oldCardHasMoreToSay_data();
    void oldCardHasMoreToSay();
    void oldCardMayTellNoLength();
    void fetchMayBringNothing();
    void newCardHasNoSuchWords_data();
    void newCardHasNoSuchWords();
    void classIsReadAtEveryReset();
    void longestCommandIsFetchedWhole();
    void busyCardIsToldAgain_data();
    void busyCardIsToldAgain();
    void cardThatStaysBusyIsGivenUp();
    void pauseForABusyCardEndsWithIt();

private:
    std::shared_ptr<Script> m_script;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

/// The same APDU for a SIM of before the UICC.
QString old(const char *apdu)
{
    return "A0" + QString(apdu).mid(2);
}

std::shared_ptr<Script> attachOld()
{
    auto script = std::make_shared<Script>();
    script->isOld().proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(script));
    return waitForEvent("DEVICE 6602") ? script : nullptr;
}

} // namespace

void tst_Apdu::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_Apdu::cleanup()
{
    sdk::shutDown();
    m_script.reset();
    events::reset();
}

void tst_Apdu::oldCardIsSpokenToInItsClass()
{
    m_script = attachOld();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 6"));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(waitForEvent("STK 99"));
    QStringList expected;
    for (const char *apdu : {vectors::terminalProfile, vectors::fetchSetUpMenu, vectors::setUpMenuDone,
                             vectors::chooseNews, vectors::fetchSelectItem, vectors::wentBack})
        expected << old(apdu);
    QCOMPARE(m_script->sent(), expected);
}

/// There is no STATUS without data for it (3GPP TS 51.011 clause 9.2.2).
void tst_Apdu::oldCardIsAskedBackInItsClass()
{
    m_script = attachOld();
    QVERIFY(m_script);
    m_script->forgetSent();
    m_script->answers("000000003F000100000000000913000A0400838A838A 9124")
        .answers("D0228103022400820281828505 57686572658F0511486572658F06125468657265900112 9000");
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(m_script->sent(), (QStringList{"A0F2000016", old(vectors::fetchSelectItem)}));
}

void tst_Apdu::oldCardHasMoreToSay_data()
{
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QStringList>("sent");
    const QString command = "D0228103022400820281828505 57686572658F0511486572658F06125468657265900112 9000";
    const QString choose = old(vectors::chooseNews);
    const QString fetch = old(vectors::fetchSelectItem);
    QTest::newRow("9Fxx to ENVELOPE") << QStringList{"9F02", "AABB9124", command}
                                      << QStringList{choose, "A0C0000002", fetch};
    QTest::newRow("61xx to ENVELOPE") << QStringList{"6102", "AABB9124", command}
                                      << QStringList{choose, "A0C0000002", fetch};
    QTest::newRow("6Cxx to FETCH") << QStringList{"9100", "6C24", command} << QStringList{choose, "A012000000", fetch};
    QTest::newRow("67xx to FETCH") << QStringList{"9100", "6724", command} << QStringList{choose, "A012000000", fetch};
}

void tst_Apdu::oldCardHasMoreToSay()
{
    QFETCH(QStringList, answers);
    m_script = attachOld();
    QVERIFY(m_script);
    m_script->forgetSent();
    for (const QString &answer : answers)
        m_script->answers(qPrintable(answer));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 6"));
    QTEST(m_script->sent(), "sent");
}

void tst_Apdu::oldCardMayTellNoLength()
{
    m_script = attachOld();
    QVERIFY(m_script);
    m_script->forgetSent();
    m_script->answers("9124").answers("6700");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), (QStringList{old(vectors::chooseNews), old(vectors::fetchSelectItem)}));
    QCOMPARE(events::notes(), QStringList{"FETCH brought no command: the card answered 6700"});
}

void tst_Apdu::fetchMayBringNothing()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("9124").answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(events::notes(), QStringList{"FETCH brought no command: the card answered 9000"});
}

void tst_Apdu::newCardHasNoSuchWords_data()
{
    QTest::addColumn<QString>("answer");
    QTest::newRow("9Fxx") << "9F02";
    QTest::newRow("67xx") << "6724";
}

void tst_Apdu::newCardHasNoSuchWords()
{
    QFETCH(QString, answer);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers(qPrintable(answer));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::chooseNews});
    QCOMPARE(events::notes(), QStringList{"the session ends: the card answered " + answer});
}

/// The next card in a reader may be another one.
void tst_Apdu::classIsReadAtEveryReset()
{
    m_script = std::make_shared<Script>();
    m_script->staysWithoutCard().answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QVERIFY(m_script->tells(News::Gone));
    QVERIFY(waitForEvent("DEVICE 6601"));
    m_script->isOld().answers("9000");
    QVERIFY(m_script->tells(News::There));
    QVERIFY(waitFor([] { return events::count("DEVICE 6602") == 2; }));
    QCOMPARE(m_script->sent(), (QStringList{vectors::terminalProfile, old(vectors::terminalProfile)}));
}

/// A length of 00 stands for 256 (ETSI TS 102 221 clause 10.1.6).
void tst_Apdu::longestCommandIsFetchedWhole()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    const QByteArray objects = QByteArray::fromHex("8103012180 82028102 8D81F104") + QByteArray(240, 'A');
    const QByteArray command = QByteArray::fromHex("D081FD") + objects;
    QCOMPARE(command.size(), 256);
    m_script->answers("9100").answers((command.toHex() + "9000").constData());
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(waitForEvent("STK 1"));
    QCOMPARE(m_script->sent(), (QStringList{vectors::chooseNews, "8012000000"}));
    MDSVStkPromptData data;
    QCOMPARE(MDSV_STKSrv_GetPromptText(events::lastId(), &data), 0);
    QCOMPARE(QString::fromUtf16(data.usText), QString(240, 'A'));
}

void tst_Apdu::busyCardIsToldAgain_data()
{
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QStringList>("sent");
    const QString command = "D01C8103012500820281828504 4D656E758F05014E6577738F04804F6464 9000";
    const QString profile = vectors::terminalProfile;
    const QString fetch = vectors::fetchSetUpMenu;
    const QString done = vectors::setUpMenuDone;
    QTest::newRow("TERMINAL PROFILE") << QStringList{"9300", "911E", command, "9000"}
                                      << QStringList{profile, profile, fetch, done};
    QTest::newRow("FETCH") << QStringList{"911E", "9300", command, "9000"} << QStringList{profile, fetch, fetch, done};
    QTest::newRow("TERMINAL RESPONSE") << QStringList{"911E", command, "9300", "9300", "9000"}
                                       << QStringList{profile, fetch, done, done, done};
}

void tst_Apdu::busyCardIsToldAgain()
{
    QFETCH(QStringList, answers);
    m_script = std::make_shared<Script>();
    for (const QString &answer : answers)
        m_script->answers(qPrintable(answer));
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(waitForEvent("DEVICE 6602"));
    QTEST(m_script->sent(), "sent");
    QCOMPARE(events::texts(), (QStringList{"STK 0", "DEVICE 6602"}));
}

void tst_Apdu::cardThatStaysBusyIsGivenUp()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("9300", 100);
    QVERIFY(m_script->tells(News::Asks));
    QVERIFY(waitFor([] { return events::notes().contains("the card has something to say, but answered 9300"); }));
    QCOMPARE(m_script->sent().size(), 6);
}

void tst_Apdu::pauseForABusyCardEndsWithIt()
{
    qint64 fastest = 1000; // 200 ms is the pause
    for (int round = 0; round < 5; ++round) {
        const auto script = std::make_shared<Script>();
        script->answers("9300", 100);
        events::reset();
        events::listen();
        sdk::attachDevice(Script::channel(script));
        QVERIFY(waitFor([] { return !events::notes().isEmpty(); }));
        QElapsedTimer clock;
        clock.start();
        sdk::detachDevice();
        while (!script->isDeleted() && clock.elapsed() < vectors::limit)
            std::this_thread::yield();
        fastest = std::min(fastest, clock.elapsed());
        QVERIFY(script->sent().size() < 6);
    }
    QVERIFY2(fastest < 100, qPrintable(QString::number(fastest)));
}

QTEST_GUILESS_MAIN(tst_Apdu)
#include "tst_Apdu.moc"
