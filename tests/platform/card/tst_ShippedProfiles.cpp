#include "platform/card/Terminal.h"
#include "platform/cat/Hex.h"

#include <QtTest>

#include <algorithm>
#include <functional>

using cat::CommandType;
using cat::Result;

namespace
{

constexpr std::uint8_t digitsOnly = 0x00, anyCharacter = 0x01, yesOrNo = 0x04;

/// Says "yes" to everything and gives the shortest answers that are allowed.
void answer(Terminal *terminal)
{
    const cat::Command command = terminal->command();
    const bool digits = (command.details.qualifier & anyCharacter) == digitsOnly;
    const int length = command.responseLength ? std::max<int>(command.responseLength->minimum, 1) : 1;
    if (command.details.type == CommandType::GetInkey && (command.details.qualifier & yesOrNo))
        terminal->respondYesNo(true);
    else if (command.details.type == CommandType::GetInkey || command.details.type == CommandType::GetInput)
        terminal->respondText(QString(length, digits ? '7' : 'a'));
    else
        terminal->respond(Result::Performed);
}

/// Walks through every session that a profile has: every choice from every menu, in every combination.
class Walk
{
public:
    explicit Walk(const QString &file) : m_profile(card::loadProfile(file.toStdString())), m_terminal(m_profile) {}

    /// What went wrong first; empty: nothing.
    QString run()
    {
        m_terminal.start();
        finishSession();
        for (const card::Entry &entry : m_profile.mainMenu.entries) {
            m_choices.clear();
            do {
                m_depth = 0;
                m_terminal.select(entry.id);
                finishSession();
                ++m_sessions;
            } while (m_problem.isEmpty() && nextChoices());
        }
        return m_problem;
    }

    int sessions() const { return m_sessions; }
    /// Every command that was seen, once: its type, and its bytes without the number.
    const QMap<CommandType, QSet<QByteArray>> &seen() const { return m_seen; }
    QStringList shown() const { return m_shown; }

private:
    struct Choice {
        int taken;
        int count;
    };

    void finishSession()
    {
        for (int commands = 0; m_terminal.isOpen() && m_problem.isEmpty(); ++commands) {
            check();
            if (commands > 100)
                m_problem = "the session does not end: " + m_terminal.shown();
            if (m_terminal.command().details.type == CommandType::SelectItem)
                choose();
            else
                answer(&m_terminal);
        }
        if (m_terminal.status() != "9000" && m_problem.isEmpty())
            m_problem = "the session ends with " + m_terminal.status();
    }

    void choose()
    {
        const std::vector<cat::Item> items = m_terminal.command().items;
        if (m_depth == m_choices.size())
            m_choices.append({0, static_cast<int>(items.size())});
        m_terminal.respondItem(items.at(static_cast<std::size_t>(m_choices.at(m_depth++).taken)).id);
    }

    /// The next combination; false: that was the last.
    bool nextChoices()
    {
        while (!m_choices.isEmpty() && m_choices.last().taken + 1 == m_choices.last().count)
            m_choices.removeLast();
        if (!m_choices.isEmpty())
            ++m_choices.last().taken;
        return !m_choices.isEmpty();
    }

    void check()
    {
        const QByteArray bytes = m_terminal.bytes();
        const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(bytes));
        const CommandType type = decoded.command.details.type;
        if (decoded.result != Result::Performed && type != CommandType::OpenChannel)
            m_problem = bytes + ": " + QString::fromStdString(decoded.reason);
        if (bytes.size() > 2 * 256)
            m_problem = bytes + " does not fit into FETCH";
        if (bytes.contains(QByteArray("{").toHex()) && m_terminal.shown().contains(QRegularExpression("\\{[a-z]+\\}$")))
            m_problem = "a name was left in " + m_terminal.shown();
        const int head = bytes.startsWith("D081") ? 6 : 4;
        m_seen[type].insert(bytes.mid(head).replace(4, 2, "00"));
        m_shown.append(m_terminal.shown());
    }

