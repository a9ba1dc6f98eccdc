#include "card/MenuCommand.h"
#include "card/VirtualCard.h"
#include "platform/cat/Hex.h"

#include <QtTest>

using cat::CommandType;
using cat::Result;

namespace
{

const QByteArray done = "9000";
const QByteArray rawCommand = "D009810309210082028102";

card::Step rawStep(const cat::Bytes &bytes)
{
    card::Step step;
    step.raw = bytes;
    return step;
}

card::Entry entry(std::uint8_t id, const char16_t *text, std::shared_ptr<const card::Menu> menu = nullptr)
{
    card::Entry result;
    result.id = id;
    result.text = text;
    if (menu) {
        result.steps.emplace_back();
        result.steps.back().menu = std::move(menu);
    }
    return result;
}

/// Main: 1 Account -> (1 Balance, 2 Top up -> (5 Five, 6 Message: a raw command)), 2 Slow, 3 End, 4 Message, 5 Slow
/// menu.
card::Profile profile()
{
    auto topUp = std::make_shared<card::Menu>();
    topUp->title = u"Top up";
    topUp->entries = {entry(5, u"Five"), entry(6, u"Message")};
    topUp->entries[1].steps = {rawStep(bytesOf(rawCommand))};
    auto account = std::make_shared<card::Menu>();
    account->title = u"Account";
    account->helpAvailable = true;
    account->defaultItem = std::uint8_t{2};
    account->entries = {entry(1, u"Balance"), entry(2, u"Top up", topUp)};
    card::Profile result;
    result.mainMenu.title = u"Main";
    result.mainMenu.entries = {entry(1, u"Account", account), entry(2, u"Slow"), entry(3, u"End"), entry(4, u"Message"),
                               entry(5, u"Slow menu", account)};
    result.mainMenu.entries[1].delay = std::chrono::seconds(30);
    result.mainMenu.entries[3].steps = {rawStep(bytesOf(rawCommand))};
    result.mainMenu.entries[4].delay = std::chrono::milliseconds(700);
    return result;
}

QByteArray byteHex(std::size_t value)
{
    return QByteArray::number(static_cast<int>(value & 0xFF), 16).rightJustified(2, '0').toUpper();
}

} // namespace

class tst_VirtualCard : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void saysNothingBeforeTheTerminalProfile();
    void proposesTheMainMenu();
    void answersToTheGsmClass();
    void selectsItsMasterFile();
    void selectsTheMasterFileOfASim();
    void masterFileWaitsForOneCommandOnly();
    void selectTellsACommandThatWaits();
    void cardWithoutMenuStaysSilent();
    void longestMenuIsAnnouncedAsZero();
    void fetchWantsTheRightLength();
    void fetchesOnlyOnce();
    void opensASubMenu();
    void goesThreeLevelsDown();
    void goesBackLevelByLevel();
    void endsTheSession_data();
    void endsTheSession();
    void plainItemEndsTheSession();
    void choiceOfAnItemThatIsNotThereStaysOpen();
    void rawCommandIsSentAsItStands();
    void rawCommandEndsWithAnyResult_data();
    void rawCommandEndsWithAnyResult();
    void rawCommandGoesBackToItsMenu();
    void slowEntryDelaysItsAnswer();
    void helpIsAnsweredWithoutASession();
    void responseMustFitTheCommand_data();
    void responseMustFitTheCommand();
    void responseWithoutACommandIsRefused();
    void envelopeWhileBusy();
    void envelopeIsChecked_data();
    void envelopeIsChecked();
    void statusAnnouncesWhatWaits();
    void terminalProfileStartsAgain();
    void resetForgetsEverything();
    void numbersCountUpAndBeginAgain();
    void commandThatDoesNotFitIsAFault();
    void raisedCommandIsAnnouncedByStatus();
    void raisedCommandFollowsTheSession();
    void resetForgetsWhatWasRaised();
    void whatFetchCannotBringIsNotRaised();
    void refusesMalformedCommands_data();
    void refusesMalformedCommands();
    void survivesAnyBytes();
    void knowsWhetherThereIsANetwork();

