#include "sdk/ModemChannel.h"

#include "platform/sdk/Vectors.h"
#include "support/ModemPeer.h"

#include "sdk/MDSVStk.h"
#include "sdk/SdkControl.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryFile>
#include <QTest>

#include <map>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

using std::chrono::milliseconds;
using News = sdk::CardChannel::News;
using Way = ModemPeer::Way;
using Sayings = std::vector<ModemPeer::Saying>;

Q_DECLARE_METATYPE(Way)

/// A card behind AT commands: what becomes of each APDU, what the modem says unasked, and how modems come and go.
class tst_ModemChannel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void isNamedAfterItsLine_data();
    void isNamedAfterItsLine();
    void greetsTheModem();
    void greetsAModemThatIsInTheMiddleOfSomething();
    void greetsAModemThatRefusesWhatItCan();
    void lateAnswersOfBeforeCountForNothing();
    void offersTheProfile_data();
    void offersTheProfile();
    void profileLeavesTheNetworkToTheModem();
    void profileThatIsThereIsNotWrittenAgain();
    void startsWithTheFirstCommand();
    void commandFromBeforeCounts();
    void commandFromBeforeTheStartIsDead();
    void commandFromBeforeTheStartIsTakenWhereItIsTheOnlyOne();
    void hexOfAnyKind_data();
    void hexOfAnyKind();
    void hexOfNoKind_data();
    void hexOfNoKind();
    void responseIsFollowedByTheNextCommand();
    void responseIsFollowedByTheEnd();
    void responseIsFollowedByNothing();
    void nextCommandMayComeBeforeTheResult();
    void refusedResponse();
    void stringsInQuotes();
    void stringsInQuotesAreTriedOnce();
    void envelopeIsAnswered_data();
    void envelopeIsAnswered();
    void envelopeIsFollowedByACommand();
    void commandAtRestIsNews();
    void commandThatComesLateIsNews();
    void commandWhileOneIsOpen();
    void endWhileACommandIsOpen();
    void endAtRestIsNoNews();
    void answerIsNeverSentTwice();
    void commandsAreSentOneAtATime();
    void chatterInBetween();
    void noiseWithoutEnd();
    void nonsenseWithoutEndIsToldForAWhile();
    void otherApdus_data();
    void otherApdus();

    void noModem_data();
    void noModem();
    void modemThatComesLater_data();
    void modemThatComesLater();
    void modemThatGoes_data();
    void modemThatGoes();
    void modemThatGoesAtRest_data();
    void modemThatGoesAtRest();
    void modemThatGoesWithTheProfile_data();
    void modemThatGoesWithTheProfile();
    void modemThatFallsSilent();
    void modemThatFallsSilentAtRest();
    void modemThatNeverAnswers();
    void modemThatTakesNothing();
    void modemThatIsTaken();
    void nothingWorksBeforeTheNextReset();
    void whatWaitedGoesWithTheModem();
    void interruptEndsEverything_data();
    void interruptEndsEverything();
    void interruptedChannelStaysSo();
    void channelThatWasNeverUsed();
    void listenerIsTakenAway();
    void nothingIsLeftOpen();

    void windowOfAGivenUpCommandIsClosed();
    void windowOfAGivenUpCommandMakesRoom();
    void menuIsBackWithTheModem();

private:
    bool start(Way way = Way::Terminal);
    QString send(const char *apdu);
    QString fetched(const char *command);
    void replyTo(const std::string &start, const std::string &bytes, int afterMs = 0);
    QStringList commands(const QString &start = "AT+CUSAT") const;
    bool waitForNews(const QStringList &news);

    sdk::ModemTimes m_times;
    std::mutex m_mutex;
    std::map<std::string, Sayings> m_replies;
    std::vector<News> m_news;
    std::unique_ptr<ModemPeer> m_peer;
    std::unique_ptr<sdk::CardChannel> m_channel;
};

namespace
{

/// No test waits that long, and none ends in time when it has to.
const milliseconds NEVER(600000);

const char *const TEXT = "D0168103012180820281028D0B0454657874204E6F2E2031";   // number 1
const char *const TEXT2 = "D0168103022180820281028D0B0454657874204E6F2E2032";  // number 2
const char *const MENU = "D015 8103012500 82028182 85044D656E75 8F04014F6E65"; // number 1
const char *const TO_TEXT = "801400000C810301218002028281030100";
const char *const TO_TEXT2 = "801400000C810302218002028281030100";
const char *const TO_MENU = "801400000C810301250002028281030100";
const char *const STATUS = "80F2000C00";
const char *const SELECTION = "80C2000009D30702020181100101";
const char *const PROFILE = "8010000004FFFFFFFF";

std::string bare(const char *hex)
{
    return QString(hex).remove(' ').toStdString();
}

std::string line(const std::string &text)
{
    return "\r\n" + text + "\r\n";
}

std::string handing(const char *command)
{
    return line("+CUSATP: " + bare(command));
}

/// "9118" for a command of 24 bytes.
QString announced(const char *command)
{
    return QString("91%1").arg(bare(command).size() / 2, 2, 16, QChar('0')).toUpper();
}

QString nameOf(News news)
{
    static const std::map<News, QString> names = {
        {News::Asks, "asks"}, {News::Ended, "ended"}, {News::Gone, "gone"}, {News::There, "there"}};
    return names.at(news);
}

/// While it lives, what goes to standard error goes into a file.
class StandardError
{
public:
    StandardError() : m_before(::dup(2))
    {
        if (!m_file.open() || ::dup2(m_file.handle(), 2) < 0)
            qFatal("standard error cannot be kept");
    }
    ~StandardError()
    {
        ::dup2(m_before, 2);
        ::close(m_before);
    }
    StandardError(const StandardError &) = delete;
    StandardError &operator=(const StandardError &) = delete;

