#include "support/CardInReader.h"

#include "platform/cat/Hex.h"
#include "platform/stkcard/VpcdReader.h"

#include <QtTest>

#include <atomic>

/// The card that tests put into a reader, with the reader's double.
class tst_CardInReader : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void isOutAtFirst();
    void answersInTheReader();
    void pulledCardIsGoneAndForgets();
    void pulledCardCanBePutInAgain();
    void hangingCardAnswersWhenItHangsNoMore();
    void hangingCardCanBePulled();

private:
    QByteArray transmit(const cat::Bytes &apdu);

    std::unique_ptr<VpcdReader> m_reader;
    std::unique_ptr<CardInReader> m_card;
    std::atomic<int> m_resets{0};
    std::atomic<int> m_commands{0};
};

namespace
{

const cat::Bytes STATUS = {0x80, 0xF2, 0x00, 0x00};

} // namespace

void tst_CardInReader::init()
{
    m_resets = m_commands = 0;
    m_reader = std::make_unique<VpcdReader>();
    const stkcard::Chip chip{[this] { ++m_resets; },
                             [this](const cat::Bytes &) {
                                 ++m_commands;
                                 return card::CardAnswer{{0x90, 0x00}};
                             }};
    m_card = std::make_unique<CardInReader>(
        chip, stkcard::VpcdCard::Reader{"127.0.0.1", std::to_string(m_reader->port()), std::chrono::milliseconds(10)});
}

void tst_CardInReader::cleanup()
{
    m_card.reset();
    m_reader.reset();
}

QByteArray tst_CardInReader::transmit(const cat::Bytes &apdu)
{
    return hexOf(m_reader->transmit(apdu).value_or(cat::Bytes()));
}

void tst_CardInReader::isOutAtFirst()
{
    m_card->pull();
    QCOMPARE(m_resets.load(), 0);
}

void tst_CardInReader::answersInTheReader()
{
    m_card->insert();
    m_card->insert(); // once is enough
    QVERIFY(m_reader->waitForCard());
    m_reader->control(VpcdReader::AnswerToReset);
    QCOMPARE(hexOf(m_reader->receive().value_or(cat::Bytes())), hexOf(stkcard::answerToReset(stkcard::Protocol::T0)));
    QCOMPARE(transmit(STATUS), QByteArray("9000"));
}

void tst_CardInReader::pulledCardIsGoneAndForgets()
{
    m_card->insert();
    QVERIFY(m_reader->waitForCard());
    QCOMPARE(transmit(STATUS), QByteArray("9000")); // before that there is nothing to forget
    m_card->pull();
    QVERIFY(m_reader->waitForCardGone());
    QCOMPARE(m_resets.load(), 1);
}

void tst_CardInReader::pulledCardCanBePutInAgain()
{
    for (int i = 0; i < 3; ++i) {
        m_card->insert();
        QVERIFY(m_reader->waitForCard());
        QCOMPARE(transmit(STATUS), QByteArray("9000"));
        m_card->pull();
        QVERIFY(m_reader->waitForCardGone());
    }
}

void tst_CardInReader::hangingCardAnswersWhenItHangsNoMore()
{
    m_card->insert();
    QVERIFY(m_reader->waitForCard());
    m_card->setHanging(true);
    m_reader->send(STATUS);
    QTRY_COMPARE(m_commands.load(), 1);
    m_reader->control(VpcdReader::Reset);
    QTest::qWait(50); // it would have come by then
    QCOMPARE(m_resets.load(), 0);
    m_card->setHanging(false);
    QCOMPARE(hexOf(m_reader->receive().value_or(cat::Bytes())), QByteArray("9000"));
    QTRY_COMPARE(m_resets.load(), 1);
}

void tst_CardInReader::hangingCardCanBePulled()
{
    m_card->insert();
    QVERIFY(m_reader->waitForCard());
    m_card->setHanging(true);
    m_reader->send(STATUS);
    QTRY_COMPARE(m_commands.load(), 1);
    m_card->pull();
    QVERIFY(!m_reader->receive());
    m_card->insert(); // and hangs still
    QVERIFY(m_reader->waitForCard());
    m_reader->send(STATUS);
    QTRY_COMPARE(m_commands.load(), 2);
}

QTEST_GUILESS_MAIN(tst_CardInReader)
#include "tst_CardInReader.moc"
