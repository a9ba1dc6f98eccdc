#include "platform/sdk/PcscDouble.h"
#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

/// STK_CARD: the card of a host that attaches none.
class tst_CardFromEnvironment : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void cardIsAttachedWithTheFirstCallback_data();
    void cardIsAttachedWithTheFirstCallback();
    void onlyTheFirstCallbackAsksForIt();
    void hostThatHasChosenKeepsItsCard();
    void cardOfAHostThatHasChosenIsNotOpened();
    void hostThatChoosesLaterGetsItsCard();
    void hostThatChoosesMeanwhileGetsItsCard();
    void cardThatCannotBeOpenedIsNoted();
    void emptyAddressIsNone();

private:
    QTemporaryDir m_folder;
    QByteArray m_profile;
};

namespace
{

using vectors::waitFor;
using vectors::waitForEvent;

} // namespace

void tst_CardFromEnvironment::initTestCase()
{
    QFile file(m_folder.filePath("card.yaml"));
    const QByteArray yaml =
        "name: Demo\nmenu:\n  title: Menu\n  items:\n    - {text: Shout, steps: [display: Hello]}\n";
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(yaml) == yaml.size());
    m_profile = file.fileName().toLocal8Bit();
}

void tst_CardFromEnvironment::init()
{
    events::reset();
    events::listen();
    sdk::setVirtualCardLatency(std::chrono::milliseconds(0));
}

void tst_CardFromEnvironment::cleanup()
{
    qunsetenv("STK_CARD");
    sdk::shutDown();
    events::reset();
}

void tst_CardFromEnvironment::cardIsAttachedWithTheFirstCallback_data()
{
    QTest::addColumn<bool>("isStkFirst");
    QTest::newRow("STK callback") << true;
    QTest::newRow("device callback") << false;
}

void tst_CardFromEnvironment::cardIsAttachedWithTheFirstCallback()
{
    QFETCH(bool, isStkFirst);
    qputenv("STK_CARD", m_profile);
    if (isStkFirst)
        QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    else
        QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    QVERIFY(waitForEvent(isStkFirst ? "STK 0" : "DEVICE 6602"));
    QVERIFY(waitFor([] { return sdk::menuTitle() == std::u16string(u"Menu"); }));
}

void tst_CardFromEnvironment::onlyTheFirstCallbackAsksForIt()
{
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    qputenv("STK_CARD", m_profile);
    QCOMPARE(MDSV_DevSrv_RegisterDevMgrCallback(events::deviceCallback), 0);
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    const auto script = vectors::attachWithMenu();
    QVERIFY(script);
    QCOMPARE(events::exchanges().filter("virtual card"), QStringList());
    // And as new: the first one asks again.
    sdk::shutDown();
    events::reset();
    QVERIFY(events::registerBoth());
    QVERIFY(waitForEvent("DEVICE 6602"));
    QCOMPARE(events::count("DEVICE 6602"), 1);
}

void tst_CardFromEnvironment::hostThatHasChosenKeepsItsCard()
{
    qputenv("STK_CARD", m_profile);
    const auto script = std::make_shared<Script>();
    script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(script));
    QVERIFY(events::registerBoth());
    QVERIFY(waitForEvent("DEVICE 6602"));
    sdk::detachDevice();
    QVERIFY(waitForEvent("DEVICE 6601"));
    QCOMPARE(MDSV_STK_UnRegisterCallBack(events::stkCallback), 0);
    QCOMPARE(MDSV_STK_RegisterCallBack(events::stkCallback), 0);
    QCOMPARE(events::exchanges().filter(": attached"), QStringList{"Device: scripted card: attached"});
    QVERIFY(events::notes().isEmpty());
}

void tst_CardFromEnvironment::cardOfAHostThatHasChosenIsNotOpened()
{
    qputenv("STK_CARD", "/nowhere/card.yaml");
    const auto script = std::make_shared<Script>();
    script->answers("9000");
    sdk::attachDevice(Script::channel(script));
    QVERIFY(events::registerBoth());
    QVERIFY(waitForEvent("DEVICE 6602"));
    QVERIFY(events::notes().isEmpty());
}

void tst_CardFromEnvironment::hostThatChoosesLaterGetsItsCard()
{
    qputenv("STK_CARD", m_profile);
    QVERIFY(events::registerBoth());
    const auto script = std::make_shared<Script>();
    script->proposes(vectors::selectItem);
    sdk::attachDevice(Script::channel(script));
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(sdk::menuTitle(), std::nullopt);
    QCOMPARE(events::count("DEVICE 6601"), 1); // of the environment's card
}

/// While the reader of the environment is looked for.
void tst_CardFromEnvironment::hostThatChoosesMeanwhileGetsItsCard()
{
    pcscdouble::renew();
    pcscdouble::addReader("Reader");
    pcscdouble::setFrozen(true);
    qputenv("STK_CARD", "pcsc");
    bool isRegistered = false;
    std::thread other([&isRegistered] { isRegistered = events::registerBoth(); });
    const bool isLooking = waitFor([] { return pcscdouble::waiting() > 0; });
    const auto script = std::make_shared<Script>();
    script->proposes(vectors::selectItem);
    sdk::attachDevice(Script::channel(script));
    pcscdouble::setFrozen(false);
    other.join();
    QVERIFY(isLooking && isRegistered);
    QVERIFY(waitForEvent("STK 6"));
    QCOMPARE(events::exchanges().filter("Device: "), QStringList{"Device: scripted card: attached"});
    QVERIFY(events::notes().isEmpty());
}

void tst_CardFromEnvironment::cardThatCannotBeOpenedIsNoted()
{
    qputenv("STK_CARD", "/nowhere/card.yaml");
    QVERIFY(events::registerBoth());
    QCOMPARE(events::notes().size(), 1);
    QVERIFY2(events::notes().first().startsWith("STK_CARD: /nowhere/card.yaml"), qPrintable(events::notes().first()));
    const auto script = vectors::attachWithMenu();
    QVERIFY(script);
    QCOMPARE(events::exchanges().filter("Device: "), QStringList{"Device: scripted card: attached"});
}

void tst_CardFromEnvironment::emptyAddressIsNone()
{
    qputenv("STK_CARD", "");
    QVERIFY(events::registerBoth());
    const auto script = vectors::attachWithMenu();
    QVERIFY(script);
    QVERIFY(events::notes().isEmpty());
    QCOMPARE(events::exchanges().filter("Device: "), QStringList{"Device: scripted card: attached"});
}

QTEST_GUILESS_MAIN(tst_CardFromEnvironment)
#include "tst_CardFromEnvironment.moc"
