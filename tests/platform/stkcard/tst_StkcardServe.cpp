#include "platform/cat/Hex.h"
#include "platform/stkcard/VpcdReader.h"

#include <QtCore/QProcess>
#include <QtTest>

#include <csignal>

/// The program, with the reader's double.
class tst_StkcardServe : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void cardSpeaksToTheReader();
    void apdusArePrintedOnRequest();
    void latencyIsWaitedOut();
    void protocolIsThatAskedFor();
    void signalsTakeTheCardOut_data();
    void signalsTakeTheCardOut();
    void readerMayGoAndCome();

private:
    void start(const QStringList &arguments = {});
    bool waitForLine(const QString &line);
    QByteArray transmit(const QByteArray &apdu);
    bool end(int number);

    std::unique_ptr<VpcdReader> m_reader;
    QProcess m_program;
    QString m_output;
};

void tst_StkcardServe::init()
{
    m_reader = std::make_unique<VpcdReader>();
    m_output.clear();
}

void tst_StkcardServe::cleanup()
{
    if (m_program.state() != QProcess::NotRunning)
        QVERIFY(end(SIGTERM));
    m_reader.reset();
}

void tst_StkcardServe::start(const QStringList &arguments)
{
    QStringList all{"serve",    PROFILES_DIR "/demo.yaml", "--port", QString::number(m_reader->port()), "--host",
                    "127.0.0.1"};
    m_program.start(STKCARD, all + arguments);
    QVERIFY2(m_program.waitForStarted(), qPrintable(m_program.errorString()));
}

bool tst_StkcardServe::waitForLine(const QString &line)
{
    const auto isThere = [&] {
        m_output += QString::fromUtf8(m_program.readAllStandardOutput());
        return ("\n" + m_output).contains("\n" + line + "\n");
    };
    return QTest::qWaitFor(isThere, 20000);
}

QByteArray tst_StkcardServe::transmit(const QByteArray &apdu)
{
    return hexOf(m_reader->transmit(bytesOf(apdu)).value_or(cat::Bytes()));
}

bool tst_StkcardServe::end(int number)
{
    ::kill(static_cast<pid_t>(m_program.processId()), number);
    const bool ended = m_program.waitForFinished(20000);
    return ended && m_program.exitStatus() == QProcess::NormalExit && m_program.exitCode() == 0;
}

void tst_StkcardServe::cardSpeaksToTheReader()
{
    start({"--latency", "0"});
    QVERIFY(m_reader->waitForCard());
    m_reader->control(VpcdReader::PowerOn);
    QVERIFY(waitForLine(QString("in the reader at 127.0.0.1:%1").arg(m_reader->port())));
    QVERIFY(waitForLine("power on"));
    const QByteArray announcement = transmit("8010000002FFFF");
    QVERIFY2(announcement.startsWith("91"), announcement.constData());
    QVERIFY(transmit("80120000" + announcement.mid(2)).startsWith("D0"));
    m_reader->control(VpcdReader::Reset);
    QVERIFY(waitForLine("reset"));
    QCOMPARE(transmit("8012000000"), QByteArray("6985")); // the session is forgotten
    QVERIFY(!m_output.contains('>'));
    m_reader->control(VpcdReader::PowerOff);
    QVERIFY(waitForLine("power off"));
}

void tst_StkcardServe::apdusArePrintedOnRequest()
{
    start({"--print", "--latency", "0"});
    QVERIFY(m_reader->waitForCard());
    QCOMPARE(transmit("00A4000C023F00"), QByteArray("9000"));
    QVERIFY(waitForLine("> 00A4000C023F00\n< 9000"));
}

void tst_StkcardServe::latencyIsWaitedOut()
{
    start({"--latency", "200"});
    QVERIFY(m_reader->waitForCard());
    const auto before = std::chrono::steady_clock::now();
    QCOMPARE(transmit("00A4000C023F00"), QByteArray("9000"));
    QVERIFY(std::chrono::steady_clock::now() - before >= std::chrono::milliseconds(200));
}

void tst_StkcardServe::protocolIsThatAskedFor()
{
    start({"--protocol", "t0"});
    QVERIFY(m_reader->waitForCard());
    m_reader->control(VpcdReader::AnswerToReset);
    QCOMPARE(hexOf(m_reader->receive().value_or(cat::Bytes())), QByteArray("3B0780310073042100"));
}

void tst_StkcardServe::signalsTakeTheCardOut_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<bool>("hasReader");
    QTest::newRow("interrupt") << SIGINT << true;
    QTest::newRow("end") << SIGTERM << true;
    QTest::newRow("hang-up") << SIGHUP << true;
    QTest::newRow("with no reader") << SIGINT << false;
}

void tst_StkcardServe::signalsTakeTheCardOut()
{
    QFETCH(int, number);
    QFETCH(bool, hasReader);
    const QString place = QString("127.0.0.1:%1").arg(m_reader->port());
    if (!hasReader)
        m_reader->stop();
    start();
    QVERIFY(waitForLine(hasReader ? "in the reader at " + place
                                  : "waits: no reader listens at " + place +
                                        "; start pcscd with the reader of vsmartcard-vpcd"));
    QVERIFY(end(number));
    QVERIFY(waitForLine("taken out"));
    QCOMPARE(m_program.readAllStandardError(), QByteArray());
}

void tst_StkcardServe::readerMayGoAndCome()
{
    start({"--latency", "0"});
    QVERIFY(m_reader->waitForCard());
    QVERIFY(transmit("8010000002FFFF").startsWith("91"));
    m_reader->eject();
    QVERIFY(waitForLine("the reader has gone; waits for it"));
    QVERIFY(m_reader->waitForCard());
    QCOMPARE(transmit("8012000000"), QByteArray("6985"));
}

QTEST_GUILESS_MAIN(tst_StkcardServe)
#include "tst_StkcardServe.moc"