private:
    QByteArray send(const QByteArray &apdu);
    QByteArray respond(Result result, int itemId = 0);
    QByteArray select(int itemId);
    cat::Command fetch(const QByteArray &announcement);
    void start();

    std::unique_ptr<card::VirtualCard> m_card;
    cat::Command m_command; ///< the last one fetched
    std::chrono::milliseconds m_delay{0};
};

void tst_VirtualCard::init()
{
    m_card = std::make_unique<card::VirtualCard>(profile());
    m_command = cat::Command();
}

void tst_VirtualCard::cleanup()
{
    m_card.reset();
}

QByteArray tst_VirtualCard::send(const QByteArray &apdu)
{
    const card::CardAnswer answer = m_card->transmit(bytesOf(apdu));
    m_delay = answer.delay;
    return hexOf(answer.bytes);
}

/// Fetches the command that a 91xx announces; a command of type 0 when there is none or it cannot be read.
cat::Command tst_VirtualCard::fetch(const QByteArray &announcement)
{
    m_command = cat::Command();
    m_command.details.type = static_cast<CommandType>(0);
    if (!announcement.startsWith("91") || announcement.size() != 4)
        return m_command;
    const QByteArray answer = send("80120000" + announcement.mid(2));
    if (answer.endsWith(done))
        m_command = cat::decodeCommand(bytesOf(answer.chopped(4))).command;
    return m_command;
}

/// Answers the command that was fetched last.
QByteArray tst_VirtualCard::respond(Result result, int itemId)
{
    cat::Response response;
    response.details = m_command.details;
    response.result = result;
    if (itemId != 0)
        response.itemId = static_cast<std::uint8_t>(itemId);
    const cat::Bytes data = cat::encodeResponse(response);
    return send("80140000" + byteHex(data.size()) + hexOf(data));
}

/// The user's choice from the main menu.
QByteArray tst_VirtualCard::select(int itemId)
{
    const cat::Bytes data = cat::encodeMenuSelection({static_cast<std::uint8_t>(itemId), false});
    return send("80C20000" + byteHex(data.size()) + hexOf(data));
}

/// Power-on up to the main menu being set up.
void tst_VirtualCard::start()
{
    QVERIFY(fetch(send("8010000002FFFF")).details.type == CommandType::SetUpMenu);
    QCOMPARE(respond(Result::Performed), done);
}

void tst_VirtualCard::saysNothingBeforeTheTerminalProfile()
{
    QCOMPARE(send("80F2000000"), done);
    QCOMPARE(send("8012000010"), QByteArray("6985"));
    QCOMPARE(select(1), QByteArray("6985"));
    QCOMPARE(respond(Result::Performed), QByteArray("6985"));
}

void tst_VirtualCard::proposesTheMainMenu()
{
    const QByteArray announcement = send("8010000002FFFF");
    QCOMPARE(announcement, "91" + byteHex(cat::encodeCommand(card::setUpMenu(profile().mainMenu, 1)).size()));
    const cat::Command command = fetch(announcement);
    QVERIFY(command.details.type == CommandType::SetUpMenu);
    QCOMPARE(int(command.details.number), 1);
    QVERIFY(!command.helpAvailable());
    QCOMPARE(textOf(command.alphaId.value_or(u"")), QString("Main"));
    QCOMPARE(command.items.size(), std::size_t(5));
    QCOMPARE(int(command.items[4].id), 5);
    QCOMPARE(textOf(command.items[0].text), QString("Account"));
    QCOMPARE(respond(Result::Performed), done);
    QCOMPARE(send("80F2000000"), done);
}

void tst_VirtualCard::answersToTheGsmClass()
{
    const QByteArray announcement = send("A010000002FFFF");
    QVERIFY(announcement.startsWith("91"));
    QVERIFY(send("A0120000" + announcement.mid(2)).endsWith(done));
}

