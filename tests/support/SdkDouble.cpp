#include "support/SdkDouble.h"

#include <QtCore/QHash>
#include <QtCore/QtDebug>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

namespace support
{

const int SdkDouble::NotRegistered = INT_MIN;

namespace
{
const unsigned char JUNK_BEFORE = 0x5A;
const unsigned char JUNK_FAILED = 0xAA;
const uint16_t JUNK_UNIT = 0x25A0;

struct OpenMenu {
    const void *record; ///< where the caller keeps its record
    const char *kind;
    QString title;
    int count;
};

struct State {
    QHash<QByteArray, int> always;
    QHash<QByteArray, QList<int>> once;
    QHash<QByteArray, std::function<void()>> hooks;
    MDSVStkMainMenu mainMenu;
    QList<MenuItem> mainItems;
    MDSVStkSubMenu subMenu;
    QList<MenuItem> subItems;
    MDSVStkInputData input;
    MDSVStkInKeyData inKey;
    MDSVStkPromptData prompt;
    MDSVStkToneData tone;
    MDSVStkBrowserData browser;
    uint16_t idleText[MDSV_STK_TEXT_UNITS];
    MDSVSTKCALLBACK stkCallback;
    MDSVDEVMGRCALLBACK deviceCallback;
    const void *answerBuffer;
    QHash<const void *, OpenMenu> openMenus; ///< by the item array that the caller holds
    QStringList faults;
};

using Lock = std::unique_lock<std::recursive_mutex>;
std::recursive_mutex g_mutex; // of the standard library, whose locks ThreadSanitizer sees
State *g_state = nullptr;

State &state()
{
    if (!g_state)
        qFatal("SdkDouble: a MDSV_ function was called while no SdkDouble exists");
    return *g_state;
}

void fault(const QString &text)
{
    const Lock lock(g_mutex);
    state().faults << text;
}

template <class Record>
void junk(Record &record)
{
    std::memset(&record, JUNK_BEFORE, sizeof(record));
}

void fill(uint16_t (&field)[MDSV_STK_TEXT_UNITS], const QString &text)
{
    for (int i = 0; i < MDSV_STK_TEXT_UNITS; ++i)
        field[i] = i < text.size() ? text.at(i).unicode() : i == text.size() ? uint16_t(0) : JUNK_UNIT;
}

QString textOf(const uint16_t (&field)[MDSV_STK_TEXT_UNITS])
{
    int units = 0;
    while (units < MDSV_STK_TEXT_UNITS && field[units])
        ++units;
    return QString::fromUtf16(field, units);
}

/// Notes the call, runs its hook and takes its status.
int enter(const char *function, const QVariantList &args)
{
    journal::add(function, args);
    Lock lock(g_mutex);
    QList<int> &once = state().once[function];
    const int status = once.isEmpty() ? state().always.value(function, 0) : once.takeFirst();
    const std::function<void()> hook = state().hooks.value(function);
    lock.unlock();
    if (hook)
        hook();
    return status;
}

template <class Record>
int play(int status, const Record &source, void *target)
{
    if (status == 0)
        std::memcpy(target, &source, sizeof(Record));
    else
        std::memset(target, JUNK_FAILED, sizeof(Record));
    return status;
}

int takeAnswer(const char *function, int cmdId, int confirmed, const uint16_t *answer)
{
    {
        const Lock lock(g_mutex);
        state().answerBuffer = answer;
    }
    return enter(function, {cmdId, confirmed, QString::fromUtf16(answer)});
}

bool isZero(const void *record, size_t size)
{
    const unsigned char *bytes = static_cast<const unsigned char *>(record);
    for (size_t i = 0; i < size; ++i) {
        if (bytes[i])
            return false;
    }
    return true;
}

/// An array of exactly the given items, so that a sanitizer sees a step past the last one; null without any.
MDSVStkMenuItem *allocate(const QList<MenuItem> &items)
{
    if (items.isEmpty())
        return nullptr;
    void *memory = std::malloc(size_t(items.size()) * sizeof(MDSVStkMenuItem));
    MDSVStkMenuItem *array = static_cast<MDSVStkMenuItem *>(memory);
    for (int i = 0; i < items.size(); ++i) {
        array[i].sItemId = int16_t(items.at(i).id);
        fill(array[i].usText, items.at(i).text);
    }
    return array;
}

template <class Menu>
int playMenu(const char *kind, int status, const Menu &source, const QList<MenuItem> &items, Menu *target)
{
    play(status, source, target);
    if (status == 0) {
        target->pItems = allocate(items);
        const Lock lock(g_mutex);
        state().openMenus.insert(target->pItems, {target, kind, textOf(target->usTitle), target->sItemCount});
    }
    return status;
}

void checkRelease(const char *kind, const OpenMenu &open, const OpenMenu &given)
{
    if (std::strcmp(open.kind, given.kind) != 0)
        fault(QString("a %1 menu was released as a %2 menu").arg(open.kind, kind));
    if (open.record != given.record || open.title != given.title || open.count != given.count)
        fault(QString("a %1 menu was released with another record than it was fetched with").arg(kind));
}

template <class Menu>
int release(const char *function, const char *kind, Menu *menu)
{
    const int status = enter(function, {textOf(menu->usTitle), int(menu->sItemCount)});
    const Lock lock(g_mutex);
    if (!state().openMenus.contains(menu->pItems)) {
        fault(QString("%1: a %2 menu that is not open").arg(function, kind));
        return status;
    }
    const OpenMenu open = state().openMenus.take(menu->pItems);
    checkRelease(kind, open, {menu, kind, textOf(menu->usTitle), menu->sItemCount});
    std::free(menu->pItems);
    return status;
}

template <class Callback>
int registerCallback(const char *function, Callback State::*place, Callback callback)
{
    const int status = enter(function, {ref(reinterpret_cast<const void *>(callback))});
    const Lock lock(g_mutex);
    if (status == 0)
        state().*place = callback;
    return status;
}

template <class Callback>
int unregisterCallback(const char *function, Callback State::*place, Callback callback)
{
    const int status = enter(function, {ref(reinterpret_cast<const void *>(callback))});
    const Lock lock(g_mutex);
    if (state().*place != callback)
        fault(QString("%1: a function that is not registered").arg(function));
    if (status == 0)
        state().*place = nullptr;
    return status;
}

int run(SdkDouble::Where where, const std::function<int()> &call)
{
    if (where == SdkDouble::Here)
        return call();
    int result = 0;
    std::thread([&] { result = call(); }).join();
    return result;
}

template <class Callback>
int raise(Callback callback, int event, void *data, SdkDouble::Where where)
{
    if (!callback) {
        fault(QString("event %1 was raised without a callback").arg(event));
        return SdkDouble::NotRegistered;
    }
    return run(where, [=] { return callback(event, data); });
}
} // namespace

SdkDouble::SdkDouble()
{
    if (g_state)
        qFatal("SdkDouble: there is one already");
    g_state = new State();
    journal::clear();
    setMainMenu(QString(), {});
    setSubMenu(QString(), {});
    setInput(QString(), 0, 0, 0, 0, 0, QString());
    setInKey(QString(), 0, 0, 0);
    setPrompt(QString(), 0, 0);
    setTone(0, 0, QString());
    setBrowser(0, QString());
    setIdleText(QString());
}

SdkDouble::~SdkDouble()
{
    for (auto it = state().openMenus.constBegin(); it != state().openMenus.constEnd(); ++it)
        std::free(const_cast<void *>(it.key()));
    delete g_state;
    g_state = nullptr;
}

void SdkDouble::answer(const QByteArray &function, int status)
{
    const Lock lock(g_mutex);
    state().always.insert(function, status);
}

void SdkDouble::answerOnce(const QByteArray &function, int status)
{
    const Lock lock(g_mutex);
    state().once[function] << status;
}

void SdkDouble::onCall(const QByteArray &function, std::function<void()> hook)
{
    const Lock lock(g_mutex);
    state().hooks.insert(function, hook);
}

void SdkDouble::setMainMenu(const QString &title, const QList<MenuItem> &items)
{
    const Lock lock(g_mutex);
    junk(state().mainMenu);
    fill(state().mainMenu.usTitle, title);
    state().mainMenu.sItemCount = int16_t(items.size());
    state().mainItems = items;
}

void SdkDouble::setSubMenu(const QString &title, const QList<MenuItem> &items, int leading)
{
    const Lock lock(g_mutex);
    junk(state().subMenu);
    state().subMenu.sLeading = int16_t(leading);
    fill(state().subMenu.usTitle, title);
    state().subMenu.sItemCount = int16_t(items.size());
    state().subItems = items;
}

void SdkDouble::setMainMenuCount(int count)
{
    const Lock lock(g_mutex);
    state().mainMenu.sItemCount = int16_t(count);
}

void SdkDouble::setSubMenuCount(int count)
{
    const Lock lock(g_mutex);
    state().subMenu.sItemCount = int16_t(count);
}

void SdkDouble::setInput(const QString &prompt, int type, int echo, int minimum, int maximum, int option,
                         const QString &defaultText)
{
    const Lock lock(g_mutex);
    MDSVStkInputData &input = state().input;
    junk(input);
    fill(input.usPrompt, prompt);
    input.nInputType = type;
    input.nEcho = echo;
    input.sMinLen = int16_t(minimum);
    input.sMaxLen = int16_t(maximum);
    input.nOption = option;
    fill(input.usDefaultText, defaultText);
}

void SdkDouble::setInKey(const QString &prompt, int type, int option, int duration)
{
    const Lock lock(g_mutex);
    MDSVStkInKeyData &inKey = state().inKey;
    junk(inKey);
    fill(inKey.usPrompt, prompt);
    inKey.nInputType = type;
    inKey.nOption = option;
    inKey.usDuration = uint16_t(duration);
}

void SdkDouble::setPrompt(const QString &text, int clearMode, int duration)
{
    const Lock lock(g_mutex);
    MDSVStkPromptData &prompt = state().prompt;
    junk(prompt);
    fill(prompt.usText, text);
    prompt.nClearMode = clearMode;
    prompt.usDuration = uint16_t(duration);
}

void SdkDouble::setTone(int tone, int duration, const QString &text)
{
    const Lock lock(g_mutex);
    MDSVStkToneData &data = state().tone;
    junk(data);
    data.nTone = tone;
    data.usDuration = uint16_t(duration);
    fill(data.usText, text);
}

void SdkDouble::setBrowser(int mode, const QString &url)
{
    const Lock lock(g_mutex);
    MDSVStkBrowserData &data = state().browser;
    junk(data);
    data.nMode = mode;
    fill(data.usUrl, url);
}

void SdkDouble::setIdleText(const QString &text)
{
    const Lock lock(g_mutex);
    fill(state().idleText, text);
}

MDSVSTKCALLBACK SdkDouble::stkCallback() const
{
    const Lock lock(g_mutex);
    return state().stkCallback;
}

MDSVDEVMGRCALLBACK SdkDouble::deviceCallback() const
{
    const Lock lock(g_mutex);
    return state().deviceCallback;
}

int SdkDouble::raiseStk(int type, int cmdId, int timeOut, Where where, int event)
{
    const std::unique_ptr<MDSVStkNotifyData> record(new MDSVStkNotifyData);
    junk(*record);
    record->enStkType = _MDSV_EN_STKTYPE(type);
    record->sCmdId = int16_t(cmdId);
    record->nTimeOut = timeOut;
    const int result = raise(stkCallback(), event, record.get(), where);
    std::memset(record.get(), JUNK_FAILED, sizeof(MDSVStkNotifyData));
    return result;
}

int SdkDouble::raiseNullRecord(Where where)
{
    return raise(stkCallback(), 4711, nullptr, where);
}

int SdkDouble::raiseDevice(int code, Where where)
{
    // The pointer carries nothing; one that must not be followed shows a caller that does.
    return raise(deviceCallback(), code, reinterpret_cast<void *>(1), where);
}

const void *SdkDouble::answerBuffer() const
{
    const Lock lock(g_mutex);
    return state().answerBuffer;
}

int SdkDouble::openMenus() const
{
    const Lock lock(g_mutex);
    return state().openMenus.size();
}

QStringList SdkDouble::faults() const
{
    const Lock lock(g_mutex);
    QStringList result = state().faults;
    if (!state().openMenus.isEmpty())
        result << QString("%1 menus were not released").arg(state().openMenus.size());
    return result;
}

} // namespace support

