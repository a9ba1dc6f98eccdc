#ifndef MDSVSTK_H
#define MDSVSTK_H

/*
 * The STK service of the device-service library (libsdk): plain C, every name begins with MDSV.
 *
 * The records are a binary interface with a library that is not rebuilt with its callers: little-endian, natural
 * alignment, texts as zero-terminated arrays of UTF-16 code units. The interface is a 32-bit one; where pointers are
 * 4 bytes wide every offset and size below is checked at compile time, and where they are wider the records without
 * pointers keep the same layout.
 *
 * Status: every function returns 0 for success and any other value for failure. After a failure the output record is
 * unspecified.
 *
 * Threads: requests are called on one thread, the caller's user-interface thread. The library calls the callbacks on
 * a thread of its choosing, that one included, and holds no lock meanwhile: a callback may call requests.
 *
 * Command types and results follow ETSI TS 102 223 (card application toolkit), where they have a meaning on the air.
 */

#include <stddef.h>
#include <stdint.h>

/* An enumeration with a fixed 32-bit representation; a value outside the named ones is legal. */
#ifdef __cplusplus
#define MDSV_ENUM(name) enum name : int32_t
#else
#define MDSV_ENUM(name)   \
    typedef int32_t name; \
    enum
#endif

/* Every text field holds this many UTF-16 code units, the terminating zero included. */
#define MDSV_STK_TEXT_UNITS 256

/* Size of the buffer for MDSV_STKSrv_GetRefreshInfo, in bytes. */
#define MDSV_STK_REFRESH_BYTES 516

/* Event codes of the device manager; every other code is to be ignored. */
#define MDSV_DEVICE_REMOVED 6601
#define MDSV_DEVICE_AVAILABLE 6602
#define MDSV_DEVICE_UNAVAILABLE 6603