    QByteArray text() const
    {
        QFile file(m_file.fileName());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    const int m_before;
    QTemporaryFile m_file;
};

int openFiles()
{
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

int threads()
{
    return QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
}

} // namespace

void tst_ModemChannel::init()
{
    m_times = sdk::ModemTimes();
    m_times.connection = NEVER;
    m_times.quiet = milliseconds(1);
    m_times.answer = m_times.card = m_times.next = m_times.start = m_times.alive = NEVER;
    m_times.retry = milliseconds(20);
    m_replies.clear();
    m_news.clear();
}

void tst_ModemChannel::cleanup()
{
    sdk::shutDown();
    events::reset();
    m_channel.reset();
    m_peer.reset();
    sdk::setModemTimes(sdk::ModemTimes());
}

/// The modem is there, and says OK to everything for which there is no reply.
bool tst_ModemChannel::start(Way way)
{
    const auto reply = [this](const std::string &command) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto &row : m_replies) {
            if (command.compare(0, row.first.size(), row.first) == 0)
                return row.second;
        }
        return Sayings{{line("OK")}};
    };
    if (!m_peer)
        m_peer = std::make_unique<ModemPeer>(way, reply);
    sdk::setModemTimes(m_times);
    std::string error;
    m_channel = sdk::openModem(m_peer->address(), &error);
    m_channel->setListener([this](News news) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_news.push_back(news);
    });
    const bool isUp = m_channel->reset(&error);
    if (!isUp)
        qWarning("%s", error.c_str());
    return isUp;
}

void tst_ModemChannel::replyTo(const std::string &start, const std::string &bytes, int afterMs)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_replies[start] = {{bytes, milliseconds(afterMs)}};
}

/// The answer's bytes, or "gone".
QString tst_ModemChannel::send(const char *apdu)
{
    cat::Bytes bytes;
    cat::Bytes answer;
    if (!cat::fromHex(apdu, &bytes))
        return "no hexadecimal number";
    return m_channel->transmit(bytes, &answer) ? QString::fromStdString(cat::toHex(answer)) : QString("gone");
}

/// What FETCH brings for a command of that length.
QString tst_ModemChannel::fetched(const char *command)
{
    return send(qPrintable("80120000" + announced(command).mid(2)));
}

QStringList tst_ModemChannel::commands(const QString &start) const
{
    QStringList found;
    for (const std::string &command : m_peer->commands())
        found << QString::fromStdString(command);
    return found.filter(QRegularExpression('^' + QRegularExpression::escape(start)));
}

bool tst_ModemChannel::waitForNews(const QStringList &news)
{
    QStringList names;
    return QTest::qWaitFor(
               [&] {
                   const std::lock_guard<std::mutex> lock(m_mutex);
                   names.clear();
                   for (const News one : m_news)
                       names << nameOf(one);
                   return names == news;
               },
               vectors::limit) ||
           (qWarning("news: %s", qPrintable(names.join(", "))), false);
}

// ---------------------------------------------------------------- the beginning

void tst_ModemChannel::isNamedAfterItsLine_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("name");
    QTest::newRow("serial") << "/dev/ttyUSB2"
                            << "modem on /dev/ttyUSB2";
    QTest::newRow("port") << "localhost:2000"
                          << "modem at localhost port 2000";
}

void tst_ModemChannel::isNamedAfterItsLine()
{
    QFETCH(QString, line);
    // There need be no modem yet.
    const auto channel = sdk::openCard(("modem:" + line).toStdString(), nullptr);
    QVERIFY(channel);
    QTEST(QString::fromStdString(channel->name()), "name");
    QVERIFY(channel->staysWithoutCard());
    QVERIFY(!channel->hasNetwork());
    std::string error;
    QVERIFY(!sdk::openCard("modem:nonsense", &error));
    QVERIFY(!error.empty());
}

void tst_ModemChannel::greetsTheModem()
{
    for (const Way way : {Way::Terminal, Way::Port}) {
        cleanup();
        QVERIFY(start(way));
        QCOMPARE(commands(""), QStringList({"AT", "ATE0", "AT+CMEE=1"}));
        QVERIFY(m_channel->reset(nullptr)); // and a second time it is known
        QCOMPARE(commands("").size(), 3);
    }
}

void tst_ModemChannel::greetsAModemThatIsInTheMiddleOfSomething()
{
    int tries = 0;
    m_peer = std::make_unique<ModemPeer>(Way::Terminal, [&tries](const std::string &) {
        return Sayings{{++tries < 3 ? "\r\nERROR\r\n" : "\r\nOK\r\n"}};
    });
    QVERIFY(start());
    QCOMPARE(commands(""), QStringList({"AT", "AT", "AT", "ATE0", "AT+CMEE=1"}));
}

void tst_ModemChannel::greetsAModemThatRefusesWhatItCan()
{
    replyTo("ATE0", "ATE0\r\r\nERROR\r\n");
    replyTo("AT+CMEE", "\r\n+CME ERROR: 3\r\n");
    QVERIFY(start());
}

