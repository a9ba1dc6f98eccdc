#include "support/SdkDouble.h"

#include <QtCore/QScopedPointer>
#include <QtCore/QThread>
#include <QtTest/QtTest>

#include <cstring>

using support::SdkDouble;
namespace journal = support::journal;

/// The double tells what its caller does wrong: tests of the product rely on it.
class tst_SdkDouble : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_sdk.reset(new SdkDouble); }
    void cleanup() { m_sdk.reset(); }

    void correctUseHasNoFaults();
    void menuThatIsNotReleasedIsAFault();
    void menuReleasedTwiceIsAFault();
    void menuReleasedWithAnotherRecordIsAFault();
    void menuReleasedByTheOtherFunctionIsAFault();
    void failedFetchFillsTheRecordWithGarbageAndOpensNoMenu();
    void statusesAreQueuedBeforeTheLastingOne();
    void fieldFilledToTheBrimHasNoTerminator();
    void shortTextIsFollowedByJunk();
    void eventRunsOnTheChosenThread();
    void eventWithoutCallbackIsAFault();
    void removalOfAnotherCallbackIsAFault();
    void hookRunsInsideTheCall();
    void callsAreKeptInOrderWithTheirArguments();

private:
    QScopedPointer<SdkDouble> m_sdk;
};

namespace
{
QThread *g_thread;

int onEvent(int, void *data)
{
    g_thread = QThread::currentThread();
    return static_cast<MDSVStkNotifyData *>(data)->sCmdId;
}

int onOtherEvent(int, void *)
{
    return 0;
}
} // namespace

void tst_SdkDouble::correctUseHasNoFaults()
{
    m_sdk->setMainMenu("t", {{1, "x"}});
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(m_sdk->openMenus(), 1);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
    QCOMPARE(m_sdk->faults(), QStringList());
}

void tst_SdkDouble::menuThatIsNotReleasedIsAFault()
{
    MDSVStkSubMenu menu;
    MDSV_STKSrv_GetSubMenu(1, &menu);
    QCOMPARE(m_sdk->faults().size(), 1);
}

void tst_SdkDouble::menuReleasedTwiceIsAFault()
{
    MDSVStkMainMenu menu;
    MDSV_STKSrv_GetMainMenu(&menu);
    MDSV_STKSrv_ReleaseMenus(&menu);
    MDSV_STKSrv_ReleaseMenus(&menu);
    QCOMPARE(m_sdk->faults().size(), 1);
}

void tst_SdkDouble::menuReleasedWithAnotherRecordIsAFault()
{
    MDSVStkMainMenu menu;
    MDSV_STKSrv_GetMainMenu(&menu);
    MDSVStkMainMenu copy = menu;
    MDSV_STKSrv_ReleaseMenus(&copy);
    QCOMPARE(m_sdk->faults().size(), 1);
}

void tst_SdkDouble::menuReleasedByTheOtherFunctionIsAFault()
{
    MDSVStkMainMenu menu;
    MDSV_STKSrv_GetMainMenu(&menu);
    MDSVStkSubMenu other = {};
    other.pItems = menu.pItems;
    MDSV_STKSrv_ReleaseSubMenus(&other);
    QVERIFY(m_sdk->faults().first().contains("main menu was released as a sub menu"));
}

void tst_SdkDouble::failedFetchFillsTheRecordWithGarbageAndOpensNoMenu()
{
    m_sdk->answer("MDSV_STKSrv_GetMainMenu", 4);
    MDSVStkMainMenu menu = {};
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 4);
    QCOMPARE(int(menu.usTitle[0]), 0xAAAA);
    QCOMPARE(int(uint16_t(menu.sItemCount)), 0xAAAA);
    QCOMPARE(m_sdk->openMenus(), 0);
}

void tst_SdkDouble::statusesAreQueuedBeforeTheLastingOne()
{
    m_sdk->answer("MDSV_STKSrv_SelectMenuItem", 9);
    m_sdk->answerOnce("MDSV_STKSrv_SelectMenuItem", 1);
    m_sdk->answerOnce("MDSV_STKSrv_SelectMenuItem", 0);
    QList<int> statuses;
    for (int i = 0; i < 4; ++i)
        statuses << MDSV_STKSrv_SelectMenuItem(1, 1);
    QCOMPARE(statuses, (QList<int>{1, 0, 9, 9}));
}

void tst_SdkDouble::fieldFilledToTheBrimHasNoTerminator()
{
    uint16_t text[MDSV_STK_TEXT_UNITS + 1] = {};
    text[MDSV_STK_TEXT_UNITS] = 7;
    m_sdk->setIdleText(QString(300, 'a'));
    MDSV_STKSrv_GetIdleModePrompt(1, text);
    for (int i = 0; i < MDSV_STK_TEXT_UNITS; ++i)
        QCOMPARE(int(text[i]), int('a'));
    QCOMPARE(int(text[MDSV_STK_TEXT_UNITS]), 7);
}

void tst_SdkDouble::shortTextIsFollowedByJunk()
{
    uint16_t text[MDSV_STK_TEXT_UNITS];
    m_sdk->setIdleText("ab");
    MDSV_STKSrv_GetIdleModePrompt(1, text);
    QCOMPARE(QString::fromUtf16(text), QString("ab"));
    for (int i = 3; i < MDSV_STK_TEXT_UNITS; ++i)
        QVERIFY(text[i] != 0);
}

void tst_SdkDouble::eventRunsOnTheChosenThread()
{
    MDSV_STK_RegisterCallBack(onEvent);
    QCOMPARE(m_sdk->raiseStk(1, -8), -8);
    QCOMPARE(g_thread, QThread::currentThread());
    QCOMPARE(m_sdk->raiseStk(1, 9, 0, SdkDouble::Elsewhere), 9);
    QVERIFY(g_thread != QThread::currentThread());
}

void tst_SdkDouble::eventWithoutCallbackIsAFault()
{
    QCOMPARE(m_sdk->raiseStk(1, 1), SdkDouble::NotRegistered);
    QCOMPARE(m_sdk->faults().size(), 1);
}

void tst_SdkDouble::removalOfAnotherCallbackIsAFault()
{
    MDSV_STK_RegisterCallBack(onEvent);
    MDSV_STK_UnRegisterCallBack(onOtherEvent);
    QCOMPARE(m_sdk->faults().size(), 1);
}

void tst_SdkDouble::hookRunsInsideTheCall()
{
    m_sdk->onCall("MDSV_STKSrv_SelectMenuItem", [] { journal::add("hook"); });
    MDSV_STKSrv_SelectMenuItem(1, 1);
    QCOMPARE(journal::names(), (QStringList{"MDSV_STKSrv_SelectMenuItem", "hook"}));
}

void tst_SdkDouble::callsAreKeptInOrderWithTheirArguments()
{
    const ushort answer[] = {'o', 'k', 0};
    MDSVStkToneData tone;
    std::memset(&tone, 0, sizeof(tone));
    MDSV_STKSrv_GetPlayTone(3, &tone);
    MDSV_STKSrv_GetPlayTone(3, &tone); // not zero any more
    MDSV_STKSrv_AnswerInput(3, 1, answer);
    QCOMPARE(journal::lines(), (QStringList{"MDSV_STKSrv_GetPlayTone(3, true)", "MDSV_STKSrv_GetPlayTone(3, false)",
                                            "MDSV_STKSrv_AnswerInput(3, 1, \"ok\")"}));
}

QTEST_GUILESS_MAIN(tst_SdkDouble)
#include "tst_SdkDouble.moc"
