#include "SdkStub.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace
{

std::vector<MDSVStkMenuItem> items;
uint16_t title[MDSV_STK_TEXT_UNITS];

void fill(uint16_t (&field)[MDSV_STK_TEXT_UNITS], int characters)
{
    const int length = std::min(characters, MDSV_STK_TEXT_UNITS - 1);
    std::fill(field, field + length, uint16_t('x'));
    field[length] = 0;
}

template <class Menu>
int hand(Menu *menu)
{
    std::memcpy(menu->usTitle, title, sizeof title);
    menu->sItemCount = static_cast<int16_t>(items.size());
    menu->pItems = items.data();
    return 0;
}

} // namespace

namespace stub
{

void setMenu(int count, int characters)
{
    items.assign(static_cast<std::size_t>(count), MDSVStkMenuItem());
    for (std::size_t i = 0; i < items.size(); ++i) {
        items[i].sItemId = static_cast<int16_t>(i + 1);
        fill(items[i].usText, characters);
    }
    fill(title, 16);
}

const MDSVStkMenuItem *menuItems()
{
    return items.data();
}

int menuSize()
{
    return static_cast<int>(items.size());
}

const uint16_t *menuTitle()
{
    return title;
}

} // namespace stub

extern "C" {

int MDSV_STK_RegisterCallBack(MDSVSTKCALLBACK)
{
    return 0;
}

int MDSV_STK_UnRegisterCallBack(MDSVSTKCALLBACK)
{
    return 0;
}

int MDSV_DevSrv_RegisterDevMgrCallback(MDSVDEVMGRCALLBACK)
{
    return 0;
}

int MDSV_DevSrv_UnRegisterDevMgrCallback(MDSVDEVMGRCALLBACK)
{
    return 0;
}

int MDSV_STKSrv_GetMainMenu(MDSVStkMainMenu *menu)
{
    return hand(menu);
}

int MDSV_STKSrv_ReleaseMenus(MDSVStkMainMenu *)
{
    return 0;
}

int MDSV_STKSrv_GetSubMenu(int, MDSVStkSubMenu *menu)
{
    return hand(menu);
}

int MDSV_STKSrv_ReleaseSubMenus(MDSVStkSubMenu *)
{
    return 0;
}

int MDSV_STKSrv_SelectMenuItem(int, int16_t)
{
    return 0;
}

int MDSV_STKSrv_SelectSubMenuItem(int, int, int16_t)
{
    return 0;
}

int MDSV_STKSrv_GetInputRequest(int, MDSVStkInputData *)
{
    return 0;
}

int MDSV_STKSrv_GetInKeyRequest(int, MDSVStkInKeyData *)
{
    return 0;
}

int MDSV_STKSrv_GetPromptText(int, MDSVStkPromptData *)
{
    return 0;
}

int MDSV_STKSrv_GetPlayTone(int, MDSVStkToneData *)
{
    return 0;
}

int MDSV_STKSrv_GetLaunchBrowser(int, MDSVStkBrowserData *)
{
    return 0;
}

int MDSV_STKSrv_GetIdleModePrompt(int, uint16_t *)
{
    return 0;
}

int MDSV_STKSrv_GetRefreshInfo(int, void *)
{
    return 0;
}

int MDSV_STKSrv_AnswerInput(int, int, const uint16_t *)
{
    return 0;
}

int MDSV_STKSrv_AnswerInKey(int, int, const uint16_t *)
{
    return 0;
}

int MDSV_STKSrv_SendNoDataResponse(int, int, int)
{
    return 0;
}
}