/// What was said to somebody else may be answered while this one is greeting.
void tst_ModemChannel::lateAnswersOfBeforeCountForNothing()
{
    m_times.quiet = milliseconds(1000);
    const milliseconds late(150);
    const milliseconds usual(30); // were it at once, an answer that is one behind would come before the next command
    int count = 0;
    m_peer = std::make_unique<ModemPeer>(Way::Terminal, [&](const std::string &command) {
        if (command == "AT")
            return ++count == 1 ? Sayings{{line("OK")}, {line("OK"), late}} : Sayings{{line("OK")}};
        return command == "AT+CUSATA=1" ? Sayings{{line("OK") + handing(MENU), usual}}
                                        : Sayings{{line("ERROR"), usual}};
    });
    QVERIFY(start());
    // One answer for each: were the other OK counted, this would be the answer of AT+CUSATD.
    QCOMPARE(send(PROFILE), announced(MENU));
}

// ---------------------------------------------------------------- the profile

void tst_ModemChannel::offersTheProfile_data()
{
    QTest::addColumn<QStringList>("refused");
    QTest::newRow("modem has all") << QStringList();
    QTest::newRow("no reading") << QStringList("AT+CUSATR");
    QTest::newRow("no writing") << QStringList("AT+CUSATW");
    QTest::newRow("no choice") << QStringList("AT+CUSATD");
    QTest::newRow("no start") << QStringList("AT+CUSATA");
    QTest::newRow("nothing") << QStringList({"AT+CUSATR", "AT+CUSATW", "AT+CUSATD", "AT+CUSATA"});
}

void tst_ModemChannel::offersTheProfile()
{
    QFETCH(QStringList, refused);
    m_times.start = milliseconds(20);
    for (const QString &command : refused)
        replyTo(command.toStdString(), line("+CME ERROR: 4"));
    QVERIFY(start());
    QCOMPARE(send(PROFILE), QString("9000"));
    QCOMPARE(commands(), QStringList({"AT+CUSATR", "AT+CUSATW=0,\"FFFF7FE1\"", "AT+CUSATD=1", "AT+CUSATA=1"}));
}

/// REFRESH, SEND SHORT MESSAGE, SEND SS, SEND USSD and SET UP CALL.
void tst_ModemChannel::profileLeavesTheNetworkToTheModem()
{
    m_times.start = milliseconds(20);
    QVERIFY(start());
    QCOMPARE(send("801000000109"), QString("9000"));
    QCOMPARE(commands("AT+CUSATW"), QStringList("AT+CUSATW=0,\"09\""));
    m_peer->forget();
    QCOMPARE(send("8010000005091EFF3F0A"), QString("9000"));
    QCOMPARE(commands("AT+CUSATW"), QStringList("AT+CUSATW=0,\"091E7F210A\""));
}

void tst_ModemChannel::profileThatIsThereIsNotWrittenAgain()
{
    m_times.start = milliseconds(20);
    replyTo("AT+CUSATR", "\r\n+CUSATR: 0, \"ffff7fe1\"\r\n+CUSATR: 1,\"00\"\r\n\r\nOK\r\n");
    QVERIFY(start());
    QCOMPARE(send(PROFILE), QString("9000"));
    QCOMPARE(commands(), QStringList({"AT+CUSATR", "AT+CUSATA=1"}));
    // That of another store is not it.
    m_peer->forget();
    replyTo("AT+CUSATR", "\r\n+CUSATR: 1, \"ffff7fe1\"\r\n\r\nOK\r\n");
    QCOMPARE(send(PROFILE), QString("9000"));
    QCOMPARE(commands("AT+CUSATW").size(), 1);
}

void tst_ModemChannel::startsWithTheFirstCommand()
{
    replyTo("AT+CUSATA", line("OK") + handing(MENU));
    QVERIFY(start());
    QCOMPARE(send(PROFILE), announced(MENU));
    QCOMPARE(send(STATUS), announced(MENU));
    QCOMPARE(fetched(MENU), QString::fromStdString(bare(MENU)) + "9000");
    QVERIFY(waitForNews({}));
}

/// A modem may have started the card by itself, while nobody was listening yet.
void tst_ModemChannel::commandFromBeforeCounts()
{
    replyTo("AT+CMEE", handing(MENU) + line("OK"));
    replyTo("AT+CUSATA", line("ERROR"));
    QVERIFY(start());
    QCOMPARE(send(PROFILE), announced(MENU));
    QVERIFY(waitForNews({}));
}

/// Whoever answered it would answer a card that has forgotten it.
void tst_ModemChannel::commandFromBeforeTheStartIsDead()
{
    replyTo("AT+CMEE", handing(TEXT) + line("OK"));
    m_replies["AT+CUSATA"] = {{line("OK")}, {handing(MENU), milliseconds(50)}};
    QVERIFY(start());
    QCOMPARE(send(PROFILE), announced(MENU));
    QCOMPARE(fetched(MENU), QString::fromStdString(bare(MENU)) + "9000");
    QVERIFY(waitForNews({}));
}

void tst_ModemChannel::commandFromBeforeTheStartIsTakenWhereItIsTheOnlyOne()
{
    m_times.start = milliseconds(50);
    replyTo("AT+CMEE", handing(MENU) + line("OK"));
    QVERIFY(start());
    QCOMPARE(send(PROFILE), announced(MENU));
    QVERIFY(waitForNews({}));
}

// ---------------------------------------------------------------- commands and responses

void tst_ModemChannel::hexOfAnyKind_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("plain") << QByteArray("+CUSATP: D00281FF");
    QTest::newRow("no blank") << QByteArray("+CUSATP:D00281FF");
    QTest::newRow("quotes") << QByteArray("+CUSATP: \"D00281FF\"");
    QTest::newRow("lower case") << QByteArray("+CUSATP: d00281ff");
    QTest::newRow("blanks") << QByteArray("+CUSATP:  D0 02 81\tFF ");
    QTest::newRow("blanks in bytes") << QByteArray("+CUSATP: \"D 002 81F F\"");
    QTest::newRow("something behind") << QByteArray("+CUSATP: \"D00281FF\",1");
    QTest::newRow("NUL") << QByteArray("+CUS\0ATP: D0\0"
                                       "0281FF",
                                       20);
}