#ifdef __cplusplus
extern "C" {
#endif

/* clang-format off: it takes the macro for a variable */

/* Proactive command in a notify record (ETSI TS 102 223, clause 6.4). */
MDSV_ENUM(_MDSV_EN_STKTYPE){MDSV_STKTYPE_SETUP_MENU = 0,
                            MDSV_STKTYPE_DISPLAY_TEXT = 1,
                            MDSV_STKTYPE_GET_INKEY = 2,
                            MDSV_STKTYPE_GET_INPUT = 3,
                            MDSV_STKTYPE_SETUP_CALL = 4,
                            MDSV_STKTYPE_PLAY_TONE = 5,
                            MDSV_STKTYPE_SELECT_ITEM = 6,
                            MDSV_STKTYPE_REFRESH = 7,
                            MDSV_STKTYPE_SEND_SS = 8,
                            MDSV_STKTYPE_SEND_SMS = 9,
                            MDSV_STKTYPE_SEND_USSD = 10,
                            MDSV_STKTYPE_LAUNCH_BROWSER = 11,
                            MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT = 12,
                            MDSV_STKTYPE_END_SESSION = 99};

/* The same numbers, as the user interface names the command in a terminal response without data. */
MDSV_ENUM(_STK_UI_EN_STKTYPE){STK_UI_STKTYPE_SETUP_MENU = 0,
                              STK_UI_STKTYPE_DISPLAY_TEXT = 1,
                              STK_UI_STKTYPE_GET_INKEY = 2,
                              STK_UI_STKTYPE_GET_INPUT = 3,
                              STK_UI_STKTYPE_SETUP_CALL = 4,
                              STK_UI_STKTYPE_PLAY_TONE = 5,
                              STK_UI_STKTYPE_SELECT_ITEM = 6,
                              STK_UI_STKTYPE_REFRESH = 7,
                              STK_UI_STKTYPE_SEND_SS = 8,
                              STK_UI_STKTYPE_SEND_SMS = 9,
                              STK_UI_STKTYPE_SEND_USSD = 10,
                              STK_UI_STKTYPE_LAUNCH_BROWSER = 11,
                              STK_UI_STKTYPE_SETUP_IDLE_MODE_TEXT = 12,
                              STK_UI_STKTYPE_END_SESSION = 99};

/* Result in a terminal response without data. */
MDSV_ENUM(_STK_UI_EN_TERMINALRESPONSE){
    STK_UI_RESPONSE_NOT_HANDLED = 0, /* the user interface could not handle it, or the user answered No or Cancel */
    STK_UI_RESPONSE_DONE = 1,        /* carried out */
    STK_UI_RESPONSE_NO_CALL = 4      /* SET UP CALL: the user interface sets up no calls itself */
};

/* Second argument of MDSV_STKSrv_SelectSubMenuItem. */
MDSV_ENUM(_MDSV_EN_SUBMENU_ACTION){MDSV_SUBMENU_ACTION_NONE = 0, MDSV_SUBMENU_ACTION_SELECT = 1,
                                   MDSV_SUBMENU_ACTION_BACK = 3};

/* clang-format on */

/* Arrival of a proactive command. Owned by the library and valid only during the callback. */
typedef struct MDSVStkNotifyData {
    _MDSV_EN_STKTYPE enStkType;
    int16_t sCmdId;   /* identifier of the command: passed back in every request about it */
    int32_t nTimeOut; /* 1: the card's session timed out; the command type then says nothing */
} MDSVStkNotifyData;

typedef struct MDSVStkMenuItem {
    int16_t sItemId;
    uint16_t usText[MDSV_STK_TEXT_UNITS];
} MDSVStkMenuItem;

/* SET UP MENU. The item array is the library's until MDSV_STKSrv_ReleaseMenus. */
typedef struct MDSVStkMainMenu {
    uint16_t usTitle[MDSV_STK_TEXT_UNITS];
    int16_t sItemCount; /* 0 or negative: no items */
    MDSVStkMenuItem *pItems;
} MDSVStkMainMenu;

/* SELECT ITEM. The item array is the library's until MDSV_STKSrv_ReleaseSubMenus. The two fields of padding keep the
   offsets of the interface, which the compiler would not leave by itself. */
typedef struct MDSVStkSubMenu {
    int16_t sLeading; /* identifier of the default item in this library, 0 for none; callers need not read it */
    uint16_t usTitle[MDSV_STK_TEXT_UNITS];
    uint8_t ucPadding1[2];
    int16_t sItemCount; /* 0 or negative: no items */
    uint8_t ucPadding2[2];
    MDSVStkMenuItem *pItems;
} MDSVStkSubMenu;

/* GET INPUT. */
typedef struct MDSVStkInputData {
    uint16_t usPrompt[MDSV_STK_TEXT_UNITS];
    int32_t nInputType; /* 0 characters of the default alphabet, 1 yes/no, 2 digits * + #, 3 any character */
    int32_t nEcho;      /* 1 show the typed characters, 0 hide them */
    int16_t sMinLen;    /* in characters */
    int16_t sMaxLen;
    int32_t nOption; /* 1: the card offers help */
    uint16_t usDefaultText[MDSV_STK_TEXT_UNITS];
} MDSVStkInputData;

/* GET INKEY. */
typedef struct MDSVStkInKeyData {
    uint16_t usPrompt[MDSV_STK_TEXT_UNITS];
    int32_t nInputType;  /* as in MDSVStkInputData */
    int32_t nOption;     /* 1: the card offers help */
    uint16_t usDuration; /* time-out of the request in milliseconds, 0 for none */
} MDSVStkInKeyData;

/* PLAY TONE. */
typedef struct MDSVStkToneData {
    int32_t nTone;       /* tone number of ETSI TS 102 223, clause 8.16 */
    uint16_t usDuration; /* seconds */
    uint16_t usText[MDSV_STK_TEXT_UNITS];
} MDSVStkToneData;

/* LAUNCH BROWSER. */
typedef struct MDSVStkBrowserData {
    int32_t nMode; /* 0, 2 or 3: the command qualifier of ETSI TS 102 223, clause 8.6 */
    uint16_t usUrl[MDSV_STK_TEXT_UNITS];
} MDSVStkBrowserData;

/* DISPLAY TEXT. */
typedef struct MDSVStkPromptData {
    uint16_t usText[MDSV_STK_TEXT_UNITS];
    int32_t nClearMode;  /* 0: the text clears itself; anything else: the user clears it */
    uint16_t usDuration; /* seconds on display, 0 for the window's default */
} MDSVStkPromptData;

/* STK event. `nEvent` carries nothing; `pNotifyData` points to an MDSVStkNotifyData or is null. */
typedef int (*MDSVSTKCALLBACK)(int nEvent, void *pNotifyData);

/* Device event: `nEvent` is one of the device event codes, the pointer carries nothing. */
typedef int (*MDSVDEVMGRCALLBACK)(int nEvent, void *pNotifyData);

/* Start and stop delivering STK events. After the second has returned the function is not called any more; called
   from within the callback itself, it returns at once and that call is the last. */
int MDSV_STK_RegisterCallBack(MDSVSTKCALLBACK pCallback);
int MDSV_STK_UnRegisterCallBack(MDSVSTKCALLBACK pCallback);

/* The same for device events. */
int MDSV_DevSrv_RegisterDevMgrCallback(MDSVDEVMGRCALLBACK pCallback);
int MDSV_DevSrv_UnRegisterDevMgrCallback(MDSVDEVMGRCALLBACK pCallback);

/* The menu that the card installed with SET UP MENU. The record goes back to MDSV_STKSrv_ReleaseMenus, once, and only
   if the fetch succeeded. */
int MDSV_STKSrv_GetMainMenu(MDSVStkMainMenu *pMenu);
int MDSV_STKSrv_ReleaseMenus(MDSVStkMainMenu *pMenu);

/* The items of a SELECT ITEM command; the record goes back to MDSV_STKSrv_ReleaseSubMenus. */
int MDSV_STKSrv_GetSubMenu(int nCmdId, MDSVStkSubMenu *pMenu);
int MDSV_STKSrv_ReleaseSubMenus(MDSVStkSubMenu *pMenu);

/* Sends the user's choice from the main menu to the card. The first argument is always 1. */
int MDSV_STKSrv_SelectMenuItem(int nAlwaysOne, int16_t sItemId);

/* Answers SELECT ITEM; `nAction` is an _MDSV_EN_SUBMENU_ACTION. */
int MDSV_STKSrv_SelectSubMenuItem(int nCmdId, int nAction, int16_t sItemId);

/* The data of one command. */
int MDSV_STKSrv_GetInputRequest(int nCmdId, MDSVStkInputData *pData);
int MDSV_STKSrv_GetInKeyRequest(int nCmdId, MDSVStkInKeyData *pData);
int MDSV_STKSrv_GetPromptText(int nCmdId, MDSVStkPromptData *pData);
int MDSV_STKSrv_GetPlayTone(int nCmdId, MDSVStkToneData *pData);
int MDSV_STKSrv_GetLaunchBrowser(int nCmdId, MDSVStkBrowserData *pData);

/* The text of SET UP IDLE MODE TEXT, into a buffer of MDSV_STK_TEXT_UNITS units. */
int MDSV_STKSrv_GetIdleModePrompt(int nCmdId, uint16_t *pText);

/* The data of REFRESH, into a buffer of MDSV_STK_REFRESH_BYTES bytes. */
int MDSV_STKSrv_GetRefreshInfo(int nCmdId, void *pBuffer);

/* Answers GET INPUT and GET INKEY. `nConfirmed`: 1 confirmed, 0 cancelled. `pAnswer` is zero-terminated UTF-16, valid
   during the call only: the library copies it. */
int MDSV_STKSrv_AnswerInput(int nCmdId, int nConfirmed, const uint16_t *pAnswer);
int MDSV_STKSrv_AnswerInKey(int nCmdId, int nConfirmed, const uint16_t *pAnswer);

/* Sends a terminal response without data; `nType` is an _STK_UI_EN_STKTYPE, `nResult` an
   _STK_UI_EN_TERMINALRESPONSE. */
int MDSV_STKSrv_SendNoDataResponse(int nCmdId, int nType, int nResult);

#ifdef __cplusplus
}
#endif

