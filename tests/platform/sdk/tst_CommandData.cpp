#include "platform/sdk/Commands.h"

#include <QTest>

#include <cstring>

using sdk::Status;

/// The records that callers get for each command.
class tst_CommandData : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void prompts_data();
    void prompts();
    void inputs_data();
    void inputs();
    void keys_data();
    void keys();
    void tones_data();
    void tones();
    void browsers_data();
    void browsers();
    void idleText();
    void refreshes_data();
    void refreshes();
    void longTextIsCut();
    void dataIsThereOnlyWhileTheCommandIsOpen();

private:
    bool open(const QString &pdu, int stkType);

    std::shared_ptr<Script> m_script;
    int m_id = 0;
};

namespace
{

int number(Status status)
{
    return static_cast<int>(status);
}

template <typename Record>
Record dirty()
{
    Record record;
    std::memset(&record, 0x5A, sizeof record);
    return record;
}

/// A field up to its end; all behind that must be zero.
QString textOf(const uint16_t *field)
{
    const QString text = QString::fromUtf16(field);
    for (int i = text.size(); i < MDSV_STK_TEXT_UNITS; ++i) {
        if (field[i] != 0)
            return "rubbish behind: " + text;
    }
    return text;
}

} // namespace

void tst_CommandData::init()
{
    events::reset();
    QVERIFY(events::registerBoth());
}

void tst_CommandData::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

bool tst_CommandData::open(const QString &pdu, int stkType)
{
    m_script = commands::open(qPrintable(pdu), stkType);
    m_id = events::lastId();
    return m_script != nullptr;
}

void tst_CommandData::prompts_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("clearMode");
    QTest::addColumn<int>("seconds");
    QTest::newRow("cleared by the user") << commands::displayText << 1 << 0;
    QTest::newRow("cleared by the user, 10 s") << commands::displayTextFor10s << 1 << 10;
    QTest::newRow("clears itself, 2.5 s are 3") << commands::selfClearing << 0 << 3;
    QTest::newRow("a tenth of a second is 1") << commands::displayTextShort << 1 << 1;
    QTest::newRow("255 minutes") << "D015 8103032100820281028D060448656C6C6F840200FF" << 0 << 15300;
}

void tst_CommandData::prompts()
{
    QFETCH(QString, command);
    QVERIFY(open(command, 1));
    auto record = dirty<MDSVStkPromptData>();
    QCOMPARE(MDSV_STKSrv_GetPromptText(m_id, &record), 0);
    QCOMPARE(textOf(record.usText), QString("Hello"));
    QTEST(int(record.nClearMode), "clearMode");
    QTEST(int(record.usDuration), "seconds");
}

void tst_CommandData::inputs_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("prompt");
    QTest::addColumn<int>("inputType");
    QTest::addColumn<int>("echo");
    QTest::addColumn<int>("minimum");
    QTest::addColumn<int>("maximum");
    QTest::addColumn<int>("option");
    QTest::addColumn<QString>("defaultText");
    QTest::newRow("text") << commands::getText << "Name?" << 0 << 1 << 2 << 5 << 1 << "Bob";
    QTest::newRow("packed") << commands::getPackedText << "Name?" << 0 << 1 << 1 << 20 << 0 << "";
    QTest::newRow("UCS2") << commands::getUcs2Text << "Name?" << 3 << 1 << 0 << 255 << 0 << "";
    QTest::newRow("hidden digits") << commands::getPin << "PIN?" << 2 << 0 << 4 << 4 << 0 << "";
}

void tst_CommandData::inputs()
{
    QFETCH(QString, command);
    QVERIFY(open(command, 3));
    auto record = dirty<MDSVStkInputData>();
    QCOMPARE(MDSV_STKSrv_GetInputRequest(m_id, &record), 0);
    QTEST(textOf(record.usPrompt), "prompt");
    QTEST(int(record.nInputType), "inputType");
    QTEST(int(record.nEcho), "echo");
    QTEST(int(record.sMinLen), "minimum");
    QTEST(int(record.sMaxLen), "maximum");
    QTEST(int(record.nOption), "option");
    QTEST(textOf(record.usDefaultText), "defaultText");
}

void tst_CommandData::keys_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("prompt");
    QTest::addColumn<int>("inputType");
    QTest::addColumn<int>("option");
    QTest::addColumn<int>("milliseconds");
    QTest::newRow("character") << commands::getKey << "Key?" << 0 << 0 << 0;
    QTest::newRow("UCS2 character") << commands::getUcs2Key << "Key?" << 3 << 0 << 0;
    QTest::newRow("digit, help, 90 s are more than fit") << commands::getDigit << "Digit?" << 2 << 1 << 65535;
    QTest::newRow("yes or no") << commands::getYesNo << "Sure?" << 1 << 0 << 0;
    QTest::newRow("yes or no within 10 s") << commands::getYesNoFor10s << "Sure?" << 1 << 0 << 10000;
    QTest::newRow("65 s fit") << "D015 8103052204820281828D0604537572653F84020141"
                              << "Sure?" << 1 << 0 << 65000;
    QTest::newRow("66 s do not") << "D015 8103052204820281828D0604537572653F84020142"
                                 << "Sure?" << 1 << 0 << 65535;
    QTest::newRow("2.5 s") << "D015 8103052204820281828D0604537572653F84020219"
                           << "Sure?" << 1 << 0 << 2500;
}