    card::Profile m_profile;
    Terminal m_terminal;
    QVector<Choice> m_choices;
    int m_depth = 0;
    int m_sessions = 0;
    QMap<CommandType, QSet<QByteArray>> m_seen;
    QStringList m_shown;
    QString m_problem;
};

const QList<CommandType> everyCommand = {
    CommandType::SelectItem, CommandType::DisplayText,   CommandType::GetInkey,         CommandType::GetInput,
    CommandType::PlayTone,   CommandType::SetUpCall,     CommandType::SendShortMessage, CommandType::SendSs,
    CommandType::SendUssd,   CommandType::LaunchBrowser, CommandType::Refresh,          CommandType::SetUpIdleModeText,
};

} // namespace

class tst_ShippedProfiles : public QObject
{
    Q_OBJECT

private slots:
    void canBeWalkedCompletely_data();
    void canBeWalkedCompletely();
    void everyVariantIsThere_data();
    void everyVariantIsThere();
    void topUpOfTheDemo();
    void demoSaysWhenThereIsNoNetwork();
    void chainOfAll();
    void chainOfAllOnOtherPaths();
};

void tst_ShippedProfiles::canBeWalkedCompletely_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<int>("sessions");
    QTest::newRow("demo") << PROFILES_DIR "/demo.yaml" << 42;
    QTest::newRow("every command") << PROFILES_DIR "/every-command.yaml" << 141;
}

void tst_ShippedProfiles::canBeWalkedCompletely()
{
    QFETCH(QString, file);
    Walk walk(file);
    QCOMPARE(walk.run(), QString());
    QTEST(walk.sessions(), "sessions");
    for (const CommandType type : everyCommand)
        QVERIFY2(walk.seen().contains(type), cat::commandName(type).c_str());
}

void tst_ShippedProfiles::everyVariantIsThere_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QList<int>>("qualifiers");
    const auto row = [](CommandType type, const QList<int> &qualifiers) {
        QTest::newRow(cat::commandName(type).c_str()) << int(type) << qualifiers;
    };
    row(CommandType::DisplayText, {0x00, 0x80, 0x81});
    row(CommandType::GetInkey, {0x00, 0x01, 0x03, 0x04, 0x81});
    row(CommandType::GetInput, {0x00, 0x01, 0x03, 0x04, 0x05, 0x08, 0x09, 0x81});
    row(CommandType::SelectItem, {0x00, 0x80});
    row(CommandType::SetUpCall, {0x00, 0x01, 0x02, 0x04});
    row(CommandType::LaunchBrowser, {0x00, 0x02, 0x03});
    row(CommandType::Refresh, {0x00, 0x01, 0x02, 0x03, 0x04});
}

void tst_ShippedProfiles::everyVariantIsThere()
{
    QFETCH(int, type);
    QFETCH(QList<int>, qualifiers);
    Walk walk(PROFILES_DIR "/every-command.yaml");
    QCOMPARE(walk.run(), QString());
    QSet<int> seen;
    for (const QByteArray &bytes : walk.seen().value(static_cast<CommandType>(type)))
        seen.insert(bytes.mid(8, 2).toInt(nullptr, 16));
    for (const int qualifier : qualifiers)
        QVERIFY2(seen.contains(qualifier), qPrintable(QString::number(qualifier, 16)));
}