/* The layout, checked by the compiler. */
#ifdef __cplusplus
#define MDSV_ASSERT(name, condition) static_assert(condition, #name)
#else
#define MDSV_ASSERT(name, condition) typedef char MDSV_assert_##name[(condition) ? 1 : -1]
#endif
#define MDSV_ASSERT_SIZE(record, bytes) MDSV_ASSERT(record##_size, sizeof(record) == (bytes))
#define MDSV_ASSERT_OFFSET(record, field, bytes) MDSV_ASSERT(record##_##field, offsetof(record, field) == (bytes))

MDSV_ASSERT_SIZE(MDSVStkNotifyData, 12);
MDSV_ASSERT_OFFSET(MDSVStkNotifyData, enStkType, 0);
MDSV_ASSERT_OFFSET(MDSVStkNotifyData, sCmdId, 4);
MDSV_ASSERT_OFFSET(MDSVStkNotifyData, nTimeOut, 8);

MDSV_ASSERT_SIZE(MDSVStkMenuItem, 514);
MDSV_ASSERT_OFFSET(MDSVStkMenuItem, sItemId, 0);
MDSV_ASSERT_OFFSET(MDSVStkMenuItem, usText, 2);

MDSV_ASSERT_OFFSET(MDSVStkMainMenu, usTitle, 0);
MDSV_ASSERT_OFFSET(MDSVStkMainMenu, sItemCount, 512);