void tst_ModemChannel::hexOfAnyKind()
{
    QFETCH(QByteArray, line);
    QVERIFY(start());
    m_peer->say("\r" + line.toStdString() + "\n");
    QVERIFY(waitForNews({"asks"}));
    QCOMPARE(send(STATUS), QString("9104"));
    QCOMPARE(send("8012000004"), QString("D00281FF9000"));
}

void tst_ModemChannel::hexOfNoKind_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("nothing") << QByteArray();
    QTest::newRow("quotes") << QByteArray("\"\"");
    QTest::newRow("half a byte") << QByteArray("D00");
    QTest::newRow("no digits") << QByteArray("D0XX");
    QTest::newRow("overlong") << QByteArray("D0").repeated(257);
    QTest::newRow("endless") << QByteArray("D0").repeated(20000);
}

void tst_ModemChannel::hexOfNoKind()
{
    QFETCH(QByteArray, text);
    QVERIFY(start());
    m_peer->say("\r\n+CUSATP: " + text.toStdString() + "\r\n");
    m_peer->say(handing(TEXT));
    QVERIFY(waitForNews({"asks"}));
    QCOMPARE(send(STATUS), announced(TEXT));
}

#define OPEN_TEXT                                                  \
    QVERIFY(start());                                              \
    m_peer->say(handing(TEXT));                                    \
    QVERIFY(waitForNews({"asks"}));                                \
    QCOMPARE(fetched(TEXT), bare(TEXT).c_str() + QString("9000")); \
    m_peer->forget()

void tst_ModemChannel::responseIsFollowedByTheNextCommand()
{
    replyTo("AT+CUSATT", line("OK") + line("RING") + handing(TEXT2));
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), announced(TEXT2));
    QCOMPARE(commands(), QStringList("AT+CUSATT=810301218002028281030100"));
    QCOMPARE(fetched(TEXT2), bare(TEXT2).c_str() + QString("9000"));
    QVERIFY(waitForNews({"asks"}));
}

void tst_ModemChannel::responseIsFollowedByTheEnd()
{
    replyTo("AT+CUSATT", line("OK") + line("+CUSATEND"));
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), QString("9000"));
    QCOMPARE(send(STATUS), QString("9000"));
}

/// A modem that has told of ends before gets more time than one that may never do it.
void tst_ModemChannel::responseIsFollowedByNothing()
{
    m_times.start = milliseconds(50);
    OPEN_TEXT;
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(send(TO_TEXT), QString("9000"));
    QVERIFY(clock.elapsed() >= 50);
    m_peer->say(line("+CUSATEND") + handing(TEXT2));
    QVERIFY(waitForNews({"asks", "asks"}));
    QCOMPARE(fetched(TEXT2), bare(TEXT2).c_str() + QString("9000"));
    replyTo("AT+CUSATT", line("OK"));
    std::thread later([this] {
        QVERIFY(m_peer->waitFor("AT+CUSATT", 2));
        QTest::qSleep(300);
        m_peer->say(line("+CUSATEND"));
    });
    clock.start();
    const QString answer = send(TO_TEXT2);
    const qint64 time = clock.elapsed();
    later.join();
    QCOMPARE(answer, QString("9000"));
    QVERIFY2(time >= 300, qPrintable(QString::number(time)));
}

void tst_ModemChannel::nextCommandMayComeBeforeTheResult()
{
    replyTo("AT+CUSATT", handing(TEXT) + handing(TEXT2) + line("OK"));
    OPEN_TEXT;
    // The first is the old one, said again because its answer was late.
    QCOMPARE(send(TO_TEXT), announced(TEXT2));
    QCOMPARE(fetched(TEXT2), bare(TEXT2).c_str() + QString("9000"));
    replyTo("AT+CUSATT", line("+CUSATEND") + line("OK"));
    QCOMPARE(send(TO_TEXT2), QString("9000"));
}

void tst_ModemChannel::refusedResponse()
{
    replyTo("AT+CUSATT", line("+CME ERROR: 100"));
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), QString("6F00"));
    QCOMPARE(send(TO_TEXT), QString("9000"));  // it is over, and not said again
    QCOMPARE(commands("AT+CUSATT").size(), 2); // in the other way
    // Unless the modem has something else to say.
    m_peer->say(handing(TEXT));
    QVERIFY(waitForNews({"asks", "asks"}));
    QCOMPARE(fetched(TEXT), bare(TEXT).c_str() + QString("9000"));
    replyTo("AT+CUSATT", handing(TEXT2) + line("ERROR"));
    QCOMPARE(send(TO_TEXT), announced(TEXT2));
}

void tst_ModemChannel::stringsInQuotes()
{
    replyTo("AT+CUSATT=8", line("ERROR"));
    replyTo("AT+CUSATT=\"", line("OK") + handing(TEXT2));
    replyTo("AT+CUSATE=D", line("ERROR"));
    replyTo("AT+CUSATE=\"", line("OK") + handing(TEXT));
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), announced(TEXT2));
    QCOMPARE(commands(), QStringList({"AT+CUSATT=810301218002028281030100", "AT+CUSATT=\"810301218002028281030100\""}));
    QCOMPARE(fetched(TEXT2), bare(TEXT2).c_str() + QString("9000"));
    // From now on it is known.
    m_peer->forget();
    QCOMPARE(send(SELECTION), announced(TEXT));
    QCOMPARE(commands(), QStringList("AT+CUSATE=\"D30702020181100101\""));
}

