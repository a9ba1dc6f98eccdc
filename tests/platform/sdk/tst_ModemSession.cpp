#include "sdk/ModemSession.h"

#include <QTest>

using sdk::ModemSession;

/// What a modem hands over and takes back: nothing is answered twice, and no answer is taken for another's.
class tst_ModemSession : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void commandIsAnnouncedFetchedAndAnswered();
    void wrongLengthIsTold();
    void nothingToFetch();
    void longestCommand();
    void commandOfNoLengthIsDropped_data();
    void commandOfNoLengthIsDropped();
    void repeatedCommandIsOne();
    void sameCommandIsAnotherOnceItIsAnswered();
    void nextCommandGivesUpTheOneThatIsOpen();
    void nextCommandGivesUpTheOneThatWaits();
    void menuIsNotLost();
    void onlyTheLastMenuIsKept();
    void endGivesUpTheOneThatIsOpen();
    void endGivesUpWhatWaits();
    void endMeansNothingToWhatIsAnswered();
    void answerToAnotherGoesNowhere_data();
    void answerToAnotherGoesNowhere();
    void nothingIsAnsweredTwice();
    void clearForgetsAll();

private:
    std::unique_ptr<ModemSession> m_session;
    std::string m_problem;
};

namespace
{

cat::Bytes command(cat::CommandType type, int number, const std::u16string &text = u"Text")
{
    cat::Command made;
    made.details = {static_cast<std::uint8_t>(number), type, 0};
    made.destination = cat::destinationOf(type);
    if (type == cat::CommandType::DisplayText)
        made.text = cat::Text{text};
    made.alphaId = u"Menu";
    made.items = {{1, u"One"}};
    return cat::encodeCommand(made);
}

const cat::Bytes text1 = command(cat::CommandType::DisplayText, 1);
const cat::Bytes text2 = command(cat::CommandType::DisplayText, 2);
const cat::Bytes menu1 = command(cat::CommandType::SetUpMenu, 1);
const cat::Bytes menu2 = command(cat::CommandType::SetUpMenu, 2);

cat::Bytes responseTo(const cat::Bytes &bytes)
{
    cat::Response response;
    response.details = cat::decodeCommand(bytes).command.details;
    return cat::encodeResponse(response);
}

std::uint8_t lengthOf(const cat::Bytes &bytes)
{
    return static_cast<std::uint8_t>(bytes.size());
}

cat::Bytes withDone(cat::Bytes bytes)
{
    bytes.insert(bytes.end(), {0x90, 0x00});
    return bytes;
}

cat::Bytes announcement(const cat::Bytes &bytes)
{
    return {0x91, lengthOf(bytes)};
}

const cat::Bytes rest = {0x90, 0x00};

} // namespace

#define FETCH(bytes) QCOMPARE(m_session->fetch(lengthOf(bytes)), withDone(bytes))

void tst_ModemSession::init()
{
    m_session = std::make_unique<ModemSession>();
    m_problem = "untouched";
}

void tst_ModemSession::commandIsAnnouncedFetchedAndAnswered()
{
    QCOMPARE(m_session->status(), rest);
    QVERIFY(!m_session->isWaiting());
    const ModemSession::Change change = m_session->handOver(text1, &m_problem);
    QVERIFY(change.isNew && !change.hasEnded);
    QCOMPARE(m_problem, std::string());
    QVERIFY(m_session->isWaiting());
    QCOMPARE(m_session->status(), announcement(text1));
    FETCH(text1);
    QCOMPARE(m_session->status(), rest);
    QVERIFY(m_session->respond(responseTo(text1)));
    m_session->finish();
    QCOMPARE(m_session->status(), rest);
}

void tst_ModemSession::wrongLengthIsTold()
{
    m_session->handOver(text1, &m_problem);
    const cat::Bytes right = {0x6C, lengthOf(text1)};
    QCOMPARE(m_session->fetch(static_cast<std::uint8_t>(lengthOf(text1) + 1)), right);
    QCOMPARE(m_session->fetch(0), right);
    FETCH(text1);
}

