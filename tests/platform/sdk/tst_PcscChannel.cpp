#include "PcscDouble.h"

#include "sdk/PcscChannel.h"
#include "sdk/SdkControl.h"

#include <QElapsedTimer>
#include <QFile>
#include <QMutex>
#include <QProcess>
#include <QStringList>
#include <QTest>

#include <algorithm>
#include <thread>

/// The way to a card in a PC/SC reader, over a double of the PC/SC library.
class tst_PcscChannel : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void readersAreListed();
    void missingReadersAreTold();
    void missingServiceIsToldWithWhatToDo();
    void frozenServiceIsTold();
    void refusedUserIsTold();
    void readerThatComesWhileListingIsTaken();
    void choice_data();
    void choice();
    void errorNeedNotBeAsked();
    void addressOpensAReader();

    void channelTellsWhatItIs();
    void cardIsResetAndHeldAlone();
    void everyResetIsWarm();
    void silentCardIsSwitchedOffAndOn();
    void classOfTheCard_data();
    void classOfTheCard();
    void cardThatFallsSilentWhileItsClassIsSought();
    void protocolIsTheCards_data();
    void protocolIsTheCards();
    void longestAnswerPasses();
    void answerThatIsNoneIsALoss_data();
    void answerThatIsNoneIsALoss();
    void failedTransmitIsALoss();
    void cardIsLeftAsNew();
    void lostCardIsLeftAlone();
    void cardIsFreeForTheNextChannel();

    void resetWithoutCardSaysSo();
    void resetThatFailsSaysWhy_data();
    void resetThatFailsSaysWhy();
    void cardThatComesIsNews();
    void cardThatGoesIsNews();
    void cardThatIsExchangedIsNews();
    void goneCardFailsUntilTheReset();
    void readerThatGoesAndComesIsNews();
    void readerThatComesBackUnderAnotherName();
    void readerThatGoesGivesWayToAnother();
    void failedListOfReadersIsReadAgain();
    void serviceThatReportsNothingIsNotPressed();
    void serviceThatEndsAndStartsIsNews();
    void lostCardIsTriedAgain();
    void cardThatTheServiceOverlooksIsFound();
    void cardThatCannotBeUsedIsNotTriedAgain();
    void cardHeldByOthersIsTriedAgain();
    void cardHeldForAMomentIsWaitedFor();
    void restIsQuiet();
    void restWithoutReadersIsQuiet();
    void listenerThatIsTakenAwayHearsNothing();
    void listenerIsNotLeftWhileItRuns();

    void hangingCardIsGivenUp();
    void hangingCardThatWakesUpIsThere();
    void hangingResetIsGivenUp();
    void resetOfAHangingCardFailsAtOnce();
    void interruptEndsATransmit();
    void interruptEndsTheWaitForOthers();
    void interruptedChannelStaysSo();
    void channelOverAHangingCardGoesAtOnce();
    void channelOverAFrozenServiceGoesSoon();
    void frozenServiceIsALoss();
    void serviceThatEndsFreesAHangingCard();
    void processEndsOverAHangingCard();

private:
    std::unique_ptr<sdk::CardChannel> open(const std::string &name = std::string());
    bool reset(sdk::CardChannel *channel);
    QStringList news() const;
    void listen(sdk::CardChannel *channel);

    int m_threads = 0; ///< before the first test: QtTest has one of its own
    std::shared_ptr<QMutex> m_mutex;
    std::shared_ptr<QStringList> m_news;
};

namespace
{

using std::chrono::milliseconds;
using News = sdk::CardChannel::News;

const char reader[] = "Reader A 00 00";
const cat::Bytes status = {0x80, 0xF2, 0x00, 0x0C, 0x00};

/// Tests give a card that hangs this long, and the service so long before it is tried again.
const sdk::PcscPatience patience{milliseconds(300), milliseconds(100)};
constexpr int atOnce = 250; // ms, less than the patience
constexpr int quiet = 400;  // ms in which nothing is to happen

/// How long `body` takes, in ms.
template <typename Body>
qint64 timeOf(Body body)
{
    QElapsedTimer clock;
    clock.start();
    body();
    return clock.elapsed();
}

QString textOf(News news)
{
    switch (news) {
    case News::Asks:
        return "asks";
    case News::Ended:
        return "ended";
    case News::Gone:
        return "gone";
    case News::There:
        return "there";
    }
    return "unknown";
}

QString hex(const cat::Bytes &bytes)
{
    return QString::fromStdString(cat::toHex(bytes));
}

pcscdouble::Card cardThat(std::function<cat::Bytes(const cat::Bytes &)> talks)
{
    pcscdouble::Card card;
    card.talk = std::move(talks);
    return card;
}

int threads()
{
    QFile file("/proc/self/status");
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith("Threads:"))
            return line.mid(8).trimmed().toInt();
    }
    return -1;
}

} // namespace