void tst_VirtualCard::selectsItsMasterFile()
{
    const QByteArray parameters = "621382027821"
                                  "83023F00"
                                  "8A0105"
                                  "C606900100830101";
    QCOMPARE(send("00A4000C023F00"), done);
    QCOMPARE(send("00A40004023F0000"), parameters + done);
    QCOMPARE(send("00A40004023F0015"), parameters + done);
    QCOMPARE(send("00A40004023F00"), QByteArray("6115"));
    QCOMPARE(send("00C0000016"), QByteArray("6C15"));
    QCOMPARE(send("00C0000015"), parameters + done);
    QCOMPARE(send("00C0000015"), QByteArray("6985"));
}

void tst_VirtualCard::selectsTheMasterFileOfASim()
{
    QCOMPARE(send("A0A40000023F00"), QByteArray("9F16"));
    const QByteArray answer = send("A0C0000016");
    QCOMPARE(answer.size(), 2 * (22 + 2));
    QCOMPARE(answer.mid(2 * 4, 6), QByteArray("3F0001")); // its identifier, and that it is the master file
    QVERIFY(answer.endsWith(done));
}

void tst_VirtualCard::masterFileWaitsForOneCommandOnly()
{
    QCOMPARE(send("00A40004023F00"), QByteArray("6115"));
    QCOMPARE(send("80F2000C00"), done);
    QCOMPARE(send("00C0000015"), QByteArray("6985"));
    QCOMPARE(send("00A40004023F00"), QByteArray("6115"));
    m_card->reset();
    QCOMPARE(send("00C0000015"), QByteArray("6985"));
}

void tst_VirtualCard::selectTellsACommandThatWaits()
{
    const QByteArray announcement = send("8010000002FFFF");
    QCOMPARE(send("00A4000C023F00"), announcement);
    QVERIFY(send("00A40004023F0000").endsWith(announcement));
    fetch(announcement);
    QCOMPARE(send("00A4000C023F00"), done);
}

void tst_VirtualCard::cardWithoutMenuStaysSilent()
{
    m_card = std::make_unique<card::VirtualCard>(card::Profile());
    QCOMPARE(send("8010000002FFFF"), done);
    QCOMPARE(send("80F2000000"), done);
    QCOMPARE(select(1), QByteArray("6A80"));
}

void tst_VirtualCard::longestMenuIsAnnouncedAsZero()
{
    card::Profile full;
    full.mainMenu.entries = {entry(1, u"x")};
    const std::size_t room = card::longestCommand - 1 - cat::encodeCommand(card::setUpMenu(full.mainMenu, 1)).size();
    full.mainMenu.title = std::u16string(100, u't');
    full.mainMenu.entries[0].text = std::u16string(room - 100, u'x');
    QCOMPARE(cat::encodeCommand(card::setUpMenu(full.mainMenu, 1)).size(), card::longestCommand);
    m_card = std::make_unique<card::VirtualCard>(full);
    QCOMPARE(send("8010000002FFFF"), QByteArray("9100"));
    QCOMPARE(send("80120000FF"), QByteArray("6C00"));
    QCOMPARE(send("8012000000").size(), int(card::longestCommand + 2) * 2);
}

void tst_VirtualCard::fetchWantsTheRightLength()
{
    const QByteArray announcement = send("8010000002FFFF");
    const QByteArray right = announcement.mid(2);
    QCOMPARE(send("8012000000"), "6C" + right);
    QCOMPARE(send("8012000001"), "6C" + right);
    QVERIFY(send("80120000" + right).endsWith(done));
}

void tst_VirtualCard::fetchesOnlyOnce()
{
    const QByteArray announcement = send("8010000002FFFF");
    fetch(announcement);
    QCOMPARE(send("80120000" + announcement.mid(2)), QByteArray("6985"));
    QCOMPARE(respond(Result::Performed), done);
    QCOMPARE(send("80120000" + announcement.mid(2)), QByteArray("6985"));
}

void tst_VirtualCard::opensASubMenu()
{
    start();
    const cat::Command command = fetch(select(1));
    QVERIFY(command.details.type == CommandType::SelectItem);
    QCOMPARE(int(command.details.number), 2);
    QVERIFY(command.helpAvailable());
    QCOMPARE(textOf(command.alphaId.value_or(u"")), QString("Account"));
    QCOMPARE(int(command.defaultItem.value_or(0)), 2);
    QCOMPARE(command.items.size(), std::size_t(2));
    QCOMPARE(textOf(command.items[1].text), QString("Top up"));
}