void tst_CommandData::keys()
{
    QFETCH(QString, command);
    QVERIFY(open(command, 2));
    auto record = dirty<MDSVStkInKeyData>();
    QCOMPARE(MDSV_STKSrv_GetInKeyRequest(m_id, &record), 0);
    QTEST(textOf(record.usPrompt), "prompt");
    QTEST(int(record.nInputType), "inputType");
    QTEST(int(record.nOption), "option");
    QTEST(int(record.usDuration), "milliseconds");
}

void tst_CommandData::tones_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("tone");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<QString>("text");
    QTest::newRow("busy, 2.5 s are 3") << commands::playTone << 2 << 3 << "Beep";
    QTest::newRow("nothing said: general beep, 3 s") << commands::playSomething << 10 << 3 << "";
    const auto tone = [](const char *name, const char *hex, int number) {
        QTest::newRow(name) << QString("D00C 8103082000820281038E01%1").remove(' ').arg(hex) << number << 3 << "";
    };
    tone("dial", "01", 1);
    tone("ringing", "08", 8);
    tone("general beep", "10", 10);
    tone("positive acknowledgement", "11", 11);
    tone("negative acknowledgement", "12", 12);
    tone("last melody", "47", 47);
    tone("no such number: general beep", "1A", 10);
    tone("nor that", "A1", 10);
}

void tst_CommandData::tones()
{
    QFETCH(QString, command);
    QVERIFY(open(command, 5));
    auto record = dirty<MDSVStkToneData>();
    QCOMPARE(MDSV_STKSrv_GetPlayTone(m_id, &record), 0);
    QTEST(int(record.nTone), "tone");
    QTEST(int(record.usDuration), "seconds");
    QTEST(textOf(record.usText), "text");
}

void tst_CommandData::browsers_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("mode");
    QTest::addColumn<QString>("url");
    QTest::newRow("new session") << commands::launchBrowser << 3 << "http://x.org/";
    QTest::newRow("home page") << "D00B 81030D15008202818231 00" << 0 << "";
    QTest::newRow("UTF-8") << "D00D 81030D1502820281823102C3A9" << 2 << "é";
}

void tst_CommandData::browsers()
{
    QFETCH(QString, command);
    QVERIFY(open(command, 11));
    auto record = dirty<MDSVStkBrowserData>();
    QCOMPARE(MDSV_STKSrv_GetLaunchBrowser(m_id, &record), 0);
    QTEST(int(record.nMode), "mode");
    QTEST(textOf(record.usUrl), "url");
}

void tst_CommandData::idleText()
{
    QVERIFY(open(commands::idleText, 12));
    uint16_t field[MDSV_STK_TEXT_UNITS + 1];
    std::memset(field, 0x5A, sizeof field);
    QCOMPARE(MDSV_STKSrv_GetIdleModePrompt(m_id, field), 0);
    QCOMPARE(textOf(field), QString("Idle"));
    QCOMPARE(int(field[MDSV_STK_TEXT_UNITS]), 0x5A5A);
}

void tst_CommandData::refreshes_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QByteArray>("head"); // the rest is zero
    QTest::newRow("no files") << commands::refresh << QByteArray::fromHex("0300000000000000");
    QTest::newRow("one file") << commands::refreshFiles << QByteArray::fromHex("0100000005000000013F002FE2");
}

void tst_CommandData::refreshes()
{
    QFETCH(QString, command);
    QFETCH(QByteArray, head);
    QByteArray buffer(MDSV_STK_REFRESH_BYTES + 1, '\x5A');
    int status = -1;
    events::setReaction([&](const events::Event &event) {
        if (event.text == "STK 7")
            status = MDSV_STKSrv_GetRefreshInfo(event.id, buffer.data());
    });
    QVERIFY(open(command, 7));
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(status, 0);
    head.append(QByteArray(MDSV_STK_REFRESH_BYTES - head.size(), '\0')).append('\x5A');
    QCOMPARE(buffer.toHex(), head.toHex());
}

void tst_CommandData::longTextIsCut()
{
    // 255 bytes of packed text hold more characters than a field
    QString septets;
    for (int i = 0; i < 33; ++i)
        septets += "E170381C0E87C3"; // "aaaaaaaa"
    QVERIFY(open("D081F3 810303218082028102 8D81E700" + septets.left(460), 1));
    auto record = dirty<MDSVStkPromptData>();
    QCOMPARE(MDSV_STKSrv_GetPromptText(m_id, &record), 0);
    QCOMPARE(textOf(record.usText), QString(255, 'a'));
}

void tst_CommandData::dataIsThereOnlyWhileTheCommandIsOpen()
{
    QVERIFY(open(commands::displayText, 1));
    auto record = dirty<MDSVStkPromptData>();
    auto other = dirty<MDSVStkToneData>();
    QCOMPARE(MDSV_STKSrv_GetPlayTone(m_id, &other), number(Status::WrongCommand));
    QCOMPARE(MDSV_STKSrv_GetPromptText(m_id + 1, &record), number(Status::StaleCommand));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, 1, 1), 0);
    QCOMPARE(MDSV_STKSrv_GetPromptText(m_id, &record), number(Status::StaleCommand));
    QCOMPARE(int(record.usText[0]), 0x5A5A);
}

QTEST_GUILESS_MAIN(tst_CommandData)
#include "tst_CommandData.moc"