void tst_PcscChannel::initTestCase()
{
    m_threads = threads();
}

void tst_PcscChannel::init()
{
    pcscdouble::renew();
    m_mutex = std::make_shared<QMutex>();
    m_news = std::make_shared<QStringList>();
}

void tst_PcscChannel::cleanup()
{
    pcscdouble::setHanging(false);
    pcscdouble::setFrozen(false);
    QTRY_COMPARE(pcscdouble::waiting(), 0);
    QTRY_COMPARE(pcscdouble::cards(), 0);
    QTRY_COMPARE(pcscdouble::contexts(), 0);
    QTRY_COMPARE(threads(), m_threads);
    QStringList offences;
    for (const std::string &offence : pcscdouble::offences())
        offences << QString::fromStdString(offence);
    QCOMPARE(offences, QStringList());
}

std::unique_ptr<sdk::CardChannel> tst_PcscChannel::open(const std::string &name)
{
    std::string error;
    auto channel = sdk::openReader(name, patience, &error);
    if (!channel)
        qWarning("%s", error.c_str());
    else
        listen(channel.get());
    return channel;
}

void tst_PcscChannel::listen(sdk::CardChannel *channel)
{
    channel->setListener([mutex = m_mutex, list = m_news](News news) {
        const QMutexLocker lock(mutex.get());
        *list << textOf(news);
    });
}

bool tst_PcscChannel::reset(sdk::CardChannel *channel)
{
    std::string error;
    const bool isUp = channel->reset(&error);
    if (!isUp)
        qWarning("%s", error.c_str());
    return isUp;
}

QStringList tst_PcscChannel::news() const
{
    const QMutexLocker lock(m_mutex.get());
    return *m_news;
}

// ---------------------------------------------------------------- readers

void tst_PcscChannel::readersAreListed()
{
    pcscdouble::addReader("Reader A 00 00");
    pcscdouble::addReader("Reader B 01 00");
    std::string error = "untouched";
    QVERIFY(sdk::listReaders(&error) == std::vector<std::string>({"Reader A 00 00", "Reader B 01 00"}));
    QCOMPARE(error, std::string("untouched"));
}

void tst_PcscChannel::missingReadersAreTold()
{
    std::string error;
    QVERIFY(sdk::listReaders(&error).empty());
    QCOMPARE(error, std::string("there is no PC/SC reader: plug one in"));
    error.clear();
    QVERIFY(!sdk::openReader(std::string(), &error));
    QCOMPARE(error, std::string("there is no PC/SC reader: plug one in"));
}

void tst_PcscChannel::missingServiceIsToldWithWhatToDo()
{
    pcscdouble::endService();
    std::string error;
    QVERIFY(!sdk::openReader(std::string(), &error));
    QVERIFY2(error.find("install it (Debian package pcscd)") != std::string::npos, error.c_str());
    QVERIFY2(error.find("start it (sudo systemctl start pcscd.socket)") != std::string::npos, error.c_str());
    std::string listError;
    QVERIFY(sdk::listReaders(&listError).empty());
    QCOMPARE(listError, error);
}

void tst_PcscChannel::frozenServiceIsTold()
{
    pcscdouble::addReader(reader);
    pcscdouble::setFrozen(true);
    std::string error;
    QVERIFY(!sdk::openReader(std::string(), &error));
    QVERIFY2(error.find("does not answer") != std::string::npos, error.c_str());
}

void tst_PcscChannel::refusedUserIsTold()
{
    pcscdouble::failNext("SCardEstablishContext", SCARD_W_SECURITY_VIOLATION);
    std::string error;
    QVERIFY(!sdk::openReader(std::string(), &error));
    QVERIFY2(error.find("refuses this user") != std::string::npos, error.c_str());
}

void tst_PcscChannel::readerThatComesWhileListingIsTaken()
{
    pcscdouble::addReader(reader);
    pcscdouble::failNext("SCardListReaders", SCARD_E_INSUFFICIENT_BUFFER);
    QVERIFY(sdk::listReaders(nullptr) == std::vector<std::string>({reader}));
}