using namespace support;

int MDSV_STK_RegisterCallBack(MDSVSTKCALLBACK pCallback)
{
    return registerCallback("MDSV_STK_RegisterCallBack", &State::stkCallback, pCallback);
}

int MDSV_STK_UnRegisterCallBack(MDSVSTKCALLBACK pCallback)
{
    return unregisterCallback("MDSV_STK_UnRegisterCallBack", &State::stkCallback, pCallback);
}

int MDSV_DevSrv_RegisterDevMgrCallback(MDSVDEVMGRCALLBACK pCallback)
{
    return registerCallback("MDSV_DevSrv_RegisterDevMgrCallback", &State::deviceCallback, pCallback);
}

int MDSV_DevSrv_UnRegisterDevMgrCallback(MDSVDEVMGRCALLBACK pCallback)
{
    return unregisterCallback("MDSV_DevSrv_UnRegisterDevMgrCallback", &State::deviceCallback, pCallback);
}

int MDSV_STKSrv_GetMainMenu(MDSVStkMainMenu *pMenu)
{
    const int status = enter("MDSV_STKSrv_GetMainMenu", {});
    return playMenu("main", status, state().mainMenu, state().mainItems, pMenu);
}

int MDSV_STKSrv_ReleaseMenus(MDSVStkMainMenu *pMenu)
{
    return release("MDSV_STKSrv_ReleaseMenus", "main", pMenu);
}

