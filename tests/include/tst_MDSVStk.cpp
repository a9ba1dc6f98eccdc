#include "layout.h"

#include "sdk/MDSVStk.h"

#include <QtCore/QHash>
#include <QtTest/QtTest>

#include <cstring>
#include <type_traits>

/// The records of the device-service interface on this machine, and the names and numbers of its enumerations.
class tst_MDSVStk : public QObject
{
    Q_OBJECT

private slots:
    void fieldsStandWhereTheInterfacePutsThem_data();
    void fieldsStandWhereTheInterfacePutsThem();
    void cAndCxxAgreeOnTheLayout();
    void menuItemsFollowEachOtherDirectly();
    void commandTypesHaveTheirNumbers();
    void enumerationsAre32BitAndTakeAnyValue();
    void buffersHoldWhatTheLibraryWrites();
    void functionsHaveTheirSignatures();
};

namespace
{
#define RECORD(record)                 \
    {                                  \
#record, "", 0, sizeof(record) \
    }
#define FIELD(record, field)                                            \
    {                                                                   \
#record, #field, offsetof(record, field), sizeof(record::field) \
    }

const LayoutRow CXX_ROWS[] = {FIELD(MDSVStkMainMenu, pItems),
                              FIELD(MDSVStkMainMenu, sItemCount),
                              FIELD(MDSVStkSubMenu, pItems),
                              RECORD(MDSVStkMainMenu),
                              RECORD(MDSVStkSubMenu),
                              RECORD(MDSVStkInputData),
                              RECORD(MDSVStkInKeyData),
                              RECORD(MDSVStkToneData),
                              RECORD(MDSVStkBrowserData),
                              RECORD(MDSVStkPromptData),
                              RECORD(MDSVStkNotifyData),
                              RECORD(MDSVStkMenuItem),
                              FIELD(MDSVStkToneData, usText),
                              FIELD(MDSVStkInputData, nOption),
                              FIELD(MDSVStkSubMenu, sItemCount),
                              FIELD(MDSVStkSubMenu, usTitle),
                              FIELD(MDSVStkPromptData, nClearMode)};

const LayoutRow *cRow(const char *record, const char *field)
{
    for (size_t i = 0; i < layoutRowCount; ++i) {
        if (!std::strcmp(layoutRows[i].record, record) && !std::strcmp(layoutRows[i].field, field))
            return &layoutRows[i];
    }
    return nullptr;
}

const int TEXT = 512; ///< bytes of a text field
} // namespace

void tst_MDSVStk::fieldsStandWhereTheInterfacePutsThem_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<QString>("field");
    QTest::addColumn<int>("offset");
    QTest::addColumn<int>("size");

    const struct {
        const char *record;
        const char *field;
        int offset;
        int size;
    } rows[] = {
        {"MDSVStkNotifyData", "", 0, 12},
        {"MDSVStkNotifyData", "enStkType", 0, 4},
        {"MDSVStkNotifyData", "sCmdId", 4, 2},
        {"MDSVStkNotifyData", "nTimeOut", 8, 4},
        {"MDSVStkMenuItem", "", 0, 514},
        {"MDSVStkMenuItem", "sItemId", 0, 2},
        {"MDSVStkMenuItem", "usText", 2, TEXT},
        {"MDSVStkMainMenu", "usTitle", 0, TEXT},
        {"MDSVStkMainMenu", "sItemCount", 512, 2},
        // The pointer is naturally aligned: 516 where it is 4 bytes wide, 520 where it is 8.
        {"MDSVStkMainMenu", "pItems", sizeof(void *) == 4 ? 516 : 520, int(sizeof(void *))},
        {"MDSVStkMainMenu", "", 0, sizeof(void *) == 4 ? 520 : 528},
        {"MDSVStkSubMenu", "sLeading", 0, 2},
        {"MDSVStkSubMenu", "usTitle", 2, TEXT},
        {"MDSVStkSubMenu", "sItemCount", 516, 2},
        {"MDSVStkSubMenu", "pItems", 520, int(sizeof(void *))},
        {"MDSVStkSubMenu", "", 0, sizeof(void *) == 4 ? 524 : 528},
        {"MDSVStkInputData", "", 0, 1040},
        {"MDSVStkInputData", "usPrompt", 0, TEXT},
        {"MDSVStkInputData", "nInputType", 512, 4},
        {"MDSVStkInputData", "nEcho", 516, 4},
        {"MDSVStkInputData", "sMinLen", 520, 2},
        {"MDSVStkInputData", "sMaxLen", 522, 2},
        {"MDSVStkInputData", "nOption", 524, 4},
        {"MDSVStkInputData", "usDefaultText", 528, TEXT},
        {"MDSVStkInKeyData", "", 0, 524},
        {"MDSVStkInKeyData", "usPrompt", 0, TEXT},
        {"MDSVStkInKeyData", "nInputType", 512, 4},
        {"MDSVStkInKeyData", "nOption", 516, 4},
        {"MDSVStkInKeyData", "usDuration", 520, 2},
        {"MDSVStkToneData", "", 0, 520},
        {"MDSVStkToneData", "nTone", 0, 4},
        {"MDSVStkToneData", "usDuration", 4, 2},
        {"MDSVStkToneData", "usText", 6, TEXT},
        {"MDSVStkBrowserData", "", 0, 516},
        {"MDSVStkBrowserData", "nMode", 0, 4},
        {"MDSVStkBrowserData", "usUrl", 4, TEXT},
        {"MDSVStkPromptData", "", 0, 520},
        {"MDSVStkPromptData", "usText", 0, TEXT},
        {"MDSVStkPromptData", "nClearMode", 512, 4},
        {"MDSVStkPromptData", "usDuration", 516, 2},
    };
    for (const auto &row : rows) {
        QTest::addRow("%s.%s", row.record, *row.field ? row.field : "(size)")
            << row.record << row.field << row.offset << row.size;
    }
    QCOMPARE(sizeof(rows) / sizeof(rows[0]), layoutRowCount);
}