void tst_PcscChannel::choice_data()
{
    QTest::addColumn<QStringList>("readers");
    QTest::addColumn<QString>("wanted");
    QTest::addColumn<QString>("expected"); // name of the channel, or the error
    const QStringList one = {"Gem PC 00 00"};
    const QStringList two = {"Gem PC 00 00", "Card Man 01 00"};
    const QStringList alike = {"Gem PC 00 00", "Gem PC 00 00 Twin"};
    QTest::newRow("the only one") << one << ""
                                  << "reader 'Gem PC 00 00'";
    QTest::newRow("by a part") << two << "Man"
                               << "reader 'Card Man 01 00'";
    QTest::newRow("small letters") << two << "gem"
                                   << "reader 'Gem PC 00 00'";
    QTest::newRow("whole name before a part") << alike << "Gem PC 00 00"
                                              << "reader 'Gem PC 00 00'";
    QTest::newRow("no choice") << two << ""
                               << "there are several PC/SC readers; choose one by a part of its name (pcsc:NAME):\n"
                                  "    Gem PC 00 00\n    Card Man 01 00";
    QTest::newRow("ambiguous") << alike + two.mid(1) << "PC"
                               << "there are several PC/SC readers; choose one by a part of its name (pcsc:NAME):\n"
                                  "    Gem PC 00 00\n    Gem PC 00 00 Twin";
    QTest::newRow("no such") << two << "Omni"
                             << "no PC/SC reader has 'Omni' in its name; there are:\n"
                                "    Gem PC 00 00\n    Card Man 01 00";
}

void tst_PcscChannel::choice()
{
    QFETCH(QStringList, readers);
    QFETCH(QString, wanted);
    QFETCH(QString, expected);
    for (const QString &name : readers)
        pcscdouble::addReader(name.toStdString());
    std::string error;
    const auto channel = sdk::openReader(wanted.toStdString(), &error);
    QCOMPARE(QString::fromStdString(channel ? channel->name() : error), expected);
}

void tst_PcscChannel::errorNeedNotBeAsked()
{
    QVERIFY(!sdk::openReader(std::string(), nullptr));
    QVERIFY(sdk::listReaders(nullptr).empty());
    pcscdouble::addReader(reader);
    const auto channel = open();
    QVERIFY(!channel->reset(nullptr));
}

void tst_PcscChannel::addressOpensAReader()
{
    pcscdouble::addReader(reader);
    pcscdouble::addReader("Other 01 00");
    std::string error;
    const auto channel = sdk::openCard("pcsc:Reader A", &error);
    QVERIFY2(channel, error.c_str());
    QCOMPARE(channel->name(), std::string("reader 'Reader A 00 00'"));
    QVERIFY(!sdk::openCard("pcsc", &error));
    QVERIFY2(error.find("several") != std::string::npos, error.c_str());
    QVERIFY(!sdk::openCard("pcsc.yaml", &error));
    QVERIFY2(error.find("pcsc.yaml: there is no such file") != std::string::npos, error.c_str());
}

// ---------------------------------------------------------------- the card

void tst_PcscChannel::channelTellsWhatItIs()
{
    pcscdouble::addReader(reader);
    const auto channel = open();
    QVERIFY(channel);
    QVERIFY(channel->staysWithoutCard());
    QVERIFY(channel->pollInterval() == milliseconds(30000));
    QVERIFY(channel->hasNetwork());
    QVERIFY(!channel->isGivenUp());
    QCOMPARE(channel->operatorName(), std::string());
    QCOMPARE(int(channel->toolkitClass()), 0x80);
    QVERIFY(!channel->raise({0xD0, 0x00}));
}

void tst_PcscChannel::cardIsResetAndHeldAlone()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QCOMPARE(pcscdouble::cards(), 1);
    QVERIFY(pcscdouble::powers() == std::vector<DWORD>({SCARD_RESET_CARD}));
    cat::Bytes answer;
    QVERIFY(channel->transmit(status, &answer));
    QCOMPARE(hex(answer), QString("9000"));
    QCOMPARE(hex(pcscdouble::sent().back()), QString("80F2000C00"));
    const auto other = open();
    QVERIFY(!other->reset(nullptr));
}

void tst_PcscChannel::everyResetIsWarm()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QVERIFY(reset(channel.get()));
    QVERIFY(pcscdouble::powers() == std::vector<DWORD>({SCARD_RESET_CARD, SCARD_RESET_CARD}));
    QCOMPARE(pcscdouble::calls("SCardConnect"), 1);
}

