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
    QTest::addColumn<int>("rounds");
    const auto row = [](const char *situation, int rounds) {
        QTest::newRow(situation) << QString(situation) << rounds;
    };
    row("unused", 1);
    row("at-rest", 5);
    row("thinking", 5);
    row("storm", 10);
    row("callback-that-never-returns", 1);
    row("exit-within-a-callback", 5);
    row("after-shut-down", 1);
}

void tst_ProcessEnd::processEndsInGoodOrder()
{
    QFETCH(QString, situation);
    QFETCH(int, rounds);
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