void tst_MDSVStk::fieldsStandWhereTheInterfacePutsThem()
{
    QFETCH(QString, record);
    QFETCH(QString, field);
    QFETCH(int, offset);
    QFETCH(int, size);

    const LayoutRow *row = cRow(qPrintable(record), qPrintable(field));
    QVERIFY(row);
    QCOMPARE(int(row->offset), offset);
    QCOMPARE(int(row->size), size);
}

void tst_MDSVStk::cAndCxxAgreeOnTheLayout()
{
    for (const LayoutRow &row : CXX_ROWS) {
        const LayoutRow *other = cRow(row.record, row.field);
        QVERIFY2(other, row.field);
        QCOMPARE(row.offset, other->offset);
        QCOMPARE(row.size, other->size);
    }
}

void tst_MDSVStk::menuItemsFollowEachOtherDirectly()
{
    const MDSVStkMenuItem items[3] = {};
    const char *first = reinterpret_cast<const char *>(&items[0]);
    QCOMPARE(int(reinterpret_cast<const char *>(&items[2]) - first), 2 * 514);
}

void tst_MDSVStk::commandTypesHaveTheirNumbers()
{
    const struct {
        int service;
        int ui;
        int number;
    } rows[] = {
        {MDSV_STKTYPE_SETUP_MENU, STK_UI_STKTYPE_SETUP_MENU, 0},
        {MDSV_STKTYPE_DISPLAY_TEXT, STK_UI_STKTYPE_DISPLAY_TEXT, 1},
        {MDSV_STKTYPE_GET_INKEY, STK_UI_STKTYPE_GET_INKEY, 2},
        {MDSV_STKTYPE_GET_INPUT, STK_UI_STKTYPE_GET_INPUT, 3},
        {MDSV_STKTYPE_SETUP_CALL, STK_UI_STKTYPE_SETUP_CALL, 4},
        {MDSV_STKTYPE_PLAY_TONE, STK_UI_STKTYPE_PLAY_TONE, 5},
        {MDSV_STKTYPE_SELECT_ITEM, STK_UI_STKTYPE_SELECT_ITEM, 6},
        {MDSV_STKTYPE_REFRESH, STK_UI_STKTYPE_REFRESH, 7},
        {MDSV_STKTYPE_SEND_SS, STK_UI_STKTYPE_SEND_SS, 8},
        {MDSV_STKTYPE_SEND_SMS, STK_UI_STKTYPE_SEND_SMS, 9},
        {MDSV_STKTYPE_SEND_USSD, STK_UI_STKTYPE_SEND_USSD, 10},
        {MDSV_STKTYPE_LAUNCH_BROWSER, STK_UI_STKTYPE_LAUNCH_BROWSER, 11},
        {MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT, STK_UI_STKTYPE_SETUP_IDLE_MODE_TEXT, 12},
        {MDSV_STKTYPE_END_SESSION, STK_UI_STKTYPE_END_SESSION, 99},
    };
    for (const auto &row : rows) {
        QCOMPARE(row.service, row.number);
        QCOMPARE(row.ui, row.number);
    }
    QCOMPARE(int(STK_UI_RESPONSE_NOT_HANDLED), 0);
    QCOMPARE(int(STK_UI_RESPONSE_DONE), 1);
    QCOMPARE(int(STK_UI_RESPONSE_NO_CALL), 4);
    QCOMPARE(int(MDSV_SUBMENU_ACTION_NONE), 0);
    QCOMPARE(int(MDSV_SUBMENU_ACTION_SELECT), 1);
    QCOMPARE(int(MDSV_SUBMENU_ACTION_BACK), 3);
    QCOMPARE(MDSV_DEVICE_REMOVED, 6601);
    QCOMPARE(MDSV_DEVICE_AVAILABLE, 6602);
    QCOMPARE(MDSV_DEVICE_UNAVAILABLE, 6603);
}