void tst_VirtualCard::goesThreeLevelsDown()
{
    start();
    fetch(select(1));
    const cat::Command command = fetch(respond(Result::Performed, 2));
    QVERIFY(command.details.type == CommandType::SelectItem);
    QCOMPARE(textOf(command.alphaId.value_or(u"")), QString("Top up"));
    QVERIFY(!command.defaultItem);
    QCOMPARE(respond(Result::Performed, 5), done);
    QVERIFY(select(1).startsWith("91"));
}

void tst_VirtualCard::goesBackLevelByLevel()
{
    start();
    fetch(select(1));
    fetch(respond(Result::Performed, 2));
    const cat::Command parent = fetch(respond(Result::BackwardMove));
    QVERIFY(parent.details.type == CommandType::SelectItem);
    QCOMPARE(textOf(parent.alphaId.value_or(u"")), QString("Account"));
    QCOMPARE(respond(Result::BackwardMove), done);
    QVERIFY(select(1).startsWith("91"));
}

void tst_VirtualCard::endsTheSession_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("ended by the user") << 0x10;
    QTest::newRow("no answer") << 0x12;
    QTest::newRow("help, which this card does not have") << 0x13;
    QTest::newRow("terminal busy") << 0x20;
    QTest::newRow("beyond the terminal") << 0x30;
    QTest::newRow("a result nobody knows") << 0x7E;
}

void tst_VirtualCard::endsTheSession()
{
    QFETCH(int, result);
    start();
    fetch(select(1));
    fetch(respond(Result::Performed, 2));
    QCOMPARE(respond(static_cast<Result>(result)), done);
    QCOMPARE(send("80F2000000"), done);
    QCOMPARE(textOf(fetch(select(1)).alphaId.value_or(u"")), QString("Account"));
    QCOMPARE(respond(Result::BackwardMove), done); // nothing is left of the first session to go back to
}

void tst_VirtualCard::plainItemEndsTheSession()
{
    start();
    QCOMPARE(select(3), done);
    QCOMPARE(m_delay.count(), std::chrono::milliseconds::rep(0));
    fetch(select(1));
    QCOMPARE(respond(Result::Performed, 1), done);
    QCOMPARE(select(3), done);
}

void tst_VirtualCard::choiceOfAnItemThatIsNotThereStaysOpen()
{
    start();
    fetch(select(1));
    QCOMPARE(respond(Result::Performed, 99), QByteArray("6A80"));
    QCOMPARE(respond(Result::Performed), QByteArray("6A80"));
    QCOMPARE(select(1), QByteArray("9300"));
    QCOMPARE(respond(Result::Performed, 1), done);
}

void tst_VirtualCard::rawCommandIsSentAsItStands()
{
    start();
    const QByteArray announcement = select(4);
    QCOMPARE(announcement, "91" + byteHex(static_cast<std::size_t>(rawCommand.size() / 2)));
    QCOMPARE(send("80120000" + announcement.mid(2)), rawCommand + done);
    // Its number is its own, not the next of the card.
    QCOMPARE(send("801400000C"
                  "8103022100"
                  "82028281"
                  "830100"),
             QByteArray("6A80"));
    QCOMPARE(send("801400000C"
                  "8103092100"
                  "82028281"
                  "830100"),
             done);
}

void tst_VirtualCard::rawCommandEndsWithAnyResult_data()
{
    endsTheSession_data();
    QTest::newRow("performed") << 0x00;
}

void tst_VirtualCard::rawCommandEndsWithAnyResult()
{
    QFETCH(int, result);
    start();
    fetch(select(1));
    fetch(respond(Result::Performed, 2));
    QVERIFY(fetch(respond(Result::Performed, 6)).details.type == CommandType::DisplayText);
    QCOMPARE(respond(static_cast<Result>(result)), done);
    QCOMPARE(select(3), done);
}

