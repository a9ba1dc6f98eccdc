#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"
#include "sdk/Records.h"

#include <QTest>

#include <cstring>

using sdk::Status;

/// The C functions: statuses, records, ownership, identifiers.
class tst_Sdk : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void requestsWithoutCardAreRefused_data();
    void requestsWithoutCardAreRefused();
    void nullPointersAreRefused_data();
    void nullPointersAreRefused();

    void mainMenuIsCopied();
    void cardWithoutMenuHasNoMenu();
    void menuThatTheCardRemovesIsGone();
    void newMenuReplacesTheOld();
    void subMenuIsCopied();
    void subMenuWithoutTitleOrDefaultHasNone();
    void arraysAreReleasedOnce();
    void arrayOfTheOtherKindIsRefused();
    void foreignArrayIsRefused();
    void arraysOutliveTheCard();
    void textIsCutToItsField_data();
    void textIsCutToItsField();

    void everyEventHasAFreshIdentifier();
    void identifiersStayPositive();

    void menuChoiceIsChecked_data();
    void menuChoiceIsChecked();
    void menuChoiceGoesToTheCard_data();
    void menuChoiceGoesToTheCard();
    void menuChoiceDuringASessionIsRefused();
    void subMenuAnswerGoesToTheCard_data();
    void subMenuAnswerGoesToTheCard();
    void subMenuAnswerIsChecked_data();
    void subMenuAnswerIsChecked();
    void answerWithoutDataGoesToTheCard();
    void answerWithoutDataIsChecked_data();
    void answerWithoutDataIsChecked();
    void secondAnswerIsRefused();
    void answerToAnOlderCommandIsRefused();
    void dataOfOtherCommandsIsRefused_data();
    void dataOfOtherCommandsIsRefused();

private:
    void openSubMenu();

    std::shared_ptr<Script> m_script;
    int m_id = 0;
};

namespace
{

using Request = int (*)(int id, void *record);

constexpr std::size_t recordBytes = 2048;

struct RequestRow {
    const char *name;
    Request call;
};

/// Every function that writes a record.
const RequestRow getters[] = {
    {"GetMainMenu", [](int, void *out) { return MDSV_STKSrv_GetMainMenu(static_cast<MDSVStkMainMenu *>(out)); }},
    {"GetSubMenu", [](int id, void *out) { return MDSV_STKSrv_GetSubMenu(id, static_cast<MDSVStkSubMenu *>(out)); }},
    {"GetInputRequest",
     [](int id, void *out) { return MDSV_STKSrv_GetInputRequest(id, static_cast<MDSVStkInputData *>(out)); }},
    {"GetInKeyRequest",
     [](int id, void *out) { return MDSV_STKSrv_GetInKeyRequest(id, static_cast<MDSVStkInKeyData *>(out)); }},
    {"GetPromptText",
     [](int id, void *out) { return MDSV_STKSrv_GetPromptText(id, static_cast<MDSVStkPromptData *>(out)); }},
    {"GetPlayTone", [](int id, void *out) { return MDSV_STKSrv_GetPlayTone(id, static_cast<MDSVStkToneData *>(out)); }},
    {"GetLaunchBrowser",
     [](int id, void *out) { return MDSV_STKSrv_GetLaunchBrowser(id, static_cast<MDSVStkBrowserData *>(out)); }},
    {"GetIdleModePrompt",
     [](int id, void *out) { return MDSV_STKSrv_GetIdleModePrompt(id, static_cast<uint16_t *>(out)); }},
    {"GetRefreshInfo", [](int id, void *out) { return MDSV_STKSrv_GetRefreshInfo(id, out); }},
};

const uint16_t noText[] = {0};

/// Every function that sends something; the record is not used.
const RequestRow answers[] = {
    {"SelectMenuItem", [](int, void *) { return MDSV_STKSrv_SelectMenuItem(1, 1); }},
    {"SelectSubMenuItem", [](int id, void *) { return MDSV_STKSrv_SelectSubMenuItem(id, 1, 0x12); }},
    {"AnswerInput", [](int id, void *) { return MDSV_STKSrv_AnswerInput(id, 1, noText); }},
    {"AnswerInKey", [](int id, void *) { return MDSV_STKSrv_AnswerInKey(id, 1, noText); }},
    {"SendNoDataResponse", [](int id, void *) { return MDSV_STKSrv_SendNoDataResponse(id, 6, 0); }},
};

/// Functions that take a pointer and are not getters.
const RequestRow takers[] = {
    {"ReleaseMenus", [](int, void *) { return MDSV_STKSrv_ReleaseMenus(nullptr); }},
    {"ReleaseSubMenus", [](int, void *) { return MDSV_STKSrv_ReleaseSubMenus(nullptr); }},
    {"AnswerInput", [](int id, void *) { return MDSV_STKSrv_AnswerInput(id, 1, nullptr); }},
    {"AnswerInKey", [](int id, void *) { return MDSV_STKSrv_AnswerInKey(id, 1, nullptr); }},
    {"RegisterCallBack", [](int, void *) { return MDSV_STK_RegisterCallBack(nullptr); }},
    {"UnRegisterCallBack", [](int, void *) { return MDSV_STK_UnRegisterCallBack(nullptr); }},
    {"RegisterDevMgrCallback", [](int, void *) { return MDSV_DevSrv_RegisterDevMgrCallback(nullptr); }},
    {"UnRegisterDevMgrCallback", [](int, void *) { return MDSV_DevSrv_UnRegisterDevMgrCallback(nullptr); }},
};

QString textOf(const uint16_t *field)
{
    return QString::fromUtf16(field);
}

int number(Status status)
{
    return static_cast<int>(status);
}

} // namespace