void tst_MDSVStk::enumerationsAre32BitAndTakeAnyValue()
{
    QCOMPARE(sizeof(_MDSV_EN_STKTYPE), size_t(4));
    QCOMPARE(sizeof(_STK_UI_EN_STKTYPE), size_t(4));
    QCOMPARE(sizeof(_STK_UI_EN_TERMINALRESPONSE), size_t(4));
    for (int value : {-1, 13, 98, 100, INT_MAX, INT_MIN}) {
        QCOMPARE(int(_MDSV_EN_STKTYPE(value)), value);
        QCOMPARE(int(_STK_UI_EN_STKTYPE(value)), value);
        QCOMPARE(int(_STK_UI_EN_TERMINALRESPONSE(value)), value);
    }
}

/// The two requests that fill a buffer without a record: the library writes this much, whatever it is given.
void tst_MDSVStk::buffersHoldWhatTheLibraryWrites()
{
    QCOMPARE(MDSV_STK_TEXT_UNITS, 256);
    QCOMPARE(MDSV_STK_REFRESH_BYTES, 516);
}

void tst_MDSVStk::functionsHaveTheirSignatures()
{
#define SIGNATURE(function, ...) QVERIFY((std::is_same<decltype(&function), int (*)(__VA_ARGS__)>::value))
    QVERIFY((std::is_same<MDSVSTKCALLBACK, int (*)(int, void *)>::value));
    QVERIFY((std::is_same<MDSVDEVMGRCALLBACK, int (*)(int, void *)>::value));
    SIGNATURE(MDSV_STK_RegisterCallBack, MDSVSTKCALLBACK);
    SIGNATURE(MDSV_STK_UnRegisterCallBack, MDSVSTKCALLBACK);
    SIGNATURE(MDSV_DevSrv_RegisterDevMgrCallback, MDSVDEVMGRCALLBACK);
    SIGNATURE(MDSV_DevSrv_UnRegisterDevMgrCallback, MDSVDEVMGRCALLBACK);
    SIGNATURE(MDSV_STKSrv_GetMainMenu, MDSVStkMainMenu *);
    SIGNATURE(MDSV_STKSrv_ReleaseMenus, MDSVStkMainMenu *);
    SIGNATURE(MDSV_STKSrv_GetSubMenu, int, MDSVStkSubMenu *);
    SIGNATURE(MDSV_STKSrv_ReleaseSubMenus, MDSVStkSubMenu *);
    SIGNATURE(MDSV_STKSrv_SelectMenuItem, int, int16_t);
    SIGNATURE(MDSV_STKSrv_SelectSubMenuItem, int, int, int16_t);
    SIGNATURE(MDSV_STKSrv_GetInputRequest, int, MDSVStkInputData *);
    SIGNATURE(MDSV_STKSrv_GetInKeyRequest, int, MDSVStkInKeyData *);
    SIGNATURE(MDSV_STKSrv_AnswerInput, int, int, const uint16_t *);
    SIGNATURE(MDSV_STKSrv_AnswerInKey, int, int, const uint16_t *);
    SIGNATURE(MDSV_STKSrv_GetPromptText, int, MDSVStkPromptData *);
    SIGNATURE(MDSV_STKSrv_GetPlayTone, int, MDSVStkToneData *);
    SIGNATURE(MDSV_STKSrv_GetLaunchBrowser, int, MDSVStkBrowserData *);
    SIGNATURE(MDSV_STKSrv_GetIdleModePrompt, int, uint16_t *);
    SIGNATURE(MDSV_STKSrv_GetRefreshInfo, int, void *);
    SIGNATURE(MDSV_STKSrv_SendNoDataResponse, int, int, int);
#undef SIGNATURE
}

QTEST_APPLESS_MAIN(tst_MDSVStk)
#include "tst_MDSVStk.moc"
