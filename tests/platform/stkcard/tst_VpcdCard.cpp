#include "stkcard/VpcdCard.h"

#include "platform/cat/Hex.h"
#include "platform/stkcard/VpcdReader.h"

#include <QtTest>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>

using stkcard::VpcdCard;
using News = stkcard::VpcdCard::News;
using namespace std::chrono_literals;

class tst_VpcdCard : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void answerToResetOffersTheProtocols_data();
    void answerToResetOffersTheProtocols();
    void givesItsAnswerToReset();
    void answersCommands();
    void powerAndResetReachTheChip_data();
    void powerAndResetReachTheChip();
    void unknownControlAsksForNothing();
    void messagesMayComeInPieces();
    void longestMessagesPass();
    void dumbChipLeavesTheReaderWaiting();
    void thinkingTimeIsWaitedOut();
    void readerThatGoesEndsTheThinking();
    void waitsForAReader();
    void comesBackWithTheReader();
    void isInterruptedAnyTime_data();
    void isInterruptedAnyTime();
    void unknownHostIsTold();
    void noMessageWaitsForALateAcknowledgement();

private:
    void serve(stkcard::Chip chip);
    void serve();
    void end();
    std::vector<News> news() const;
    int countOf(News one) const;

    std::unique_ptr<VpcdReader> m_reader;
    std::unique_ptr<VpcdCard> m_card;
    std::thread m_thread;
    std::atomic<bool> m_isServed{false};
    std::string m_error;
    mutable std::mutex m_mutex;
    std::vector<News> m_news;
    std::vector<cat::Bytes> m_apdus;
    std::atomic<int> m_resets{0};
    std::chrono::milliseconds m_delay{0};
    VpcdCard::Reader m_place;
};

void tst_VpcdCard::init()
{
    m_reader = std::make_unique<VpcdReader>();
    m_place = VpcdCard::Reader{"127.0.0.1", std::to_string(m_reader->port()), 10ms};
    m_isServed = false;
    m_resets = 0;
    m_delay = 0ms;
    m_news.clear();
    m_apdus.clear();
    m_error.clear();
}

void tst_VpcdCard::cleanup()
{
    end();
    m_reader.reset();
}

/// The card serves on a thread of its own until end().
void tst_VpcdCard::serve(stkcard::Chip chip)
{
    VpcdCard::Listener listener;
    listener.news = [this](News one) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_news.push_back(one);
    };
    listener.apdu = [this](const cat::Bytes &apdu, const cat::Bytes &answer) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_apdus.push_back(apdu);
        m_apdus.push_back(answer);
    };
    m_card = std::make_unique<VpcdCard>(std::move(chip), cat::Bytes{0x3B, 0x00}, listener);
    m_thread = std::thread([this] { m_isServed = m_card->serve(m_place, &m_error); });
}

/// The chip sends every command back, with 9000 behind it.
void tst_VpcdCard::serve()
{
    serve({[this] { ++m_resets; },
           [this](const cat::Bytes &apdu) {
               cat::Bytes bytes = apdu;
               bytes.resize(std::min<std::size_t>(bytes.size(), 0xFFFD));
               bytes.insert(bytes.end(), {0x90, 0x00});
               return card::CardAnswer{bytes, m_delay};
           }});
}

void tst_VpcdCard::end()
{
    if (!m_thread.joinable())
        return;
    m_card->interrupt();
    m_thread.join();
    m_card.reset();
}

std::vector<News> tst_VpcdCard::news() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_news;
}

int tst_VpcdCard::countOf(News one) const
{
    const std::vector<News> all = news();
    return static_cast<int>(std::count(all.begin(), all.end(), one));
}

void tst_VpcdCard::answerToResetOffersTheProtocols_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<QByteArray>("expected");

    QTest::newRow("T=0") << int(stkcard::Protocol::T0)
                         << QByteArray("3B07"
                                       "80310073042100");
    QTest::newRow("T=1") << int(stkcard::Protocol::T1)
                         << QByteArray("3B87"
                                       "8131FE45"
                                       "80310073042100"
                                       "6B");
    QTest::newRow("both") << int(stkcard::Protocol::Both)
                          << QByteArray("3B87"
                                        "8031FE45"
                                        "80310073042100"
                                        "6A");
}