Q_DECLARE_METATYPE(Request)
Q_DECLARE_METATYPE(std::u16string)

void tst_Sdk::init()
{
    events::reset();
    events::listen();
    QVERIFY(events::registerBoth());
}

void tst_Sdk::cleanup()
{
    sdk::shutDown();
    if (m_script)
        QVERIFY2(m_script->isDeleted(), "the channel outlives the library");
    m_script.reset();
    events::reset();
}

/// A sub-menu on screen: m_script and m_id are the card's and the command's.
void tst_Sdk::openSubMenu()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::selectItem);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(vectors::waitForEvent("STK 6"));
    m_id = events::lastId();
    m_script->forgetSent();
}

void tst_Sdk::requestsWithoutCardAreRefused_data()
{
    QTest::addColumn<Request>("request");
    for (const RequestRow &row : getters)
        QTest::newRow(row.name) << row.call;
    for (const RequestRow &row : answers)
        QTest::newRow(row.name) << row.call;
}

void tst_Sdk::requestsWithoutCardAreRefused()
{
    QFETCH(Request, request);
    const QByteArray before(int(recordBytes), '\x5A');
    alignas(8) char record[recordBytes];
    std::memcpy(record, before.constData(), recordBytes);
    QCOMPARE(request(1, record), number(Status::NoCard));
    QCOMPARE(QByteArray(record, int(recordBytes)), before);
}

void tst_Sdk::nullPointersAreRefused_data()
{
    QTest::addColumn<Request>("request");
    for (const RequestRow &row : getters)
        QTest::newRow(row.name) << row.call;
    for (const RequestRow &row : takers)
        QTest::newRow(row.name) << row.call;
}

void tst_Sdk::nullPointersAreRefused()
{
    QFETCH(Request, request);
    openSubMenu();
    QCOMPARE(request(m_id, nullptr), number(Status::BadArgument));
}