int MDSV_STKSrv_GetSubMenu(int nCmdId, MDSVStkSubMenu *pMenu)
{
    const int status = enter("MDSV_STKSrv_GetSubMenu", {nCmdId});
    return playMenu("sub", status, state().subMenu, state().subItems, pMenu);
}

int MDSV_STKSrv_ReleaseSubMenus(MDSVStkSubMenu *pMenu)
{
    return release("MDSV_STKSrv_ReleaseSubMenus", "sub", pMenu);
}

int MDSV_STKSrv_SelectMenuItem(int nAlwaysOne, int16_t sItemId)
{
    return enter("MDSV_STKSrv_SelectMenuItem", {nAlwaysOne, int(sItemId)});
}

int MDSV_STKSrv_SelectSubMenuItem(int nCmdId, int nAction, int16_t sItemId)
{
    return enter("MDSV_STKSrv_SelectSubMenuItem", {nCmdId, nAction, int(sItemId)});
}

int MDSV_STKSrv_GetInputRequest(int nCmdId, MDSVStkInputData *pData)
{
    const int status = enter("MDSV_STKSrv_GetInputRequest", {nCmdId});
    return play(status, state().input, pData);
}

int MDSV_STKSrv_GetInKeyRequest(int nCmdId, MDSVStkInKeyData *pData)
{
    const int status = enter("MDSV_STKSrv_GetInKeyRequest", {nCmdId});
    return play(status, state().inKey, pData);
}

