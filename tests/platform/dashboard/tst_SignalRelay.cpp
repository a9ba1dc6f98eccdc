#include "dashboard/SignalRelay.h"

#include <QSignalSpy>
#include <QTest>

#include <csignal>
#include <thread>

using dashboard::SignalRelay;

class tst_SignalRelay : public QObject
{
    Q_OBJECT

private slots:
    void signalsAreRelayed_data();
    void signalsAreRelayed();
    void orderIsKept();
    void waitingSignalsDoNotOvertake();
    void floodDoesNotBlock();
    void arrivesOnTheUserInterfaceThread();
    void handlersArePutBack();
};

void tst_SignalRelay::signalsAreRelayed_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("detaches");
    QTest::addColumn<int>("attaches");
    QTest::addColumn<int>("quits");

    QTest::newRow("USR1") << SIGUSR1 << 1 << 0 << 0;
    QTest::newRow("USR2") << SIGUSR2 << 0 << 1 << 0;
    QTest::newRow("TERM") << SIGTERM << 0 << 0 << 1;
    QTest::newRow("INT") << SIGINT << 0 << 0 << 1;
    QTest::newRow("HUP") << SIGHUP << 0 << 0 << 1;
}

void tst_SignalRelay::signalsAreRelayed()
{
    QFETCH(int, number);
    SignalRelay relay;
    QSignalSpy detaches(&relay, &SignalRelay::detachAsked);
    QSignalSpy attaches(&relay, &SignalRelay::attachAsked);
    QSignalSpy quits(&relay, &SignalRelay::quitAsked);
    raise(number);
    QCOMPARE(detaches.count() + attaches.count() + quits.count(), 0); // never from within the handler
    QTRY_COMPARE(detaches.count() + attaches.count() + quits.count(), 1);
    QTEST(detaches.count(), "detaches");
    QTEST(attaches.count(), "attaches");
    QTEST(quits.count(), "quits");
}

void tst_SignalRelay::orderIsKept()
{
    SignalRelay relay;
    QString order;
    connect(&relay, &SignalRelay::detachAsked, [&order] { order += "d"; });
    connect(&relay, &SignalRelay::attachAsked, [&order] { order += "a"; });
    for (const int number : {SIGUSR1, SIGUSR2, SIGUSR2, SIGUSR1})
        raise(number);
    QTRY_COMPARE(order, QString("daad"));
}

void tst_SignalRelay::waitingSignalsDoNotOvertake()
{
    SignalRelay relay;
    QString order;
    connect(&relay, &SignalRelay::detachAsked, [&order] { order += "d"; });
    connect(&relay, &SignalRelay::attachAsked, [&order] { order += "a"; });
    sigset_t both;
    sigemptyset(&both);
    sigaddset(&both, SIGUSR1);
    sigaddset(&both, SIGUSR2);
    pthread_sigmask(SIG_BLOCK, &both, nullptr);
    raise(SIGUSR1);
    raise(SIGUSR2);
    pthread_sigmask(SIG_UNBLOCK, &both, nullptr);
    QTRY_COMPARE(order, QString("da"));
}

void tst_SignalRelay::floodDoesNotBlock()
{
    SignalRelay relay;
    QSignalSpy detaches(&relay, &SignalRelay::detachAsked);
    for (int i = 0; i < 100000; ++i) // more than the pipe holds
        raise(SIGUSR1);
    QTRY_VERIFY(detaches.count() > 0);
}

void tst_SignalRelay::arrivesOnTheUserInterfaceThread()
{
    SignalRelay relay;
    QThread *where = nullptr;
    connect(&relay, &SignalRelay::attachAsked, [&where] { where = QThread::currentThread(); });
    std::thread([] { raise(SIGUSR2); }).join();
    QTRY_COMPARE(where, QThread::currentThread());
}

void tst_SignalRelay::handlersArePutBack()
{
    struct sigaction before = {};
    struct sigaction after = {};
    sigaction(SIGUSR1, nullptr, &before);
    {
        SignalRelay relay;
        sigaction(SIGUSR1, nullptr, &after);
        QVERIFY(after.sa_handler != before.sa_handler);
    }
    sigaction(SIGUSR1, nullptr, &after);
    QVERIFY(after.sa_handler == before.sa_handler);
}

QTEST_GUILESS_MAIN(tst_SignalRelay)
#include "tst_SignalRelay.moc"