void tst_Sdk::mainMenuIsCopied()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    MDSVStkMainMenu menu;
    std::memset(&menu, 0x5A, sizeof menu);
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(textOf(menu.usTitle), QString("Menu"));
    QCOMPARE(int(menu.sItemCount), 2);
    QCOMPARE(int(menu.pItems[0].sItemId), 1);
    QCOMPARE(textOf(menu.pItems[0].usText), QString("News"));
    QCOMPARE(int(menu.pItems[1].sItemId), 0x80);
    QCOMPARE(textOf(menu.pItems[1].usText), QString("Odd"));
    QCOMPARE(int(menu.usTitle[255]), 0);
    QCOMPARE(int(menu.pItems[1].usText[255]), 0);

    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
    QCOMPARE(menu.pItems, nullptr);
    QCOMPARE(int(menu.sItemCount), 0);
}

void tst_Sdk::cardWithoutMenuHasNoMenu()
{
    m_script = std::make_shared<Script>();
    m_script->answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(vectors::waitForEvent("DEVICE 6602"));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoMenu));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::NoMenu));
    QCOMPARE(events::texts(), QStringList{"DEVICE 6602"});
}

void tst_Sdk::menuThatTheCardRemovesIsGone()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes(vectors::removeMenu).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(events::texts(), (QStringList{"STK 0", "STK 99"}));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), number(Status::NoMenu));
}

void tst_Sdk::newMenuReplacesTheOld()
{
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::removeMenu).proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(vectors::waitForEvent("DEVICE 6602"));
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    QCOMPARE(int(menu.sItemCount), 2);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
    QCOMPARE(events::texts(), (QStringList{"STK 0", "STK 0", "DEVICE 6602"}));
}

void tst_Sdk::subMenuIsCopied()
{
    openSubMenu();
    MDSVStkSubMenu menu;
    std::memset(&menu, 0x5A, sizeof menu);
    QCOMPARE(MDSV_STKSrv_GetSubMenu(m_id, &menu), 0);
    QCOMPARE(int(menu.sLeading), 0x12);
    QCOMPARE(textOf(menu.usTitle), QString("Where"));
    QCOMPARE(int(menu.sItemCount), 2);
    QCOMPARE(int(menu.pItems[1].sItemId), 0x12);
    QCOMPARE(textOf(menu.pItems[1].usText), QString("There"));
    QCOMPARE(MDSV_STKSrv_ReleaseSubMenus(&menu), 0);
    QCOMPARE(menu.pItems, nullptr);
    QCOMPARE(int(menu.sItemCount), 0);

    QCOMPARE(MDSV_STKSrv_GetSubMenu(m_id + 1, &menu), number(Status::StaleCommand));
    QCOMPARE(menu.pItems, nullptr);
}

void tst_Sdk::subMenuWithoutTitleOrDefaultHasNone()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->proposes("D010 8103012400 82028182 8F051148657265");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(vectors::waitForEvent("STK 6"));
    MDSVStkSubMenu menu;
    std::memset(&menu, 0x5A, sizeof menu);
    QCOMPARE(MDSV_STKSrv_GetSubMenu(events::lastId(), &menu), 0);
    QCOMPARE(int(menu.sLeading), 0);
    QCOMPARE(textOf(menu.usTitle), QString());
    QCOMPARE(int(menu.sItemCount), 1);
    QCOMPARE(MDSV_STKSrv_ReleaseSubMenus(&menu), 0);
}

void tst_Sdk::arraysAreReleasedOnce()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    MDSVStkMainMenu first;
    MDSVStkMainMenu second;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&first), 0);
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&second), 0);
    QVERIFY(first.pItems != second.pItems);
    MDSVStkMainMenu copy = first;

    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&first), 0);
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&first), number(Status::BadArgument));
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&copy), number(Status::BadArgument));
    QCOMPARE(textOf(second.pItems[0].usText), QString("News"));
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&second), 0);
}

void tst_Sdk::arrayOfTheOtherKindIsRefused()
{
    openSubMenu();
    MDSVStkSubMenu subMenu;
    QCOMPARE(MDSV_STKSrv_GetSubMenu(m_id, &subMenu), 0);
    MDSVStkMainMenu mainMenu = {};
    mainMenu.pItems = subMenu.pItems;
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&mainMenu), number(Status::BadArgument));
    QVERIFY(mainMenu.pItems);
    QCOMPARE(MDSV_STKSrv_ReleaseSubMenus(&subMenu), 0);
}