void tst_PcscChannel::silentCardIsSwitchedOffAndOn()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    pcscdouble::failNext("SCardReconnect", SCARD_W_UNRESPONSIVE_CARD);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QVERIFY(pcscdouble::powers() == std::vector<DWORD>({SCARD_RESET_CARD, SCARD_UNPOWER_CARD}));
}

void tst_PcscChannel::classOfTheCard_data()
{
    QTest::addColumn<QString>("toUicc");
    QTest::addColumn<QString>("toSim");
    QTest::addColumn<int>("expected");
    QTest::addColumn<QStringList>("sent");
    const QStringList uicc = {"00A40004023F00"};
    const QStringList both = {"00A40004023F00", "A0A40000023F00"};
    QTest::newRow("UICC, T=1") << "9000"
                               << "6E00" << 0x80 << uicc;
    QTest::newRow("UICC, T=0") << "6120"
                               << "6E00" << 0x80 << uicc;
    QTest::newRow("UICC that wants a PIN") << "6982"
                                           << "6E00" << 0x80 << uicc;
    QTest::newRow("SIM") << "6E00"
                         << "9F17" << 0xA0 << both;
    QTest::newRow("SIM without data") << "6E00"
                                      << "9000" << 0xA0 << both;
    QTest::newRow("neither class") << "6E00"
                                   << "6E00" << 0x80 << both;
    QTest::newRow("no SELECT") << "6E00"
                               << "6D00" << 0x80 << both;
}

void tst_PcscChannel::classOfTheCard()
{
    QFETCH(QString, toUicc);
    QFETCH(QString, toSim);
    QFETCH(int, expected);
    const auto bytes = [](const QString &text) {
        const QByteArray raw = QByteArray::fromHex(text.toLatin1());
        return cat::Bytes(raw.begin(), raw.end());
    };
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader, cardThat([=](const cat::Bytes &apdu) { return bytes(apdu[0] ? toSim : toUicc); }));
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QCOMPARE(int(channel->toolkitClass()), expected);
    QStringList sent;
    for (const cat::Bytes &apdu : pcscdouble::sent())
        sent << hex(apdu);
    QTEST(sent, "sent");
}

/// After it has refused the class of a UICC.
void tst_PcscChannel::cardThatFallsSilentWhileItsClassIsSought()
{
    const auto talk = [](const cat::Bytes &apdu) { return apdu[0] ? cat::Bytes() : cat::Bytes{0x6E, 0x00}; };
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader, cardThat(talk));
    const auto channel = open();
    QVERIFY(!channel->reset(nullptr));
    QCOMPARE(hex(pcscdouble::sent().back()), QString("A0A40000023F00"));
    QCOMPARE(pcscdouble::cards(), 0);
    pcscdouble::insert(reader);
    QTRY_COMPARE(news().value(0), QString("there"));
    QTRY_VERIFY(channel->reset(nullptr));
}

void tst_PcscChannel::protocolIsTheCards_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<QString>("apdu");
    QTest::addColumn<QString>("sent");
    const int t0 = SCARD_PROTOCOL_T0, t1 = SCARD_PROTOCOL_T1;
    QTest::newRow("T=0, length expected") << t0 << "8012000010"
                                          << "8012000010";
    QTest::newRow("T=0, data") << t0 << "80C2000002D300"
                               << "80C2000002D300";
    QTest::newRow("T=0, data, length expected") << t0 << "80C2000002D30000"
                                                << "80C2000002D300";
    QTest::newRow("T=0, header") << t0 << "80F20000"
                                 << "80F20000";
    QTest::newRow("T=1, length expected") << t1 << "8012000010"
                                          << "8012000010";
    QTest::newRow("T=1, data, length expected") << t1 << "80C2000002D30000"
                                                << "80C2000002D30000";
}

void tst_PcscChannel::protocolIsTheCards()
{
    QFETCH(int, protocol);
    QFETCH(QString, apdu);
    pcscdouble::addReader(reader);
    pcscdouble::Card card;
    card.protocol = static_cast<DWORD>(protocol);
    pcscdouble::insert(reader, card);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    const QByteArray raw = QByteArray::fromHex(apdu.toLatin1());
    cat::Bytes answer;
    QVERIFY(channel->transmit(cat::Bytes(raw.begin(), raw.end()), &answer));
    QTEST(hex(pcscdouble::sent().back()), "sent");
    QCOMPARE(int(pcscdouble::sentBy().back()), protocol);
}

void tst_PcscChannel::longestAnswerPasses()
{
    cat::Bytes longest(258, 0x55);
    longest[256] = 0x90, longest[257] = 0x00;
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader, cardThat([=](const cat::Bytes &) { return longest; }));
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    cat::Bytes answer;
    QVERIFY(channel->transmit(status, &answer));
    QVERIFY(answer == longest);
}