void tst_ModemSession::nothingToFetch()
{
    const cat::Bytes conditions = {0x69, 0x85};
    QCOMPARE(m_session->fetch(0), conditions);
    m_session->handOver(text1, &m_problem);
    FETCH(text1);
    QCOMPARE(m_session->fetch(lengthOf(text1)), conditions);
}

void tst_ModemSession::longestCommand()
{
    const cat::Bytes longest(256, 0xD0);
    QVERIFY(m_session->handOver(longest, &m_problem).isNew);
    QCOMPARE(m_session->status(), cat::Bytes({0x91, 0x00}));
    FETCH(longest);
}

void tst_ModemSession::commandOfNoLengthIsDropped_data()
{
    QTest::addColumn<int>("length");
    QTest::newRow("nothing") << 0;
    QTest::newRow("one byte more than 91xx can say") << 257;
    QTest::newRow("more than any") << 2000;
}

void tst_ModemSession::commandOfNoLengthIsDropped()
{
    QFETCH(int, length);
    m_session->handOver(text1, &m_problem);
    FETCH(text1);
    const ModemSession::Change change = m_session->handOver(cat::Bytes(size_t(length), 0xD0), &m_problem);
    QVERIFY(!change.isNew && !change.hasEnded);
    QVERIFY2(m_problem.find(std::to_string(length) + " bytes") != std::string::npos, m_problem.c_str());
    QCOMPARE(m_session->status(), rest);
    QVERIFY(m_session->respond(responseTo(text1)));
}

void tst_ModemSession::repeatedCommandIsOne()
{
    QVERIFY(m_session->handOver(menu1, &m_problem).isNew);
    QVERIFY(!m_session->handOver(menu1, &m_problem).isNew); // it waits
    FETCH(menu1);
    const ModemSession::Change change = m_session->handOver(menu1, &m_problem); // it is open
    QVERIFY(!change.isNew && !change.hasEnded);
    QVERIFY(m_session->respond(responseTo(menu1)));
    QVERIFY(!m_session->handOver(menu1, &m_problem).isNew); // its answer is on the way
    m_session->finish();
    QCOMPARE(m_session->status(), rest);
}

void tst_ModemSession::sameCommandIsAnotherOnceItIsAnswered()
{
    m_session->handOver(menu1, &m_problem);
    FETCH(menu1);
    QVERIFY(m_session->respond(responseTo(menu1)));
    m_session->finish();
    QVERIFY(m_session->handOver(menu1, &m_problem).isNew);
    FETCH(menu1);
    QVERIFY(m_session->respond(responseTo(menu1)));
}

void tst_ModemSession::nextCommandGivesUpTheOneThatIsOpen()
{
    m_session->handOver(text1, &m_problem);
    FETCH(text1);
    const ModemSession::Change change = m_session->handOver(text2, &m_problem);
    QVERIFY(change.isNew && change.hasEnded);
    QVERIFY(!m_session->respond(responseTo(text1)));
    QCOMPARE(m_session->status(), announcement(text2));
    FETCH(text2);
    QVERIFY(!m_session->respond(responseTo(text1)));
    QVERIFY(m_session->respond(responseTo(text2)));
}

void tst_ModemSession::nextCommandGivesUpTheOneThatWaits()
{
    m_session->handOver(text1, &m_problem);
    const ModemSession::Change change = m_session->handOver(text2, &m_problem);
    QVERIFY(change.isNew && !change.hasEnded);
    QVERIFY2(m_problem.find("1 command was given up") != std::string::npos, m_problem.c_str());
    FETCH(text2);
    QCOMPARE(m_session->status(), rest);
}

void tst_ModemSession::menuIsNotLost()
{
    m_session->handOver(menu1, &m_problem);
    QVERIFY(m_session->handOver(text2, &m_problem).isNew);
    QCOMPARE(m_problem, std::string());
    FETCH(menu1);
    QVERIFY(!m_session->respond(responseTo(menu1))); // the modem would take it for the text's
    QCOMPARE(m_session->status(), announcement(text2));
    FETCH(text2);
    QVERIFY(m_session->respond(responseTo(text2)));
}