void tst_ModemChannel::stringsInQuotesAreTriedOnce()
{
    replyTo("AT+CUSATT", line("OK") + line("+CUSATEND"));
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), QString("9000"));
    m_peer->forget();
    replyTo("AT+CUSATE", line("ERROR"));
    QCOMPARE(send(SELECTION), QString("6F00"));
    QCOMPARE(commands(), QStringList("AT+CUSATE=D30702020181100101"));
}

void tst_ModemChannel::envelopeIsAnswered_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("answer");
    QTest::newRow("OK") << QByteArray("OK") << "9000";
    QTest::newRow("an answer of no bytes") << QByteArray("+CUSATE: \"\"\r\n\r\nOK") << "9000";
    QTest::newRow("not busy") << QByteArray("+CUSATE: \"9000\",0\r\n\r\nOK") << "9000";
    QTest::newRow("busy") << QByteArray("+CUSATE: \"\",1\r\n\r\nOK") << "9300";
    QTest::newRow("busy by its status") << QByteArray("+CUSATE: 9300\r\n\r\nOK") << "9300";
    QTest::newRow("SIM busy") << QByteArray("+CME ERROR: 14") << "9300";
    QTest::newRow("refused") << QByteArray("ERROR") << "6F00";
    QTest::newRow("over at once") << QByteArray("OK\r\n+CUSATEND") << "9000";
}

void tst_ModemChannel::envelopeIsAnswered()
{
    QFETCH(QByteArray, reply);
    m_times.start = milliseconds(20);
    replyTo("AT+CUSATE", line(reply.toStdString()));
    QVERIFY(start());
    QTEST(send(SELECTION), "answer");
}

void tst_ModemChannel::envelopeIsFollowedByACommand()
{
    replyTo("AT+CUSATE", line("+CUSATE: \"\",0") + line("OK") + handing(TEXT));
    QVERIFY(start());
    QCOMPARE(send(SELECTION), announced(TEXT));
    QVERIFY(waitForNews({}));
    // A card that is too busy for it because it asks something itself says so.
    replyTo("AT+CUSATE", handing(TEXT2) + line("+CUSATE: \"\",1") + line("OK"));
    QCOMPARE(send(SELECTION), announced(TEXT2));
}

void tst_ModemChannel::commandAtRestIsNews()
{
    QVERIFY(start());
    QCOMPARE(send(STATUS), QString("9000"));
    m_peer->say(handing(TEXT));
    QVERIFY(waitForNews({"asks"}));
    QCOMPARE(send(STATUS), announced(TEXT));
    m_peer->say(handing(TEXT)); // again: no news
    m_peer->say(handing(TEXT2));
    QVERIFY(waitForNews({"asks", "asks"}));
}

void tst_ModemChannel::commandThatComesLateIsNews()
{
    m_times.start = milliseconds(20);
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), QString("9000"));
    m_peer->say(handing(TEXT2));
    QVERIFY(waitForNews({"asks", "asks"}));
    QCOMPARE(send(STATUS), announced(TEXT2));
}

void tst_ModemChannel::commandWhileOneIsOpen()
{
    replyTo("AT+CUSATT", line("OK") + line("+CUSATEND"));
    OPEN_TEXT;
    QVERIFY(!m_channel->isGivenUp());
    m_peer->say(handing(TEXT2));
    QVERIFY(waitForNews({"asks", "ended", "asks"}));
    QVERIFY(m_channel->isGivenUp());
    QCOMPARE(send(TO_TEXT), announced(TEXT2)); // and goes nowhere
    QCOMPARE(fetched(TEXT2), bare(TEXT2).c_str() + QString("9000"));
    QVERIFY(!m_channel->isGivenUp());
    QCOMPARE(send(TO_TEXT2), QString("9000"));
    QCOMPARE(commands(), QStringList("AT+CUSATT=810302218002028281030100"));
}

void tst_ModemChannel::endWhileACommandIsOpen()
{
    OPEN_TEXT;
    m_peer->say(line("+CUSATEND"));
    QVERIFY(waitForNews({"asks", "ended"}));
    QVERIFY(m_channel->isGivenUp());
    QCOMPARE(send(TO_TEXT), QString("9000"));
    QCOMPARE(commands(), QStringList());
}

void tst_ModemChannel::endAtRestIsNoNews()
{
    QVERIFY(start());
    m_peer->say(line("+CUSATEND") + handing(TEXT));
    QVERIFY(waitForNews({"asks"}));
    m_peer->say(line("+CUSATEND")); // nobody has seen the text
    QTRY_COMPARE_WITH_TIMEOUT(send(STATUS), QString("9000"), vectors::limit);
    QVERIFY(waitForNews({"asks"}));
}

void tst_ModemChannel::answerIsNeverSentTwice()
{
    replyTo("AT+CUSATT", line("OK") + line("+CUSATEND"));
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT2), QString("9000")); // another's
    QCOMPARE(send(TO_MENU), QString("9000"));
    QCOMPARE(commands(), QStringList());
    QCOMPARE(send(TO_TEXT), QString("9000"));
    QCOMPARE(send(TO_TEXT), QString("9000"));
    QCOMPARE(commands(), QStringList("AT+CUSATT=810301218002028281030100"));
}

/// The next command is sent when the one before has its result, not its first word.
void tst_ModemChannel::commandsAreSentOneAtATime()
{
    replyTo("AT+CUSATR", line("+CUSATR: 0,\"00\"") + line("RING"));
    QVERIFY(start());
    std::thread user([this] { send(PROFILE); });
    QVERIFY(m_peer->waitFor("AT+CUSATR"));
    QTest::qWait(100);
    QCOMPARE(commands(), QStringList("AT+CUSATR"));
    m_peer->say(line("OK"));
    QVERIFY(m_peer->waitFor("AT+CUSATA"));
    m_peer->say(handing(MENU));
    user.join();
}