void tst_PcscChannel::answerThatIsNoneIsALoss_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("nothing") << 0;
    QTest::newRow("half a status word") << 1;
    QTest::newRow("one more than fits") << 259;
    QTest::newRow("far more than fits") << 65538;
}

void tst_PcscChannel::answerThatIsNoneIsALoss()
{
    QFETCH(int, size);
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::claimSize(static_cast<DWORD>(size));
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    QTRY_COMPARE(news().value(0), QString("gone"));
}

void tst_PcscChannel::failedTransmitIsALoss()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::failNext("SCardTransmit", SCARD_E_NOT_TRANSACTED);
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    QVERIFY(!channel->transmit(status, &answer));
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
    QVERIFY(channel->transmit(status, &answer));
}

void tst_PcscChannel::cardIsLeftAsNew()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    auto channel = open();
    QVERIFY(reset(channel.get()));
    channel.reset();
    QCOMPARE(pcscdouble::calls("SCardDisconnect"), 1);
    QVERIFY(pcscdouble::powers().back() == SCARD_RESET_CARD);
}

void tst_PcscChannel::lostCardIsLeftAlone()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::failNext("SCardTransmit", SCARD_W_REMOVED_CARD);
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    channel.reset();
    QVERIFY(pcscdouble::powers().back() == SCARD_LEAVE_CARD);
}

void tst_PcscChannel::cardIsFreeForTheNextChannel()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    for (int round = 0; round < 3; ++round) {
        const auto channel = open();
        QVERIFY(reset(channel.get()));
        QCOMPARE(pcscdouble::cards(), 1);
    }
    QCOMPARE(pcscdouble::calls("SCardConnect"), 3);
}

// ---------------------------------------------------------------- news

void tst_PcscChannel::resetWithoutCardSaysSo()
{
    pcscdouble::addReader(reader);
    const auto channel = open();
    std::string error;
    QVERIFY(!channel->reset(&error));
    QCOMPARE(error, std::string("there is no card in it: put one in"));
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
}

void tst_PcscChannel::resetThatFailsSaysWhy_data()
{
    QTest::addColumn<QString>("function");
    QTest::addColumn<qlonglong>("code");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *function, LONG code, const char *expected) {
        QTest::newRow(name) << QString(function) << qlonglong(code) << QString(expected);
    };
    row("service gone", "SCardConnect", SCARD_E_NO_SERVICE, "the PC/SC service does not run");
    row("reader gone", "SCardConnect", SCARD_E_READER_UNAVAILABLE, "the reader is not there any more");
    row("no card, and no reader either", "SCardConnect", SCARD_E_NO_SMARTCARD, "there is no card in it");
    row("mute", "SCardConnect", SCARD_W_UNPOWERED_CARD, "the card does not answer to a reset");
    row("mute after a reset", "SCardReconnect", SCARD_W_UNRESPONSIVE_CARD, "the card does not answer to a reset");
    row("pulled meanwhile", "SCardTransmit", SCARD_W_REMOVED_CARD, "there is no card in it");
    row("no SIM", "SCardConnect", SCARD_E_PROTO_MISMATCH, "neither T=0 nor T=1");
    row("anything else", "SCardConnect", SCARD_F_INTERNAL_ERROR, "the PC/SC service says: something odd.");
}

void tst_PcscChannel::resetThatFailsSaysWhy()
{
    QFETCH(QString, function);
    QFETCH(qlonglong, code);
    QFETCH(QString, expected);
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    pcscdouble::failNext(function.toStdString(), static_cast<LONG>(code), 2);
    const auto channel = open();
    std::string error;
    QVERIFY(!channel->reset(&error));
    QVERIFY2(QString::fromStdString(error).contains(expected), error.c_str());
    QCOMPARE(pcscdouble::cards(), 0);
}

void tst_PcscChannel::cardThatComesIsNews()
{
    pcscdouble::addReader(reader);
    const auto channel = open();
    QVERIFY(!channel->reset(nullptr));
    pcscdouble::insert(reader);
    QTRY_COMPARE(news(), QStringList({"there"}));
    QVERIFY(reset(channel.get()));
}

void tst_PcscChannel::cardThatGoesIsNews()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::pull(reader);
    QTRY_COMPARE(news(), QStringList({"gone"}));
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    pcscdouble::insert(reader);
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
    QVERIFY(channel->transmit(status, &answer));
    QTest::qWait(quiet);
    QCOMPARE(news(), QStringList({"gone", "there"}));
}