MDSV_ASSERT_OFFSET(MDSVStkSubMenu, sLeading, 0);
MDSV_ASSERT_OFFSET(MDSVStkSubMenu, usTitle, 2);
MDSV_ASSERT_OFFSET(MDSVStkSubMenu, sItemCount, 516);
MDSV_ASSERT_OFFSET(MDSVStkSubMenu, pItems, 520);

MDSV_ASSERT_SIZE(MDSVStkInputData, 1040);
MDSV_ASSERT_OFFSET(MDSVStkInputData, usPrompt, 0);
MDSV_ASSERT_OFFSET(MDSVStkInputData, nInputType, 512);
MDSV_ASSERT_OFFSET(MDSVStkInputData, nEcho, 516);
MDSV_ASSERT_OFFSET(MDSVStkInputData, sMinLen, 520);
MDSV_ASSERT_OFFSET(MDSVStkInputData, sMaxLen, 522);
MDSV_ASSERT_OFFSET(MDSVStkInputData, nOption, 524);
MDSV_ASSERT_OFFSET(MDSVStkInputData, usDefaultText, 528);

MDSV_ASSERT_SIZE(MDSVStkInKeyData, 524);
MDSV_ASSERT_OFFSET(MDSVStkInKeyData, usPrompt, 0);
MDSV_ASSERT_OFFSET(MDSVStkInKeyData, nInputType, 512);
MDSV_ASSERT_OFFSET(MDSVStkInKeyData, nOption, 516);
MDSV_ASSERT_OFFSET(MDSVStkInKeyData, usDuration, 520);

MDSV_ASSERT_SIZE(MDSVStkToneData, 520);
MDSV_ASSERT_OFFSET(MDSVStkToneData, nTone, 0);
MDSV_ASSERT_OFFSET(MDSVStkToneData, usDuration, 4);
MDSV_ASSERT_OFFSET(MDSVStkToneData, usText, 6);

MDSV_ASSERT_SIZE(MDSVStkBrowserData, 516);
MDSV_ASSERT_OFFSET(MDSVStkBrowserData, nMode, 0);
MDSV_ASSERT_OFFSET(MDSVStkBrowserData, usUrl, 4);

MDSV_ASSERT_SIZE(MDSVStkPromptData, 520);
MDSV_ASSERT_OFFSET(MDSVStkPromptData, usText, 0);
MDSV_ASSERT_OFFSET(MDSVStkPromptData, nClearMode, 512);
MDSV_ASSERT_OFFSET(MDSVStkPromptData, usDuration, 516);

#if UINTPTR_MAX == 0xffffffffu
MDSV_ASSERT_SIZE(MDSVStkMainMenu, 520);
MDSV_ASSERT_OFFSET(MDSVStkMainMenu, pItems, 516);
MDSV_ASSERT_SIZE(MDSVStkSubMenu, 524);
#endif

#undef MDSV_ASSERT_OFFSET
#undef MDSV_ASSERT_SIZE
#undef MDSV_ASSERT

#endif /* MDSVSTK_H */