void tst_ModemChannel::chatterInBetween()
{
    const std::string chatter = "\n\r+CREG: 1\r\r\nAT+CUSATT=81\r" + std::string("\0\0\r", 3) + std::string(5000, 'x') +
                                "\r\n^RSSI:1\rRING\n\n+CMTI: \"OK\"\r";
    replyTo("AT+CUSATT", chatter + "\rOK\r" + chatter + "\n+CUSATP:" + bare(TEXT2) + "\n" + chatter);
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), announced(TEXT2));
}

/// A modem that never stops is found out all the same.
void tst_ModemChannel::noiseWithoutEnd()
{
    m_times.answer = milliseconds(600);
    m_times.card = milliseconds(300);
    replyTo("AT+CUSATT", std::string(100000, 'x'));
    OPEN_TEXT;
    QCOMPARE(send(TO_TEXT), QString("gone"));
}

void tst_ModemChannel::nonsenseWithoutEndIsToldForAWhile()
{
    QVERIFY(start());
    const StandardError error;
    std::string nonsense;
    for (int i = 0; i < 100; ++i)
        nonsense += line("+CUSATP: nonsense");
    m_peer->say(nonsense + handing(TEXT));
    QVERIFY(waitForNews({"asks"}));
    QCOMPARE(error.text().count("is no hexadecimal number"), 20);
}

void tst_ModemChannel::otherApdus_data()
{
    QTest::addColumn<QByteArray>("apdu");
    QTest::addColumn<QString>("answer");
    QTest::newRow("unknown instruction") << QByteArray("00A40004023F00") << "6D00";
    QTest::newRow("nothing") << QByteArray("") << "6D00";
    QTest::newRow("half a head") << QByteArray("8012") << "6D00";
    QTest::newRow("FETCH without length") << QByteArray("80120000") << "6700";
    QTest::newRow("FETCH of nothing") << QByteArray("8012000000") << "6985";
    QTest::newRow("response cut off") << QByteArray("801400000C8103") << "6700";
    QTest::newRow("response without data") << QByteArray("80140000") << "6700";
    QTest::newRow("older class") << QByteArray("A0F2000016") << "9000";
}

void tst_ModemChannel::otherApdus()
{
    QFETCH(QByteArray, apdu);
    QVERIFY(start());
    QTEST(send(apdu.constData()), "answer");
    QCOMPARE(commands(), QStringList());
}

// ---------------------------------------------------------------- modems come and go

void tst_ModemChannel::noModem_data()
{
    QTest::addColumn<Way>("way");
    QTest::addColumn<QString>("words");
    QTest::newRow("terminal") << Way::Terminal << "there is no serial line";
    QTest::newRow("port") << Way::Port << "nobody answers at";
}

void tst_ModemChannel::noModem()
{
    QFETCH(Way, way);
    QFETCH(QString, words);
    QVERIFY(start(way));
    m_channel.reset();
    m_peer->unplug();
    m_times.retry = NEVER;
    sdk::setModemTimes(m_times);
    m_channel = sdk::openModem(m_peer->address(), nullptr);
    std::string error;
    QVERIFY(!m_channel->reset(&error));
    QVERIFY2(QString::fromStdString(error).contains(words), error.c_str());
    QVERIFY(!m_channel->reset(nullptr));
    QCOMPARE(send(STATUS), QString("gone"));
}

void tst_ModemChannel::modemThatComesLater_data()
{
    QTest::addColumn<Way>("way");
    QTest::newRow("terminal") << Way::Terminal;
    QTest::newRow("port") << Way::Port;
}

void tst_ModemChannel::modemThatComesLater()
{
    QFETCH(Way, way);
    QVERIFY(start(way));
    m_peer->unplug();
    QVERIFY(waitForNews({"gone"}));
    QVERIFY(!m_channel->reset(nullptr));
    QTest::qWait(100); // several tries
    QVERIFY(waitForNews({"gone"}));
    m_peer->plugIn();
    QVERIFY(waitForNews({"gone", "there"}));
    QVERIFY(m_channel->reset(nullptr));
    QCOMPARE(send(STATUS), QString("9000"));
}

void tst_ModemChannel::modemThatGoes_data()
{
    modemThatComesLater_data();
}

/// While it is asked something.
void tst_ModemChannel::modemThatGoes()
{
    QFETCH(Way, way);
    QVERIFY(start(way));
    replyTo("AT+CUSATE", "\r\n+CUSATE");
    std::thread fault([this] {
        if (m_peer->waitFor("AT+CUSATE"))
            m_peer->unplug();
    });
    QCOMPARE(send(SELECTION), QString("gone"));
    fault.join();
    QVERIFY(waitForNews({"gone"}));
    QCOMPARE(send(STATUS), QString("gone"));
}

void tst_ModemChannel::modemThatGoesAtRest_data()
{
    modemThatComesLater_data();
}

void tst_ModemChannel::modemThatGoesAtRest()
{
    QFETCH(Way, way);
    QVERIFY(start(way));
    for (int i = 1; i <= 3; ++i) {
        QCOMPARE(send(STATUS), QString("9000"));
        m_peer->unplug();
        QTRY_COMPARE_WITH_TIMEOUT(send(STATUS), QString("gone"), vectors::limit);
        m_peer->plugIn();
        QStringList news;
        for (int j = 0; j < i; ++j)
            news << "gone"
                 << "there";
        QVERIFY(waitForNews(news));
        QVERIFY(m_channel->reset(nullptr));
    }
}

