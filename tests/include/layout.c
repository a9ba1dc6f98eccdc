#include "layout.h"

#include "sdk/MDSVStk.h"

#define RECORD(record)                 \
    {                                  \
#record, "", 0, sizeof(record) \
    }
#define FIELD(record, field)                                                   \
    {                                                                          \
#record, #field, offsetof(record, field), sizeof(((record *)0)->field) \
    }

const struct LayoutRow layoutRows[] = {
    RECORD(MDSVStkNotifyData),
    FIELD(MDSVStkNotifyData, enStkType),
    FIELD(MDSVStkNotifyData, sCmdId),
    FIELD(MDSVStkNotifyData, nTimeOut),
    RECORD(MDSVStkMenuItem),
    FIELD(MDSVStkMenuItem, sItemId),
    FIELD(MDSVStkMenuItem, usText),
    RECORD(MDSVStkMainMenu),
    FIELD(MDSVStkMainMenu, usTitle),
    FIELD(MDSVStkMainMenu, sItemCount),
    FIELD(MDSVStkMainMenu, pItems),
    RECORD(MDSVStkSubMenu),
    FIELD(MDSVStkSubMenu, sLeading),
    FIELD(MDSVStkSubMenu, usTitle),
    FIELD(MDSVStkSubMenu, sItemCount),
    FIELD(MDSVStkSubMenu, pItems),
    RECORD(MDSVStkInputData),
    FIELD(MDSVStkInputData, usPrompt),
    FIELD(MDSVStkInputData, nInputType),
    FIELD(MDSVStkInputData, nEcho),
    FIELD(MDSVStkInputData, sMinLen),
    FIELD(MDSVStkInputData, sMaxLen),
    FIELD(MDSVStkInputData, nOption),
    FIELD(MDSVStkInputData, usDefaultText),
    RECORD(MDSVStkInKeyData),
    FIELD(MDSVStkInKeyData, usPrompt),
    FIELD(MDSVStkInKeyData, nInputType),
    FIELD(MDSVStkInKeyData, nOption),
    FIELD(MDSVStkInKeyData, usDuration),
    RECORD(MDSVStkToneData),
    FIELD(MDSVStkToneData, nTone),
    FIELD(MDSVStkToneData, usDuration),
    FIELD(MDSVStkToneData, usText),
    RECORD(MDSVStkBrowserData),
    FIELD(MDSVStkBrowserData, nMode),
    FIELD(MDSVStkBrowserData, usUrl),
    RECORD(MDSVStkPromptData),
    FIELD(MDSVStkPromptData, usText),
    FIELD(MDSVStkPromptData, nClearMode),
    FIELD(MDSVStkPromptData, usDuration),
};

const size_t layoutRowCount = sizeof(layoutRows) / sizeof(layoutRows[0]);