void tst_VpcdCard::answerToResetOffersTheProtocols()
{
    QFETCH(int, protocol);
    QFETCH(QByteArray, expected);
    const cat::Bytes bytes = stkcard::answerToReset(static_cast<stkcard::Protocol>(protocol));
    QCOMPARE(hexOf(bytes), expected);
    std::uint8_t sum = 0;
    for (std::size_t i = 1; i < bytes.size(); ++i)
        sum = static_cast<std::uint8_t>(sum ^ bytes[i]);
    const bool hasCheckByte = static_cast<stkcard::Protocol>(protocol) != stkcard::Protocol::T0;
    QCOMPARE(hasCheckByte, sum == 0);
}

void tst_VpcdCard::givesItsAnswerToReset()
{
    serve();
    QVERIFY(m_reader->waitForCard());
    m_reader->control(VpcdReader::AnswerToReset);
    const auto answer = m_reader->receive();
    QVERIFY(answer);
    QCOMPARE(hexOf(*answer), QByteArray("3B00"));
    QCOMPARE(m_resets.load(), 0);
}

void tst_VpcdCard::answersCommands()
{
    card::VirtualCard card((card::Profile()));
    serve({[&card] { card.reset(); }, [&card](const cat::Bytes &apdu) { return card.transmit(apdu); }});
    QVERIFY(m_reader->waitForCard());
    m_reader->control(VpcdReader::PowerOn);
    QCOMPARE(hexOf(m_reader->transmit(bytesOf("00A4000C023F00")).value_or(cat::Bytes())), QByteArray("9000"));
    QCOMPARE(hexOf(m_reader->transmit(bytesOf("0099000000")).value_or(cat::Bytes())), QByteArray("6D00"));
    QCOMPARE(hexOf(m_reader->transmit(bytesOf("8010000002FFFF")).value_or(cat::Bytes())), QByteArray("9000"));
    m_reader->eject();
    end(); // before the card of this function goes
    QCOMPARE(m_apdus.size(), std::size_t(6));
    QCOMPARE(hexOf(m_apdus[2]), QByteArray("0099000000"));
    QCOMPARE(hexOf(m_apdus[3]), QByteArray("6D00"));
}

void tst_VpcdCard::powerAndResetReachTheChip_data()
{
    QTest::addColumn<int>("control");
    QTest::addColumn<int>("expected");

    QTest::newRow("power off") << int(VpcdReader::PowerOff) << int(News::PowerOff);
    QTest::newRow("power on") << int(VpcdReader::PowerOn) << int(News::PowerOn);
    QTest::newRow("reset") << int(VpcdReader::Reset) << int(News::Reset);
}

void tst_VpcdCard::powerAndResetReachTheChip()
{
    QFETCH(int, control);
    QFETCH(int, expected);
    serve();
    QVERIFY(m_reader->waitForCard());
    m_reader->control(static_cast<VpcdReader::Control>(control));
    QVERIFY(m_reader->transmit({0x80, 0xF2, 0x00, 0x00}));
    QCOMPARE(m_resets.load(), 1);
    QCOMPARE(countOf(static_cast<News>(expected)), 1);
    QCOMPARE(news().size(), std::size_t(2)); // inserted before
}

void tst_VpcdCard::unknownControlAsksForNothing()
{
    serve();
    QVERIFY(m_reader->waitForCard());
    m_reader->send({0x03});
    m_reader->send({0xFF});
    const auto answer = m_reader->transmit({0x80, 0xF2, 0x00, 0x00});
    QVERIFY(answer);
    QCOMPARE(hexOf(*answer), QByteArray("80F200009000"));
    QCOMPARE(m_resets.load(), 0);
}

void tst_VpcdCard::messagesMayComeInPieces()
{
    serve();
    QVERIFY(m_reader->waitForCard());
    for (const std::uint8_t byte : cat::Bytes{0x00, 0x04, 0x80, 0xF2, 0x00, 0x00, 0x00, 0x01, 0x04})
        m_reader->sendRaw({byte});
    QCOMPARE(hexOf(m_reader->receive().value_or(cat::Bytes())), QByteArray("80F200009000"));
    QCOMPARE(hexOf(m_reader->receive().value_or(cat::Bytes())), QByteArray("3B00"));
}

void tst_VpcdCard::longestMessagesPass()
{
    serve();
    QVERIFY(m_reader->waitForCard());
    const auto answer = m_reader->transmit(cat::Bytes(0xFFFF, 0x55));
    QVERIFY(answer);
    QCOMPARE(answer->size(), std::size_t(0xFFFF));
    QCOMPARE(int(answer->at(0xFFFC)), 0x55);
    QCOMPARE(int(answer->at(0xFFFD)), 0x90);
    QCOMPARE(hexOf(m_reader->transmit({}).value_or(cat::Bytes())), QByteArray("9000"));
}