void tst_ModemChannel::modemThatGoesWithTheProfile_data()
{
    QTest::addColumn<QStringList>("said");
    QTest::newRow("reading") << QStringList{"AT+CUSATR"};
    QTest::newRow("writing") << QStringList{"AT+CUSATR", "AT+CUSATW=0,\"FFFF7FE1\""};
    QTest::newRow("choice") << QStringList{"AT+CUSATR", "AT+CUSATW=0,\"FFFF7FE1\"", "AT+CUSATD=1"};
    QTest::newRow("start") << QStringList{"AT+CUSATR", "AT+CUSATW=0,\"FFFF7FE1\"", "AT+CUSATD=1", "AT+CUSATA=1"};
}

/// While it is told what the terminal can do: it hears no more of that.
void tst_ModemChannel::modemThatGoesWithTheProfile()
{
    QFETCH(QStringList, said);
    QVERIFY(start());
    replyTo(said.last().toStdString(), "");
    std::thread fault([this, &said] {
        if (m_peer->waitFor(said.last().toStdString()))
            m_peer->unplug();
    });
    QCOMPARE(send(PROFILE), QString("gone"));
    fault.join();
    QCOMPARE(commands(), said);
    QVERIFY(waitForNews({"gone"}));
}

void tst_ModemChannel::modemThatFallsSilent()
{
    m_times.card = milliseconds(50);
    QVERIFY(start());
    m_peer->setSilent(true);
    QCOMPARE(send(SELECTION), QString("gone"));
    QVERIFY(waitForNews({"gone"}));
}

void tst_ModemChannel::modemThatFallsSilentAtRest()
{
    m_times.alive = milliseconds(30);
    m_times.answer = milliseconds(300);
    QVERIFY(start());
    QVERIFY(m_peer->waitFor("AT", 5)); // three of them are the greeting's
    QVERIFY(waitForNews({}));
    m_peer->setSilent(true);
    QVERIFY(waitForNews({"gone"}));
    m_peer->setSilent(false);
    QVERIFY(waitForNews({"gone", "there"}));
}

void tst_ModemChannel::modemThatNeverAnswers()
{
    m_times.answer = milliseconds(90);
    m_peer = std::make_unique<ModemPeer>(Way::Terminal, [](const std::string &) { return Sayings{}; });
    sdk::setModemTimes(m_times);
    m_channel = sdk::openModem(m_peer->address(), nullptr);
    std::string error;
    QVERIFY(!m_channel->reset(&error));
    QVERIFY2(error.find("does not answer to AT") != std::string::npos, error.c_str());
}