void tst_ShippedProfiles::topUpOfTheDemo()
{
    Terminal terminal(card::loadProfile(PROFILES_DIR "/demo.yaml"));
    terminal.start();
    QCOMPARE(terminal.shown(), QString("SET UP IDLE MODE TEXT Aurora Mobile"));
    terminal.respond(Result::Performed);
    terminal.select(1);
    terminal.respondItem(3);
    QCOMPARE(terminal.shown(), QString("SELECT ITEM Top up"));
    terminal.respondItem(5);
    QCOMPARE(terminal.shown(), QString::fromUtf8("GET INPUT Amount in €"));
    terminal.respondText("35");
    QCOMPARE(terminal.shown(), QString("GET INPUT Your PIN"));
    terminal.respondText("123"); // too short
    QCOMPARE(terminal.status(), QByteArray("6A80"));
    terminal.respondText("1234");
    QCOMPARE(terminal.shown(), QString::fromUtf8("GET INKEY Top up 35 €?"));
    terminal.respondYesNo(true);
    QCOMPARE(terminal.shown(), QString("SEND SHORT MESSAGE"));
    const QByteArray message = hexOf(*cat::encodeGsm7Packed(u"TOPUP 35"));
    QVERIFY(terminal.bytes().endsWith(message));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString("PLAY TONE"));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.shown(), QString::fromUtf8("DISPLAY TEXT You have topped up 35 €."));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

void tst_ShippedProfiles::demoSaysWhenThereIsNoNetwork()
{
    Terminal terminal(card::loadProfile(PROFILES_DIR "/demo.yaml"));
    terminal.start();
    terminal.respond(Result::Performed);
    terminal.select(1);
    terminal.respondItem(1);
    QCOMPARE(terminal.shown(), QString("SEND USSD Asking for your balance"));
    terminal.respond(Result::TerminalUnable);
    QCOMPARE(terminal.shown(), QString("DISPLAY TEXT No network. Please try again later."));
    terminal.respond(Result::Performed);
    QCOMPARE(terminal.status(), QByteArray("9000"));
}

static QStringList chain(bool right, int colour)
{
    const card::Profile profile = card::loadProfile(PROFILES_DIR "/every-command.yaml");
    const auto entry = std::find_if(profile.mainMenu.entries.begin(), profile.mainMenu.entries.end(),
                                    [](const card::Entry &candidate) { return candidate.text == u"Chain of all"; });
    Terminal terminal(profile);
    terminal.start();
    terminal.respond(Result::Performed);
    terminal.select(entry->id);
    QStringList shown;
    while (terminal.isOpen() && shown.size() < 50) {
        shown << terminal.shown();
        const cat::CommandDetails details = terminal.command().details;
        if (details.type == CommandType::SelectItem)
            terminal.respondItem(colour);
        else if (details.type == CommandType::GetInput)
            terminal.respondText("Ann");
        else if (details.type == CommandType::GetInkey && details.qualifier == yesOrNo)
            terminal.respondYesNo(right);
        else
            answer(&terminal);
    }
    return shown;
}

void tst_ShippedProfiles::chainOfAll()
{
    const QStringList expected = {
        "DISPLAY TEXT The chain begins.",
        "GET INKEY A letter",
        "GET INKEY Is a right?",
        "GET INPUT Your name",
        "SELECT ITEM Hello Ann",
        "DISPLAY TEXT Ann likes Red.",
        "PLAY TONE Red!",
        "SET UP CALL Call Ann?",
        "SEND SHORT MESSAGE Sending",
        "SEND SS Asking",
        "SEND USSD Asking again",
        "LAUNCH BROWSER A page for Ann?",
        "SET UP IDLE MODE TEXT Ann was here",
        "DISPLAY TEXT The chain ends.",
        "REFRESH",
    };
    QCOMPARE(chain(true, 1), expected);
}

void tst_ShippedProfiles::chainOfAllOnOtherPaths()
{
    const QStringList shown = chain(false, 3);
    QCOMPARE(shown.value(3), QString("DISPLAY TEXT Then it is not a."));
    QCOMPARE(shown.value(6), QString("GET INPUT Which colour, Ann?"));
    QCOMPARE(shown.value(7), QString("DISPLAY TEXT Ann likes Ann."));
}

QTEST_APPLESS_MAIN(tst_ShippedProfiles)
#include "tst_ShippedProfiles.moc"