void tst_Sdk::foreignArrayIsRefused()
{
    MDSVStkMenuItem items[2] = {};
    MDSVStkMainMenu menu = {};
    menu.sItemCount = 2;
    menu.pItems = items;
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), number(Status::BadArgument));
    QCOMPARE(menu.pItems, &items[0]);
    QCOMPARE(events::notes().size(), 1);
}

void tst_Sdk::arraysOutliveTheCard()
{
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    MDSVStkMainMenu menu;
    QCOMPARE(MDSV_STKSrv_GetMainMenu(&menu), 0);
    sdk::detachDevice();
    sdk::shutDown();
    QCOMPARE(textOf(menu.pItems[0].usText), QString("News"));
    QCOMPARE(MDSV_STKSrv_ReleaseMenus(&menu), 0);
}

void tst_Sdk::textIsCutToItsField_data()
{
    QTest::addColumn<std::u16string>("text");
    QTest::addColumn<std::u16string>("expected");
    const std::u16string face = u"\U0001F600";
    const auto as = [](std::size_t count) { return std::u16string(count, u'a'); };
    QTest::newRow("empty") << as(0) << as(0);
    QTest::newRow("short") << as(3) << as(3);
    QTest::newRow("just fits") << as(255) << as(255);
    QTest::newRow("one too long") << as(256) << as(255);
    QTest::newRow("much too long") << as(1000) << as(255);
    QTest::newRow("pair just fits") << as(253) + face << as(253) + face;
    QTest::newRow("pair just fits before more") << as(253) + face + as(5) << as(253) + face;
    QTest::newRow("pair does not fit") << as(254) + face << as(254);
    QTest::newRow("pair behind the end") << as(255) + face << as(255);
    QTest::newRow("half a pair at the end") << as(254) + face.substr(0, 1) << as(254) + face.substr(0, 1);
}

void tst_Sdk::textIsCutToItsField()
{
    QFETCH(std::u16string, text);
    QFETCH(std::u16string, expected);
    uint16_t field[MDSV_STK_TEXT_UNITS + 1];
    std::memset(field, 0x5A, sizeof field);
    sdk::copyText(text, field);
    std::u16string whole(field, field + MDSV_STK_TEXT_UNITS);
    expected.resize(MDSV_STK_TEXT_UNITS);
    QVERIFY(whole == expected);
    QCOMPARE(int(field[MDSV_STK_TEXT_UNITS]), 0x5A5A);
}

void tst_Sdk::everyEventHasAFreshIdentifier()
{
    m_script = std::make_shared<Script>();
    m_script->proposes(vectors::setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(vectors::waitForEvent("DEVICE 6602"));
    m_script->proposes(vectors::selectItem).answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(vectors::waitForEvent("STK 6"));
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 1, 0x11), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));

    QList<int> ids;
    for (const events::Event &event : events::all()) {
        if (event.id != 0)
            ids.append(event.id);
    }
    QCOMPARE(ids, (QList<int>{1, 2, 3}));
}

void tst_Sdk::identifiersStayPositive()
{
    constexpr int menus = 32767 + 2;
    m_script = std::make_shared<Script>();
    for (int i = 0; i < menus; ++i)
        m_script->proposes(vectors::removeMenu);
    m_script->answers("9000");
    sdk::attachDevice(Script::channel(m_script));
    QVERIFY(QTest::qWaitFor([] { return events::has("DEVICE 6602"); }, 40000));
    const std::vector<events::Event> all = events::all();
    QCOMPARE(all[0].id, 1);
    QCOMPARE(all[32766].id, 32767);
    QCOMPARE(all[32767].id, 1);
    QCOMPARE(all[32768].id, 2);
}

