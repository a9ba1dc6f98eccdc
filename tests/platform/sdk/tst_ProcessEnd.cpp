#include <QProcess>
#include <QTest>

/// A process that ends while the library is at work: no crash, no hang.
class tst_ProcessEnd : public QObject
{
    Q_OBJECT

private slots:
    void processEndsInGoodOrder_data();
    void processEndsInGoodOrder();
};

void tst_ProcessEnd::processEndsInGoodOrder_data()
{
    QTest::addColumn<QString>("situation");
    for (const char *situation : {"unused", "at-rest", "thinking", "storm", "callback-that-never-returns",
                                  "exit-within-a-callback", "after-shut-down"})
        QTest::newRow(situation) << situation;
}

void tst_ProcessEnd::processEndsInGoodOrder()
{
    QFETCH(QString, situation);
    constexpr int rounds = 5;
    for (int round = 0; round < rounds; ++round) {
        QProcess child;
        child.setProcessChannelMode(QProcess::MergedChannels);
        child.start(EXIT_CHILD, {situation});
        const bool hasEnded = child.waitForFinished(10000);
        const QByteArray output = child.readAll();
        if (!hasEnded)
            child.kill();
        QVERIFY2(hasEnded, "it hangs");
        QVERIFY2(child.exitStatus() == QProcess::NormalExit, "it crashed");
        QVERIFY2(child.exitCode() == 0, output.constData());
    }
}

QTEST_GUILESS_MAIN(tst_ProcessEnd)
#include "tst_ProcessEnd.moc"