void tst_PcscChannel::cardThatIsExchangedIsNews()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QTRY_COMPARE(pcscdouble::calls("SCardGetStatusChange"), 2); // the first look has been taken
    pcscdouble::insert(reader);
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
}

/// What has been told holds, although a new card would answer.
void tst_PcscChannel::goneCardFailsUntilTheReset()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QTRY_COMPARE(pcscdouble::calls("SCardGetStatusChange"), 2);
    pcscdouble::pull(reader);
    QTRY_COMPARE(news(), QStringList({"gone"}));
    pcscdouble::insert(reader);
    QTRY_COMPARE(news().size(), 2);
    const auto sent = pcscdouble::sent().size();
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    QCOMPARE(pcscdouble::sent().size(), sent);
}

void tst_PcscChannel::readerThatGoesAndComesIsNews()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::removeReader(reader);
    QTRY_COMPARE(news(), QStringList({"gone"}));
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
}

void tst_PcscChannel::readerThatComesBackUnderAnotherName()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open("reader");
    QVERIFY(reset(channel.get()));
    pcscdouble::removeReader(reader);
    QTRY_COMPARE(news(), QStringList({"gone"}));
    pcscdouble::addReader("Reader A 01 00");
    pcscdouble::insert("Reader A 01 00");
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QCOMPARE(channel->name(), std::string("reader 'Reader A 01 00'"));
    QVERIFY(reset(channel.get()));
}

/// The card in the other one is another, though it has come as often.
void tst_PcscChannel::readerThatGoesGivesWayToAnother()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open("reader");
    QVERIFY(reset(channel.get()));
    QTRY_COMPARE(pcscdouble::calls("SCardGetStatusChange"), 2);
    pcscdouble::addReader("Reader B 00 00");
    pcscdouble::insert("Reader B 00 00");
    QTest::qWait(quiet);
    QCOMPARE(news(), QStringList());
    pcscdouble::removeReader(reader);
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
    QCOMPARE(channel->name(), std::string("reader 'Reader B 00 00'"));
}

void tst_PcscChannel::failedListOfReadersIsReadAgain()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QTRY_COMPARE(pcscdouble::calls("SCardGetStatusChange"), 2);
    const int lists = pcscdouble::calls("SCardListReaders");
    pcscdouble::failNext("SCardListReaders", SCARD_E_NO_MEMORY, 3);
    pcscdouble::removeReader(reader);
    QTRY_COMPARE(news(), QStringList({"gone"}));
    QTRY_VERIFY(pcscdouble::calls("SCardListReaders") > lists + 3);
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
}

/// Reports at once, again and again, that the time of the wait is over.
void tst_PcscChannel::serviceThatReportsNothingIsNotPressed()
{
    pcscdouble::addReader(reader);
    pcscdouble::failNext("SCardGetStatusChange", SCARD_E_TIMEOUT, 1000000);
    QElapsedTimer clock;
    clock.start();
    const auto channel = open();
    QVERIFY(!channel->reset(nullptr));
    QTRY_VERIFY(pcscdouble::calls("SCardGetStatusChange") >= 5);
    const int reports = pcscdouble::calls("SCardGetStatusChange");
    QVERIFY2(reports <= 1 + clock.elapsed() / 25, qPrintable(QString::number(reports)));
    QCOMPARE(news(), QStringList());
    pcscdouble::failNext("SCardGetStatusChange", SCARD_S_SUCCESS, 0);
    pcscdouble::insert(reader);
    QTRY_COMPARE(news(), QStringList({"there"}));
}

void tst_PcscChannel::serviceThatEndsAndStartsIsNews()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    for (int round = 1; round <= 3; ++round) {
        pcscdouble::endService();
        QTRY_COMPARE(news().size(), 2 * round - 1);
        QCOMPARE(news().last(), QString("gone"));
        std::string error;
        QVERIFY(!channel->reset(&error));
        QVERIFY2(error.find("does not run") != std::string::npos, error.c_str());
        pcscdouble::startService();
        QTRY_COMPARE(news().size(), 2 * round);
        QCOMPARE(news().last(), QString("there"));
        QVERIFY(reset(channel.get()));
    }
    QVERIFY(pcscdouble::contexts() <= 2); // those of ended services have been given back
}