void tst_VirtualCard::rawCommandGoesBackToItsMenu()
{
    start();
    fetch(select(1));
    fetch(respond(Result::Performed, 2));
    fetch(respond(Result::Performed, 6));
    QCOMPARE(textOf(fetch(respond(Result::BackwardMove)).alphaId.value_or(u"")), QString("Top up"));
}

void tst_VirtualCard::slowEntryDelaysItsAnswer()
{
    start();
    QCOMPARE(select(2), done);
    QCOMPARE(qint64(m_delay.count()), qint64(30000));
    fetch(select(5));
    QCOMPARE(qint64(m_delay.count()), qint64(0)); // the delay was that of the choice, FETCH is quick
    QCOMPARE(respond(Result::SessionTerminatedByUser), done);
    QVERIFY(select(5).startsWith("91"));
    QCOMPARE(qint64(m_delay.count()), qint64(700));
}

void tst_VirtualCard::helpIsAnsweredWithoutASession()
{
    start();
    const cat::Bytes data = cat::encodeMenuSelection({1, true});
    QCOMPARE(send("80C20000" + byteHex(data.size()) + hexOf(data)), done);
    QCOMPARE(send("80F2000000"), done);
}

void tst_VirtualCard::responseMustFitTheCommand_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("another number") << QByteArray("8103032400"
                                                  "82028281"
                                                  "830110");
    QTest::newRow("another type") << QByteArray("8103022500"
                                                "82028281"
                                                "830110");
    QTest::newRow("no result") << QByteArray("8103022400"
                                             "82028281");
    QTest::newRow("no details") << QByteArray("82028281"
                                              "830110");
    QTest::newRow("cut off") << QByteArray("8103022400"
                                           "82028281"
                                           "8301");
    QTest::newRow("nonsense") << QByteArray("FF");
}

void tst_VirtualCard::responseMustFitTheCommand()
{
    QFETCH(QByteArray, data);
    start();
    fetch(select(1));
    QCOMPARE(send("80140000" + byteHex(static_cast<std::size_t>(data.size() / 2)) + data), QByteArray("6A80"));
    // The command is still open, and the right response closes it.
    QCOMPARE(respond(Result::SessionTerminatedByUser), done);
}

void tst_VirtualCard::responseWithoutACommandIsRefused()
{
    start();
    QCOMPARE(respond(Result::Performed), QByteArray("6985"));
    QVERIFY(select(1).startsWith("91"));
    m_command.details = {2, CommandType::SelectItem, 0x80};
    QCOMPARE(respond(Result::Performed, 1), QByteArray("6985")); // announced, but not fetched yet
}

void tst_VirtualCard::envelopeWhileBusy()
{
    const QByteArray announcement = send("8010000002FFFF");
    QCOMPARE(select(1), QByteArray("9300"));
    fetch(announcement);
    QCOMPARE(select(1), QByteArray("9300"));
    QCOMPARE(respond(Result::Performed), done);
    fetch(select(1));
    QCOMPARE(select(1), QByteArray("9300"));
    QVERIFY(respond(Result::Performed, 2).startsWith("91"));
}

void tst_VirtualCard::envelopeIsChecked_data()
{
    QTest::addColumn<QByteArray>("apdu");
    QTest::addColumn<QByteArray>("status");
    QTest::newRow("an item that is not there") << QByteArray("80C2000009D30782020181900112") << QByteArray("6A80");
    QTest::newRow("item 0") << QByteArray("80C2000009D30782020181900100") << QByteArray("6A80");
    QTest::newRow("another envelope") << QByteArray("80C2000009D60782020181900101") << QByteArray("6A80");
    QTest::newRow("no item") << QByteArray("80C2000006D30482020181") << QByteArray("6A80");
    QTest::newRow("with Le") << QByteArray("80C2000009D3078202018190010300") << QByteArray("9000");
    QTest::newRow("without data") << QByteArray("80C2000000") << QByteArray("6700");
    QTest::newRow("data cut off") << QByteArray("80C2000009D307820201819001") << QByteArray("6700");
}