void tst_ModemSession::onlyTheLastMenuIsKept()
{
    for (int i = 0; i < 100; ++i) {
        m_session->handOver(menu1, &m_problem);
        m_session->handOver(menu2, &m_problem);
    }
    FETCH(menu1);
    FETCH(menu2);
    QCOMPARE(m_session->status(), rest);
}

void tst_ModemSession::endGivesUpTheOneThatIsOpen()
{
    m_session->handOver(text1, &m_problem);
    FETCH(text1);
    QVERIFY(m_session->end(&m_problem).hasEnded);
    QVERIFY(!m_session->end(&m_problem).hasEnded); // told once
    // The same again is another, whether the user has answered by then or not.
    QVERIFY(m_session->handOver(text1, &m_problem).isNew);
    QVERIFY(!m_session->respond(responseTo(text1)));
    FETCH(text1);
    m_session->end(&m_problem);
    QVERIFY(!m_session->respond(responseTo(text1)));
    QVERIFY(m_session->handOver(text1, &m_problem).isNew);
    FETCH(text1);
    QVERIFY(m_session->respond(responseTo(text1)));
}

void tst_ModemSession::endGivesUpWhatWaits()
{
    m_session->handOver(menu1, &m_problem);
    QVERIFY(!m_session->end(&m_problem).hasEnded);
    QCOMPARE(m_session->status(), announcement(menu1));
    m_session->handOver(text1, &m_problem);
    m_session->end(&m_problem);
    QVERIFY(!m_problem.empty());
    QCOMPARE(m_session->status(), rest);
}

void tst_ModemSession::endMeansNothingToWhatIsAnswered()
{
    m_session->handOver(text1, &m_problem);
    FETCH(text1);
    QVERIFY(m_session->respond(responseTo(text1)));
    QVERIFY(!m_session->end(&m_problem).hasEnded);
    QCOMPARE(m_problem, std::string());
}

void tst_ModemSession::answerToAnotherGoesNowhere_data()
{
    QTest::addColumn<QByteArray>("response");
    const auto row = [](const char *name, const cat::Bytes &bytes) {
        QTest::newRow(name) << QByteArray(reinterpret_cast<const char *>(bytes.data()), int(bytes.size()));
    };
    row("another number", responseTo(text2));
    row("another type", responseTo(menu1));
    row("nothing", {});
    row("no response", {0x81, 0x03, 0x01});
}

void tst_ModemSession::answerToAnotherGoesNowhere()
{
    QFETCH(QByteArray, response);
    const cat::Bytes bytes(response.begin(), response.end());
    QVERIFY(!m_session->respond(bytes));
    m_session->handOver(text1, &m_problem);
    FETCH(text1);
    QVERIFY(!m_session->respond(bytes));
    QVERIFY(m_session->respond(responseTo(text1)));
}

void tst_ModemSession::nothingIsAnsweredTwice()
{
    m_session->handOver(text1, &m_problem);
    QVERIFY(!m_session->respond(responseTo(text1))); // before it was fetched
    FETCH(text1);
    QVERIFY(m_session->respond(responseTo(text1)));
    QVERIFY(!m_session->respond(responseTo(text1)));
    m_session->finish();
    QVERIFY(!m_session->respond(responseTo(text1)));
}

void tst_ModemSession::clearForgetsAll()
{
    m_session->handOver(text1, &m_problem);
    FETCH(text1);
    m_session->handOver(text2, &m_problem);
    m_session->clear();
    QVERIFY(!m_session->isWaiting());
    QVERIFY(!m_session->respond(responseTo(text1)));
    QVERIFY(!m_session->handOver(text2, &m_problem).hasEnded);
}

QTEST_GUILESS_MAIN(tst_ModemSession)
#include "tst_ModemSession.moc"