void tst_PcscChannel::lostCardIsTriedAgain()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QTRY_COMPARE(pcscdouble::calls("SCardGetStatusChange"), 2);
    pcscdouble::failNext("SCardTransmit", SCARD_F_COMM_ERROR);
    QElapsedTimer clock;
    clock.start();
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY2(clock.elapsed() >= patience.retry.count(), qPrintable(QString::number(clock.elapsed())));
    QVERIFY(reset(channel.get()));
}

void tst_PcscChannel::cardThatTheServiceOverlooksIsFound()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QTRY_COMPARE(pcscdouble::calls("SCardGetStatusChange"), 2);
    pcscdouble::overlook(reader);
    pcscdouble::failNext("SCardTransmit", SCARD_W_REMOVED_CARD);
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    pcscdouble::failNext("SCardReconnect", SCARD_W_REMOVED_CARD);
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
    QVERIFY(channel->transmit(status, &answer));
}

void tst_PcscChannel::cardThatCannotBeUsedIsNotTriedAgain()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QTRY_COMPARE(pcscdouble::calls("SCardGetStatusChange"), 2); // the first look has been taken
    pcscdouble::failNext("SCardConnect", SCARD_E_PROTO_MISMATCH);
    QVERIFY(!channel->reset(nullptr));
    QTest::qWait(quiet);
    QCOMPARE(news(), QStringList());
}

void tst_PcscChannel::cardHeldByOthersIsTriedAgain()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    pcscdouble::setHeldByOthers(true);
    const sdk::PcscPatience longer{milliseconds(10000), milliseconds(100)};
    const auto channel = sdk::openReader(std::string(), longer, nullptr);
    listen(channel.get());
    std::string error;
    QVERIFY(!channel->reset(&error));
    QCOMPARE(error, std::string("another program uses the card: end it"));
    QTRY_COMPARE(news(), QStringList({"there"}));
    pcscdouble::setHeldByOthers(false);
    QVERIFY(reset(channel.get()));
}

void tst_PcscChannel::cardHeldForAMomentIsWaitedFor()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    pcscdouble::failNext("SCardConnect", SCARD_E_SHARING_VIOLATION, 1);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QCOMPARE(pcscdouble::calls("SCardConnect"), 2);
}

void tst_PcscChannel::restIsQuiet()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    QTest::qWait(quiet);
    QCOMPARE(news(), QStringList());
    QCOMPARE(pcscdouble::calls("SCardGetStatusChange"), 2);
    QCOMPARE(pcscdouble::calls("SCardEstablishContext"), 3); // to list, to watch, to talk
}

/// The service tells when a reader comes; until then it is not asked again and again.
void tst_PcscChannel::restWithoutReadersIsQuiet()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::removeReader(reader);
    QTRY_COMPARE(news(), QStringList({"gone"}));
    const int contexts = pcscdouble::calls("SCardEstablishContext");
    QTest::qWait(quiet);
    QCOMPARE(pcscdouble::calls("SCardEstablishContext"), contexts);
}

void tst_PcscChannel::listenerThatIsTakenAwayHearsNothing()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    channel->setListener({});
    pcscdouble::pull(reader);
    QTest::qWait(quiet);
    QCOMPARE(news(), QStringList());
}

void tst_PcscChannel::listenerIsNotLeftWhileItRuns()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    const auto stage = std::make_shared<std::atomic<int>>(0);
    channel->setListener([stage](News) {
        *stage = 1;
        std::this_thread::sleep_for(milliseconds(200));
        *stage = 2;
    });
    pcscdouble::pull(reader);
    QTRY_VERIFY(*stage > 0);
    channel->setListener({});
    QCOMPARE(stage->load(), 2);
}

// ---------------------------------------------------------------- cards and services that do not answer

void tst_PcscChannel::hangingCardIsGivenUp()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::setHanging(true);
    cat::Bytes answer;
    const qint64 time = timeOf([&] { QVERIFY(!channel->transmit(status, &answer)); });
    QVERIFY2(time >= patience.answer.count() && time < 10 * patience.answer.count(), qPrintable(QString::number(time)));
    QTRY_COMPARE(news(), QStringList({"gone"}));
    QTest::qWait(quiet);
    QCOMPARE(news(), QStringList({"gone"}));
}

void tst_PcscChannel::hangingCardThatWakesUpIsThere()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    for (int round = 1; round <= 3; ++round) {
        pcscdouble::setHanging(true);
        cat::Bytes answer;
        QVERIFY(!channel->transmit(status, &answer));
        pcscdouble::setHanging(false);
        QTRY_COMPARE(news().size(), 2 * round);
        QCOMPARE(news().last(), QString("there"));
        QVERIFY(reset(channel.get()));
        QVERIFY(channel->transmit(status, &answer));
    }
}