int MDSV_STKSrv_GetPromptText(int nCmdId, MDSVStkPromptData *pData)
{
    const int status = enter("MDSV_STKSrv_GetPromptText", {nCmdId});
    return play(status, state().prompt, pData);
}

int MDSV_STKSrv_GetPlayTone(int nCmdId, MDSVStkToneData *pData)
{
    const int status = enter("MDSV_STKSrv_GetPlayTone", {nCmdId, isZero(pData, sizeof(*pData))});
    return play(status, state().tone, pData);
}

int MDSV_STKSrv_GetLaunchBrowser(int nCmdId, MDSVStkBrowserData *pData)
{
    const int status = enter("MDSV_STKSrv_GetLaunchBrowser", {nCmdId, isZero(pData, sizeof(*pData))});
    return play(status, state().browser, pData);
}

int MDSV_STKSrv_GetIdleModePrompt(int nCmdId, uint16_t *pText)
{
    const int status = enter("MDSV_STKSrv_GetIdleModePrompt", {nCmdId});
    return play(status, state().idleText, pText);
}

int MDSV_STKSrv_GetRefreshInfo(int nCmdId, void *pBuffer)
{
    const int status = enter("MDSV_STKSrv_GetRefreshInfo", {nCmdId});
    std::memset(pBuffer, JUNK_FAILED, MDSV_STK_REFRESH_BYTES);
    return status;
}

int MDSV_STKSrv_AnswerInput(int nCmdId, int nConfirmed, const uint16_t *pAnswer)
{
    return takeAnswer("MDSV_STKSrv_AnswerInput", nCmdId, nConfirmed, pAnswer);
}

int MDSV_STKSrv_AnswerInKey(int nCmdId, int nConfirmed, const uint16_t *pAnswer)
{
    return takeAnswer("MDSV_STKSrv_AnswerInKey", nCmdId, nConfirmed, pAnswer);
}

int MDSV_STKSrv_SendNoDataResponse(int nCmdId, int nType, int nResult)
{
    return enter("MDSV_STKSrv_SendNoDataResponse", {nCmdId, nType, nResult});
}