void tst_VpcdCard::dumbChipLeavesTheReaderWaiting()
{
    serve({[] {}, [](const cat::Bytes &) { return card::CardAnswer(); }});
    QVERIFY(m_reader->waitForCard());
    m_reader->send({0x80, 0xF2, 0x00, 0x00});
    m_reader->control(VpcdReader::AnswerToReset);
    QCOMPARE(hexOf(m_reader->receive().value_or(cat::Bytes())), QByteArray("3B00"));
}

void tst_VpcdCard::thinkingTimeIsWaitedOut()
{
    m_delay = 250ms;
    serve();
    QVERIFY(m_reader->waitForCard());
    const auto before = std::chrono::steady_clock::now();
    QVERIFY(m_reader->transmit({0x80, 0xF2, 0x00, 0x00}));
    QVERIFY(std::chrono::steady_clock::now() - before >= 250ms);
}

void tst_VpcdCard::readerThatGoesEndsTheThinking()
{
    m_delay = 10min;
    serve();
    QVERIFY(m_reader->waitForCard());
    m_reader->send({0x80, 0xF2, 0x00, 0x00});
    QVERIFY(m_reader->waitForCard()); // lets the old connection go
    QTRY_COMPARE(countOf(News::Inserted), 2);
    QCOMPARE(countOf(News::ReaderGone), 1);
    end();
    QVERIFY(m_apdus.empty());
}

void tst_VpcdCard::waitsForAReader()
{
    m_reader->stop();
    serve();
    QTRY_COMPARE(countOf(News::NoReader), 1);
    m_reader->start();
    QVERIFY(m_reader->waitForCard());
    QTRY_COMPARE(countOf(News::Inserted), 1);
    QCOMPARE(countOf(News::NoReader), 1); // told once, however often it was tried
}

void tst_VpcdCard::comesBackWithTheReader()
{
    serve();
    QVERIFY(m_reader->waitForCard());
    m_reader->stop();
    m_reader->eject();
    QTRY_COMPARE(countOf(News::ReaderGone), 1);
    QTRY_COMPARE(countOf(News::NoReader), 1);
    QCOMPARE(m_resets.load(), 1); // out of the reader there is no power
    m_reader->start();
    QVERIFY(m_reader->waitForCard());
    QVERIFY(m_reader->transmit({0x80, 0xF2, 0x00, 0x00}));
    QCOMPARE(countOf(News::Inserted), 2);
}

void tst_VpcdCard::isInterruptedAnyTime_data()
{
    QTest::addColumn<bool>("hasReader");
    QTest::addColumn<bool>("isThinking");

    QTest::newRow("with no reader") << false << false;
    QTest::newRow("at rest") << true << false;
    QTest::newRow("thinking") << true << true;
}

void tst_VpcdCard::isInterruptedAnyTime()
{
    QFETCH(bool, hasReader);
    QFETCH(bool, isThinking);
    m_delay = 10min;
    if (!hasReader)
        m_reader->stop();
    serve();
    if (hasReader)
        QVERIFY(m_reader->waitForCard());
    else
        QTRY_COMPARE(countOf(News::NoReader), 1);
    if (isThinking)
        m_reader->send({0x80, 0xF2, 0x00, 0x00});
    m_card->interrupt();
    if (hasReader)
        QVERIFY(m_reader->waitForCardGone());
    m_thread.join();
    QVERIFY(m_isServed);
    QVERIFY(m_error.empty());
    QCOMPARE(countOf(News::ReaderGone), 0);
    QVERIFY(m_card->serve(m_place, &m_error)); // and stays so
}

void tst_VpcdCard::unknownHostIsTold()
{
    m_place.host = std::string(300, 'a'); // longer than any name may be: nobody is asked for it
    serve();
    m_thread.join();
    QVERIFY(!m_isServed);
    QVERIFY2(QString::fromStdString(m_error).contains("cannot be found"), m_error.c_str());
    QVERIFY(news().empty());
}

/// The reader sends length and message one by one, the second when the first has been acknowledged.
void tst_VpcdCard::noMessageWaitsForALateAcknowledgement()
{
    serve();
    QVERIFY(m_reader->waitForCard());
    std::vector<double> times;
    for (int i = 0; i < 41; ++i) {
        const auto before = std::chrono::steady_clock::now();
        QVERIFY(m_reader->transmit({0x80, 0xF2, 0x00, 0x00}));
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count());
    }
    std::sort(times.begin(), times.end());
    QVERIFY2(times[times.size() / 2] < 30, qPrintable(QString::number(times[times.size() / 2])));
}

QTEST_GUILESS_MAIN(tst_VpcdCard)
#include "tst_VpcdCard.moc"