void tst_Sdk::menuChoiceIsChecked_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("item");
    QTest::newRow("item that is not there") << 1 << 2;
    QTest::newRow("no item") << 1 << 0;
    QTest::newRow("negative") << 1 << -1;
    QTest::newRow("the same low byte as an item") << 1 << 0x101;
    QTest::newRow("128 read as a signed byte") << 1 << -128;
    QTest::newRow("first argument is not 1") << 2 << 1;
}

void tst_Sdk::menuChoiceIsChecked()
{
    QFETCH(int, first);
    QFETCH(int, item);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(first, static_cast<int16_t>(item)), number(Status::BadArgument));
    QCOMPARE(events::notes().size(), 1);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::chooseNews});
}

void tst_Sdk::menuChoiceGoesToTheCard_data()
{
    QTest::addColumn<int>("item");
    QTest::addColumn<QString>("apdu");
    QTest::newRow("first item") << 1 << vectors::chooseNews;
    QTest::newRow("identifier above 127") << 0x80 << vectors::chooseOdd;
}

void tst_Sdk::menuChoiceGoesToTheCard()
{
    QFETCH(int, item);
    QFETCH(QString, apdu);
    m_script = vectors::attachWithMenu();
    QVERIFY(m_script);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, static_cast<int16_t>(item)), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{apdu});
    QCOMPARE(events::texts(), QStringList{"STK 99"});
}

void tst_Sdk::menuChoiceDuringASessionIsRefused()
{
    openSubMenu();
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::SessionBusy));
    // The answer is on its way, the card thinks: still busy.
    m_script->hangs();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 3, 0), 0);
    QVERIFY(vectors::waitFor([this] { return m_script->isHanging(); }));
    QCOMPARE(MDSV_STKSrv_SelectMenuItem(1, 1), number(Status::SessionBusy));
    QCOMPARE(m_script->sent(), QStringList{vectors::wentBack});
}

void tst_Sdk::subMenuAnswerGoesToTheCard_data()
{
    QTest::addColumn<int>("action");
    QTest::addColumn<int>("item");
    QTest::addColumn<QString>("apdu");
    QTest::newRow("item") << 1 << 0x12 << vectors::choseThere;
    QTest::newRow("back") << 3 << 0 << vectors::wentBack;
    QTest::newRow("back with an item") << 3 << 0x12 << vectors::wentBack;
    QTest::newRow("neither") << 0 << 0 << vectors::endedSession;
}

void tst_Sdk::subMenuAnswerGoesToTheCard()
{
    QFETCH(int, action);
    QFETCH(int, item);
    QFETCH(QString, apdu);
    openSubMenu();
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, action, static_cast<int16_t>(item)), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{apdu});
}

void tst_Sdk::subMenuAnswerIsChecked_data()
{
    QTest::addColumn<int>("idOffset");
    QTest::addColumn<int>("action");
    QTest::addColumn<int>("item");
    QTest::addColumn<int>("status");
    QTest::newRow("item that is not there") << 0 << 1 << 0x13 << number(Status::BadArgument);
    QTest::newRow("item of the main menu") << 0 << 1 << 1 << number(Status::BadArgument);
    QTest::newRow("negative item") << 0 << 1 << -1 << number(Status::BadArgument);
    QTest::newRow("unknown action") << 0 << 2 << 0x12 << number(Status::BadArgument);
    QTest::newRow("another command") << 1 << 1 << 0x12 << number(Status::StaleCommand);
    QTest::newRow("the same low 16 bits") << 0x10000 << 1 << 0x12 << number(Status::StaleCommand);
}

void tst_Sdk::subMenuAnswerIsChecked()
{
    QFETCH(int, idOffset);
    QFETCH(int, action);
    QFETCH(int, item);
    QFETCH(int, status);
    openSubMenu();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id + idOffset, action, static_cast<int16_t>(item)), status);
    QCOMPARE(events::notes().size(), 1);
    // It stays open for another try.
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::choseThere});
}