void tst_VirtualCard::envelopeIsChecked()
{
    QFETCH(QByteArray, apdu);
    start();
    QTEST(send(apdu), "status");
}

void tst_VirtualCard::statusAnnouncesWhatWaits()
{
    const QByteArray announcement = send("8010000002FFFF");
    QCOMPARE(send("80F2000000"), announcement);
    QCOMPARE(send("80F2000C"), announcement);
    fetch(announcement);
    QCOMPARE(send("80F2000000"), done);
    QCOMPARE(respond(Result::Performed), done);
    const QByteArray next = select(1);
    QVERIFY(next != announcement);
    QCOMPARE(send("80F2000000"), next);
}

void tst_VirtualCard::terminalProfileStartsAgain()
{
    start();
    fetch(select(1));
    QVERIFY(fetch(send("8010000002FFFF")).details.type == CommandType::SetUpMenu);
    QCOMPARE(int(m_command.details.number), 1);
    QCOMPARE(respond(Result::Performed), done);
}

void tst_VirtualCard::resetForgetsEverything()
{
    start();
    fetch(select(1));
    m_card->reset();
    QCOMPARE(send("80F2000000"), done);
    QCOMPARE(respond(Result::Performed, 1), QByteArray("6985"));
    QCOMPARE(select(1), QByteArray("6985"));
    start();
    QCOMPARE(int(m_command.details.number), 1);
}

void tst_VirtualCard::numbersCountUpAndBeginAgain()
{
    start();
    for (int number = 2; number <= 254; ++number) {
        QCOMPARE(int(fetch(select(1)).details.number), number);
        QCOMPARE(respond(Result::SessionTerminatedByUser), done);
    }
    QCOMPARE(int(fetch(select(1)).details.number), 1);
}

void tst_VirtualCard::commandThatDoesNotFitIsAFault()
{
    card::Profile tooLong = profile();
    tooLong.mainMenu.entries[2].steps = {rawStep(cat::Bytes(257, 0xD0))};
    m_card = std::make_unique<card::VirtualCard>(tooLong);
    start();
    QCOMPARE(select(3), QByteArray("6F00"));
    QVERIFY(select(1).startsWith("91"));
}

void tst_VirtualCard::raisedCommandIsAnnouncedByStatus()
{
    QVERIFY(m_card->raise(bytesOf("D0098103012180 82028102")));
    QCOMPARE(send("80F2000C00"), QByteArray("9000")); // the terminal has not told its profile yet
    start();
    QVERIFY(m_card->raise(bytesOf("D0098103012180 82028102")));
    QCOMPARE(send("80F2000C00"), QByteArray("910B"));
    QCOMPARE(send("801200000B"), QByteArray("D0098103012180820281029000"));
    QCOMPARE(send("801400000C 810301218082028281830110"), QByteArray("9000"));
    QCOMPARE(send("80F2000C00"), QByteArray("9000"));
}

void tst_VirtualCard::raisedCommandFollowsTheSession()
{
    start();
    const QByteArray announcement = select(1);
    fetch(announcement);
    QVERIFY(m_card->raise(bytesOf("D0098103012180 82028102")));
    QCOMPARE(send("80F2000C00"), QByteArray("9000")); // the session's own command is open
    QCOMPARE(respond(Result::SessionTerminatedByUser), QByteArray("910B"));
}

void tst_VirtualCard::resetForgetsWhatWasRaised()
{
    start();
    QVERIFY(m_card->raise(bytesOf("D0098103012180 82028102")));
    m_card->reset();
    start();
    QCOMPARE(send("80F2000C00"), QByteArray("9000"));
}

void tst_VirtualCard::whatFetchCannotBringIsNotRaised()
{
    start();
    QVERIFY(!m_card->raise({}));
    QVERIFY(!m_card->raise(bytesOf("D00482028102")));
    QVERIFY(!m_card->raise(bytesOf("D081FE 8103012180 82028102 8D81F204" + QByteArray("41").repeated(241))));
    QCOMPARE(send("80F2000C00"), QByteArray("9000"));
}