/// As a line that is held up: nothing can be written.
void tst_ModemChannel::modemThatTakesNothing()
{
    m_times.card = milliseconds(50);
    m_peer = std::make_unique<ModemPeer>(Way::Terminal, [](const std::string &) { return Sayings{{line("OK")}}; });
    const int held = ::open(m_peer->address().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(start());
    m_peer->forget();
    QCOMPARE(::tcflow(held, TCOOFF), 0);
    QCOMPARE(send(SELECTION), QString("gone"));
    QVERIFY(waitForNews({"gone"}));
    QCOMPARE(commands("AT"), QStringList());
    QCOMPARE(::tcflow(held, TCOON), 0);
    QVERIFY(waitForNews({"gone", "there"}));
    QVERIFY(m_channel->reset(nullptr));
    ::close(held);
}

void tst_ModemChannel::modemThatIsTaken()
{
    QVERIFY(start());
    const auto second = sdk::openModem(m_peer->address(), nullptr);
    std::string error;
    QVERIFY(!second->reset(&error));
    QVERIFY2(error.find("taken by another program") != std::string::npos, error.c_str());
    std::atomic<int> there{0};
    second->setListener([&there](News news) { there += news == News::There ? 1 : 0; });
    m_channel.reset();
    QTRY_COMPARE_WITH_TIMEOUT(there.load(), 1, vectors::limit);
    QVERIFY(second->reset(&error));
}

/// The modem may be back before anybody has looked; what was meant for the one before must not reach it.
void tst_ModemChannel::nothingWorksBeforeTheNextReset()
{
    QVERIFY(start());
    m_peer->unplug();
    QVERIFY(waitForNews({"gone"}));
    m_peer->plugIn();
    QVERIFY(waitForNews({"gone", "there"}));
    m_peer->forget();
    m_peer->say(handing(TEXT));
    QCOMPARE(send(STATUS), QString("gone"));
    QCOMPARE(send(SELECTION), QString("gone"));
    QVERIFY(m_channel->reset(nullptr));
    QTRY_COMPARE_WITH_TIMEOUT(send(STATUS), announced(TEXT), vectors::limit);
    QCOMPARE(commands(), QStringList());
}

void tst_ModemChannel::whatWaitedGoesWithTheModem()
{
    OPEN_TEXT;
    m_peer->say(handing(TEXT2));
    QVERIFY(waitForNews({"asks", "ended", "asks"}));
    m_peer->unplug();
    QVERIFY(waitForNews({"asks", "ended", "asks", "gone"}));
    m_peer->plugIn();
    QVERIFY(waitForNews({"asks", "ended", "asks", "gone", "there"}));
    QVERIFY(m_channel->reset(nullptr));
    QCOMPARE(send(STATUS), QString("9000"));
    QCOMPARE(send(TO_TEXT), QString("9000"));
    QCOMPARE(commands(), QStringList());
}

void tst_ModemChannel::interruptEndsEverything_data()
{
    QTest::addColumn<QByteArray>("apdu");
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("no result") << QByteArray(SELECTION) << QByteArray("AT+CUSATE");
    QTest::newRow("no next command") << QByteArray(PROFILE) << QByteArray("AT+CUSATA");
}

void tst_ModemChannel::interruptEndsEverything()
{
    QFETCH(QByteArray, apdu);
    QFETCH(QByteArray, command);
    QVERIFY(start());
    replyTo("AT+CUSATE", "");
    std::thread user([&] { QCOMPARE(send(apdu.constData()), QString("gone")); });
    QVERIFY(m_peer->waitFor(command.toStdString()));
    m_channel->interrupt();
    user.join();
    m_channel.reset();
}

void tst_ModemChannel::interruptedChannelStaysSo()
{
    QVERIFY(start());
    m_channel->interrupt();
    QCOMPARE(send(STATUS), QString("gone"));
    std::string error;
    QVERIFY(!m_channel->reset(&error));
    QVERIFY(!error.empty());
    QCOMPARE(send(STATUS), QString("gone"));
}

void tst_ModemChannel::channelThatWasNeverUsed()
{
    const int before = threads();
    for (int i = 0; i < 3; ++i) {
        const auto channel = sdk::openModem("/dev/ttyUSB99", nullptr);
        cat::Bytes answer;
        QVERIFY(!channel->transmit({0x80, 0xF2, 0x00, 0x0C, 0x00}, &answer));
        QCOMPARE(threads(), before);
        channel->interrupt();
        QVERIFY(!channel->reset(nullptr));
    }
}

void tst_ModemChannel::listenerIsTakenAway()
{
    QVERIFY(start());
    std::atomic<bool> isInside{false};
    std::atomic<bool> isOutside{false};
    m_channel->setListener([&](News) {
        isInside = true;
        QTest::qSleep(100);
        isOutside = true;
    });
    m_peer->say(handing(TEXT));
    QTRY_VERIFY_WITH_TIMEOUT(isInside, vectors::limit);
    m_channel->setListener({});
    QVERIFY(isOutside);
    m_peer->say(handing(TEXT2));
    QTRY_COMPARE_WITH_TIMEOUT(send(STATUS), announced(TEXT2), vectors::limit);
}

void tst_ModemChannel::nothingIsLeftOpen()
{
    QVERIFY(start());
    m_channel.reset();
    const int files = openFiles();
    const int running = threads();
    for (int i = 0; i < 20; ++i) {
        QVERIFY(start());
        QCOMPARE(threads(), running + 1);
        m_peer->unplug();
        if (i % 2)
            m_channel->reset(nullptr); // finds out now, or with the next command
        m_channel.reset();
        m_peer->plugIn();
    }
    QCOMPARE(threads(), running);
    QCOMPARE(openFiles(), files);
}

// ---------------------------------------------------------------- through the library

void tst_ModemChannel::windowOfAGivenUpCommandIsClosed()
{
    m_times.start = milliseconds(20);
    events::reset();
    QVERIFY(events::registerBoth());
    QVERIFY(start());
    sdk::attachDevice(std::move(m_channel));
    QVERIFY(vectors::waitForEvent("DEVICE 6602"));
    m_peer->say(handing(TEXT));
    QVERIFY(vectors::waitForEvent("STK 1"));
    const int id = events::lastId();
    m_peer->say(line("+CUSATEND"));
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(int16_t(id), STK_UI_STKTYPE_DISPLAY_TEXT, 1),
             static_cast<int>(sdk::Status::StaleCommand));
    QCOMPARE(commands("AT+CUSATT"), QStringList());
}

void tst_ModemChannel::windowOfAGivenUpCommandMakesRoom()
{
    m_times.start = milliseconds(20);
    replyTo("AT+CUSATT", line("OK") + line("+CUSATEND"));
    events::reset();
    QVERIFY(events::registerBoth());
    QVERIFY(start());
    sdk::attachDevice(std::move(m_channel));
    QVERIFY(vectors::waitForEvent("DEVICE 6602"));
    m_peer->say(handing(TEXT));
    QVERIFY(vectors::waitForEvent("STK 1"));
    events::forget();
    m_peer->say(handing(TEXT2));
    QTRY_COMPARE_WITH_TIMEOUT(events::texts(), QStringList({"STK 99", "STK 1"}), vectors::limit);
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(int16_t(events::lastId()), STK_UI_STKTYPE_DISPLAY_TEXT, 1), 0);
    QVERIFY(m_peer->waitFor("AT+CUSATT"));
    QCOMPARE(commands("AT+CUSATT"), QStringList("AT+CUSATT=810302218082028281830100"));
}

void tst_ModemChannel::menuIsBackWithTheModem()
{
    replyTo("AT+CUSATA", line("OK") + handing(MENU));
    replyTo("AT+CUSATT", line("OK") + line("+CUSATEND"));
    events::reset();
    QVERIFY(events::registerBoth());
    QVERIFY(start());
    sdk::attachDevice(std::move(m_channel));
    QVERIFY(vectors::waitForEvent("DEVICE 6602"));
    QVERIFY(sdk::menuTitle());
    m_peer->unplug();
    QVERIFY(vectors::waitForEvent("DEVICE 6601"));
    QVERIFY(!sdk::menuTitle());
    events::forget();
    m_peer->plugIn();
    QVERIFY(vectors::waitForEvent("DEVICE 6602"));
    QVERIFY(sdk::menuTitle());
}

QTEST_GUILESS_MAIN(tst_ModemChannel)
#include "tst_ModemChannel.moc"