void tst_PcscChannel::hangingResetIsGivenUp()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    pcscdouble::setHanging(true);
    const auto channel = open();
    std::string error;
    QVERIFY(!channel->reset(&error));
    QCOMPARE(error, std::string("the card does not answer: take it out and put it in again"));
    pcscdouble::pull(reader);
    pcscdouble::setHanging(false);
    pcscdouble::insert(reader);
    // Perhaps twice: the next try may fall due before the new card is seen.
    QTRY_COMPARE(news().value(0), QString("there"));
    QTRY_VERIFY(channel->reset(nullptr));
}

void tst_PcscChannel::resetOfAHangingCardFailsAtOnce()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::setHanging(true);
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    const qint64 time = timeOf([&] { QVERIFY(!channel->reset(nullptr)); });
    QVERIFY2(time < atOnce, qPrintable(QString::number(time)));
    pcscdouble::setHanging(false);
    QTRY_COMPARE(news().value(news().size() - 1), QString("there"));
    QVERIFY(reset(channel.get()));
}

void tst_PcscChannel::interruptEndsATransmit()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const sdk::PcscPatience endless{std::chrono::hours(1), milliseconds(100)};
    const auto channel = sdk::openReader(std::string(), endless, nullptr);
    QVERIFY(reset(channel.get()));
    pcscdouble::setHanging(true);
    const auto sent = pcscdouble::sent().size();
    std::thread other([&] {
        while (pcscdouble::sent().size() == sent)
            std::this_thread::yield();
        channel->interrupt();
    });
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    other.join();
}

/// Nobody is kept waiting in any case; what is left behind does not try on.
void tst_PcscChannel::interruptEndsTheWaitForOthers()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    pcscdouble::setHeldByOthers(true);
    const auto channel = open();
    std::thread other([&] {
        while (pcscdouble::calls("SCardConnect") == 0)
            std::this_thread::yield();
        channel->interrupt();
    });
    QVERIFY(!channel->reset(nullptr));
    other.join();
    const int tries = pcscdouble::calls("SCardConnect");
    QTest::qWait(quiet);
    QVERIFY(pcscdouble::calls("SCardConnect") <= tries + 1);
}

void tst_PcscChannel::interruptedChannelStaysSo()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    channel->interrupt();
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    QVERIFY(!channel->reset(nullptr));
}

void tst_PcscChannel::channelOverAHangingCardGoesAtOnce()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::setHanging(true);
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    const qint64 time = timeOf([&] {
        channel->interrupt();
        channel.reset();
    });
    QVERIFY2(time < atOnce, qPrintable(QString::number(time)));
    QCOMPARE(pcscdouble::cards(), 1); // what was left behind still waits
    pcscdouble::setHanging(false);
    QTRY_COMPARE(pcscdouble::cards(), 0);
    QTRY_COMPARE(pcscdouble::contexts(), 0);
}

void tst_PcscChannel::channelOverAFrozenServiceGoesSoon()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::setFrozen(true);
    const qint64 time = timeOf([&] { channel.reset(); });
    QVERIFY2(time < 4000, qPrintable(QString::number(time)));
}

void tst_PcscChannel::frozenServiceIsALoss()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::setFrozen(true);
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    QTRY_COMPARE(news(), QStringList({"gone"}));
    pcscdouble::setFrozen(false);
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
}

void tst_PcscChannel::serviceThatEndsFreesAHangingCard()
{
    pcscdouble::addReader(reader);
    pcscdouble::insert(reader);
    const auto channel = open();
    QVERIFY(reset(channel.get()));
    pcscdouble::setHanging(true);
    cat::Bytes answer;
    QVERIFY(!channel->transmit(status, &answer));
    pcscdouble::endService();
    pcscdouble::setHanging(false);
    pcscdouble::startService();
    QTRY_COMPARE(news(), QStringList({"gone", "there"}));
    QVERIFY(reset(channel.get()));
    QVERIFY(channel->transmit(status, &answer));
}

/// As when the user closes the program while the card hangs; the child does that.
void tst_PcscChannel::processEndsOverAHangingCard()
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.start(PCSC_EXIT_CHILD, QStringList());
    QVERIFY(child.waitForStarted());
    QVERIFY2(child.waitForFinished(20000), "the process did not end");
    QCOMPARE(child.exitStatus(), QProcess::NormalExit);
    QCOMPARE(child.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_PcscChannel)
#include "tst_PcscChannel.moc"