void tst_VirtualCard::refusesMalformedCommands_data()
{
    QTest::addColumn<QByteArray>("apdu");
    QTest::addColumn<QByteArray>("status");
    QTest::newRow("nothing") << QByteArray() << QByteArray("6700");
    QTest::newRow("three bytes") << QByteArray("801000") << QByteArray("6700");
    QTest::newRow("unknown class") << QByteArray("01A4000C023F00") << QByteArray("6E00");
    QTest::newRow("instruction of the other class") << QByteArray("0010000002FFFF") << QByteArray("6D00");
    QTest::newRow("file that is not there") << QByteArray("00A4000C027F20") << QByteArray("6A82");
    QTest::newRow("longer identifier") << QByteArray("00A4000C033F0000") << QByteArray("6A82");
    QTest::newRow("application that is not there") << QByteArray("00A4040407A0000000871002") << QByteArray("6A82");
    QTest::newRow("select nothing") << QByteArray("00A4000C") << QByteArray("6700");
    QTest::newRow("select, wrong length expected") << QByteArray("00A40004023F0001") << QByteArray("6C15");
    QTest::newRow("nothing to get") << QByteArray("00C0000015") << QByteArray("6985");
    QTest::newRow("proprietary class") << QByteArray("FF10000001FF") << QByteArray("6E00");
    QTest::newRow("unknown instruction") << QByteArray("8099000000") << QByteArray("6D00");
    QTest::newRow("P1 of TERMINAL PROFILE") << QByteArray("8010010001FF") << QByteArray("6B00");
    QTest::newRow("P2 of FETCH") << QByteArray("8012000110") << QByteArray("6B00");
    QTest::newRow("TERMINAL PROFILE without data") << QByteArray("80100000") << QByteArray("6700");
    QTest::newRow("TERMINAL PROFILE of length 0") << QByteArray("8010000000") << QByteArray("6700");
    QTest::newRow("TERMINAL PROFILE with Le") << QByteArray("8010000001FF00") << QByteArray("6700");
    QTest::newRow("more data than Lc") << QByteArray("8010000001FFFFFF") << QByteArray("6700");
    QTest::newRow("less data than Lc") << QByteArray("8010000003FFFF") << QByteArray("6700");
    QTest::newRow("extended length") << QByteArray("80100000000001FF") << QByteArray("6700");
    QTest::newRow("FETCH without Le") << QByteArray("80120000") << QByteArray("6700");
    QTest::newRow("FETCH with data") << QByteArray("801200000100") << QByteArray("6700");
    QTest::newRow("STATUS with data") << QByteArray("80F20000010000") << QByteArray("6700");
}

void tst_VirtualCard::refusesMalformedCommands()
{
    QFETCH(QByteArray, apdu);
    QTEST(send(apdu), "status");
    QCOMPARE(qint64(m_delay.count()), qint64(0));
    start(); // and the card is none the worse for it
}

void tst_VirtualCard::survivesAnyBytes()
{
    start();
    quint32 state = 20240301; // a fixed seed: the same bytes every time
    const cat::Bytes instructions{0x10, 0x12, 0x14, 0xC2, 0xF2, 0xA4};
    for (int round = 0; round < 20000; ++round) {
        cat::Bytes apdu{0x80, instructions[static_cast<std::size_t>(round) % instructions.size()], 0, 0};
        const int size = round % 23;
        for (int i = 0; i < size; ++i) {
            state = state * 1664525 + 1013904223;
            apdu.push_back(static_cast<std::uint8_t>(state >> 24));
        }
        if (apdu.size() > 5 && round % 2)
            apdu[4] = static_cast<std::uint8_t>(apdu.size() - 5);
        const card::CardAnswer answer = m_card->transmit(apdu);
        QVERIFY(answer.bytes.size() >= 2);
    }
}

void tst_VirtualCard::knowsWhetherThereIsANetwork()
{
    card::Profile cut = profile();
    QVERIFY(card::VirtualCard(cut).hasNetwork());
    cut.network = false;
    QVERIFY(!card::VirtualCard(cut).hasNetwork());
}

QTEST_APPLESS_MAIN(tst_VirtualCard)
#include "tst_VirtualCard.moc"