void tst_Sdk::answerWithoutDataGoesToTheCard()
{
    openSubMenu();
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, 6, 0), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::unable});
}

void tst_Sdk::answerWithoutDataIsChecked_data()
{
    QTest::addColumn<int>("idOffset");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("result");
    QTest::addColumn<int>("status");
    QTest::newRow("another type") << 0 << 1 << 0 << number(Status::WrongCommand);
    QTest::newRow("end of session") << 0 << 99 << 0 << number(Status::WrongCommand);
    QTest::newRow("done, without an item") << 0 << 6 << 1 << number(Status::BadArgument);
    QTest::newRow("unknown result") << 0 << 6 << 77 << number(Status::BadArgument);
    QTest::newRow("another command") << -1 << 6 << 0 << number(Status::StaleCommand);
    QTest::newRow("the menu's event") << -1 << 0 << 0 << number(Status::StaleCommand);
}

void tst_Sdk::answerWithoutDataIsChecked()
{
    QFETCH(int, idOffset);
    QFETCH(int, type);
    QFETCH(int, result);
    QFETCH(int, status);
    openSubMenu();
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id + idOffset, type, result), status);
    QCOMPARE(events::notes().size(), 1);
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, 6, 0), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::unable});
}

void tst_Sdk::secondAnswerIsRefused()
{
    openSubMenu();
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), 0);
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(m_id, 1, 0x12), number(Status::StaleCommand));
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(m_id, 6, 0), number(Status::StaleCommand));
    MDSVStkSubMenu menu;
    QCOMPARE(MDSV_STKSrv_GetSubMenu(m_id, &menu), number(Status::StaleCommand));
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::choseThere});
    QCOMPARE(events::notes(),
             (QStringList{"answer to SELECT ITEM, command 2, action 1, item 18: refused, the command is not open any "
                          "more (3)",
                          "answer without data, command 2, type 6, result 0: refused, the command is not open any "
                          "more (3)"}));
    // The end of the session takes no answer either.
    QCOMPARE(MDSV_STKSrv_SendNoDataResponse(events::lastId(), 99, 0), number(Status::StaleCommand));
}

void tst_Sdk::answerToAnOlderCommandIsRefused()
{
    openSubMenu();
    const int old = m_id;
    m_script->proposes(vectors::selectItem);
    events::forget();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(old, 1, 0x12), 0);
    QVERIFY(vectors::waitForEvent("STK 6"));
    QVERIFY(events::lastId() != old);
    m_script->forgetSent();
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(old, 1, 0x12), number(Status::StaleCommand));
    m_script->answers("9000");
    QCOMPARE(MDSV_STKSrv_SelectSubMenuItem(events::lastId(), 3, 0), 0);
    QVERIFY(vectors::waitForEvent("STK 99"));
    QCOMPARE(m_script->sent(), QStringList{vectors::wentBack});
}

void tst_Sdk::dataOfOtherCommandsIsRefused_data()
{
    QTest::addColumn<Request>("request");
    for (const RequestRow &row : getters) {
        if (std::strcmp(row.name, "GetMainMenu") != 0 && std::strcmp(row.name, "GetSubMenu") != 0)
            QTest::newRow(row.name) << row.call;
    }
    QTest::newRow("AnswerInput") << answers[2].call;
    QTest::newRow("AnswerInKey") << answers[3].call;
}

void tst_Sdk::dataOfOtherCommandsIsRefused()
{
    QFETCH(Request, request);
    openSubMenu();
    const QByteArray before(int(recordBytes), '\x5A');
    alignas(8) char record[recordBytes];
    std::memcpy(record, before.constData(), recordBytes);
    QCOMPARE(request(m_id, record), number(Status::WrongCommand));
    QCOMPARE(request(m_id + 1, record), number(Status::StaleCommand));
    QCOMPARE(QByteArray(record, int(recordBytes)), before);
    QVERIFY(m_script->sent().isEmpty());
}

QTEST_GUILESS_MAIN(tst_Sdk)
#include "tst_Sdk.moc"
