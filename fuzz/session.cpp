#include "Fuzz.h"

#include "cat/Command.h"
#include "cat/Tlv.h"
#include "sdk/MDSVStk.h"
#include "sdk/SdkControl.h"

#include <condition_variable>
#include <mutex>

// The device-service library against a card that answers anything, and a user who answers every command at once. The
// input: a block of what the user does, a block of choices from the main menu, then the card's answers one by one, each
// a block of data and a status word. When there are no more the card is gone.

namespace
{

/// What one input is about.
struct World {
    explicit World(cat::ByteView bytes) : card(bytes), user(card.block()), choices(card.block()) {}

    /// Wakes the main thread when there is something for it to do.
    void tell(bool gone)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isGone |= gone;
        isResting = !owed && !isCommandWaiting;
        wake.notify_all();
    }

    // The service's thread only.
    Input card;
    Input user;
    std::optional<cat::DecodedCommand> owed; ///< fetched, and not answered yet
    bool isCommandWaiting = false;           ///< the card has announced one

    Input choices; ///< the main thread only

    std::mutex mutex;
    std::condition_variable wake;
    bool isResting = false;
    bool isGone = false;
};

World *world = nullptr;

constexpr std::uint8_t fetch = 0x12;
constexpr std::uint8_t terminalResponse = 0x14;
constexpr std::uint8_t getResponse = 0xC0;

bool isSame(const cat::CommandDetails &left, const cat::CommandDetails &right)
{
    return left.number == right.number && left.type == right.type && left.qualifier == right.qualifier;
}

class FuzzedCard : public sdk::CardChannel
{
public:
    std::string name() const override { return "fuzzed card"; }

    bool reset(std::string *error) override
    {
        *error = "it does not want to";
        world->isCommandWaiting = false;
        return world->card.byte() != 0xFF;
    }

    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override
    {
        expect(apdu.size() >= 5 && apdu.size() <= 261, "an APDU has its right size");
        if (world->card.isEmpty()) {
            world->owed.reset(); // no fault of the terminal's
            return false;
        }
        checkResponse(apdu);
        const cat::ByteView data = world->card.block();
        answer->assign(data.begin(), data.end());
        answer->push_back(world->card.byte());
        answer->push_back(world->card.byte());
        std::uint8_t &status = (*answer)[answer->size() - 2];
        if (status == 0x93)
            status = 0x6F; // waiting for a busy card would take the fuzzer's time
        follow(apdu[1], *answer);
        return true;
    }

    void interrupt() override {}

private:
    /// Every command that was fetched gets one response, before anything else is said; nothing else gets one.
    void checkResponse(const cat::Bytes &apdu) const
    {
        const bool isSentAgain = m_isLengthWrong && apdu[1] == m_asked; // the card has not taken it the first time
        if (apdu[1] == getResponse || isSentAgain)
            return;
        expect((apdu[1] == terminalResponse) == world->owed.has_value(),
               "a response goes out exactly when one is owed, not " + cat::toHex(apdu));
        if (!world->owed)
            return;
        const auto response = cat::decodeResponse(cat::ByteView(apdu.data() + 5, apdu.size() - 5));
        expect(response && apdu[4] == apdu.size() - 5, "the response is well-formed: " + cat::toHex(apdu));
        expect(isSame(response->details, world->owed->command.details), "it repeats the command details");
        if (world->owed->result != cat::Result::Performed)
            expect(response->result == world->owed->result, "it has the result that the command calls for");
        expect(response->result != cat::Result::Performed || !world->owed->command.isPartial(),
               "it tells that something was left out");
        world->owed.reset();
    }

    void follow(std::uint8_t instruction, const cat::Bytes &answer)
    {
        if (instruction != getResponse) {
            m_asked = instruction;
            m_data.clear();
        }
        const std::uint8_t status = answer[answer.size() - 2];
        m_isLengthWrong = status == 0x6C;
        const bool isGood = status == 0x91 || (status == 0x90 && answer.back() == 0x00);
        m_data.insert(m_data.end(), answer.begin(), answer.end() - 2);
        if (m_asked == fetch && isGood && !m_data.empty()) {
            const cat::DecodedCommand decoded = cat::decodeCommand(m_data);
            if (decoded.detailsKnown)
                world->owed = decoded;
        }
        world->isCommandWaiting = status == 0x91 && m_asked != fetch;
    }

    std::uint8_t m_asked = 0;
    bool m_isLengthWrong = false; ///< the last answer was 6Cxx
    cat::Bytes m_data;
};

// ---------------------------------------------------------------------------------------------------------------------
// The user

/// Up to 8 characters, any.
std::u16string enteredText()
{
    const cat::ByteView units = world->user.take(world->user.byte() % 17);
    std::u16string text = cat::decodeUcs2(units);
    return text.substr(0, text.find(u'\0'));
}

using AnswerFunction = int (*)(int, int, const std::uint16_t *);

void enter(AnswerFunction function, int id)
{
    const std::u16string text = enteredText();
    std::vector<std::uint16_t> units(text.begin(), text.end());
    units.push_back(0);
    if (function(id, world->user.byte() & 1, units.data()) != 0)
        expect(function(id, 0, units.data()) == 0, "a question can be given up");
}

void chooseItem(int id)
{
    MDSVStkSubMenu menu = {};
    expect(MDSV_STKSrv_GetSubMenu(id, &menu) == 0, "an open menu can be fetched");
    const int wanted = menu.sItemCount > 0 ? menu.pItems[world->user.byte() % menu.sItemCount].sItemId : 0;
    MDSV_STKSrv_ReleaseSubMenus(&menu);
    if (MDSV_STKSrv_SelectSubMenuItem(id, world->user.byte() % 4, static_cast<std::int16_t>(wanted)) != 0)
        expect(MDSV_STKSrv_SelectSubMenuItem(id, MDSV_SUBMENU_ACTION_NONE, 0) == 0, "a menu can be left");
}

void readKey(int id)
{
    MDSVStkInKeyData data = {};
    expect(MDSV_STKSrv_GetInKeyRequest(id, &data) == 0, "an open question can be fetched");
    enter(MDSV_STKSrv_AnswerInKey, id);
}

void readInput(int id)
{
    MDSVStkInputData data = {};
    expect(MDSV_STKSrv_GetInputRequest(id, &data) == 0, "an open question can be fetched");
    enter(MDSV_STKSrv_AnswerInput, id);
}

void answerWithoutData(int id, int type)
{
    if (MDSV_STKSrv_SendNoDataResponse(id, type, world->user.byte() % 8) != 0)
        expect(MDSV_STKSrv_SendNoDataResponse(id, type, STK_UI_RESPONSE_NOT_HANDLED) == 0, "a command can be refused");
}

void fetchData(int id, int type)
{
    MDSVStkPromptData prompt = {};
    MDSVStkToneData tone = {};
    MDSVStkBrowserData browser = {};
    std::uint16_t text[MDSV_STK_TEXT_UNITS] = {};
    std::uint8_t refresh[MDSV_STK_REFRESH_BYTES] = {};
    int status = 0;
    if (type == MDSV_STKTYPE_DISPLAY_TEXT)
        status = MDSV_STKSrv_GetPromptText(id, &prompt);
    else if (type == MDSV_STKTYPE_PLAY_TONE)
        status = MDSV_STKSrv_GetPlayTone(id, &tone);
    else if (type == MDSV_STKTYPE_LAUNCH_BROWSER)
        status = MDSV_STKSrv_GetLaunchBrowser(id, &browser);
    else if (type == MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT)
        status = MDSV_STKSrv_GetIdleModePrompt(id, text);
    else if (type == MDSV_STKTYPE_REFRESH)
        status = MDSV_STKSrv_GetRefreshInfo(id, refresh);
    expect(status == 0, "the data of an open command can be fetched");
}

/// What the library does by itself when nobody refuses it.
bool isCarriedOut(int type)
{
    return type >= MDSV_STKTYPE_REFRESH && type <= MDSV_STKTYPE_SEND_USSD;
}

int stkEvent(int, void *data)
{
    const auto *record = static_cast<const MDSVStkNotifyData *>(data);
    const int id = record->sCmdId;
    switch (record->enStkType) {
    case MDSV_STKTYPE_SETUP_MENU:
        break;
    case MDSV_STKTYPE_END_SESSION:
        world->tell(false);
        break;
    case MDSV_STKTYPE_SELECT_ITEM:
        chooseItem(id);
        break;
    case MDSV_STKTYPE_GET_INKEY:
        readKey(id);
        break;
    case MDSV_STKTYPE_GET_INPUT:
        readInput(id);
        break;
    default:
        fetchData(id, record->enStkType);
        if (!isCarriedOut(record->enStkType) || (world->user.byte() & 1) != 0)
            answerWithoutData(id, record->enStkType);
    }
    return 0;
}

int deviceEvent(int event, void *)
{
    world->tell(event != MDSV_DEVICE_AVAILABLE);
    return 1;
}

/// Chooses from the main menu; false: there is nothing to choose from. A session that is open already has an end, too.
bool chooseFromMenu()
{
    MDSVStkMainMenu menu = {};
    if (MDSV_STKSrv_GetMainMenu(&menu) != 0)
        return false;
    const int item = menu.sItemCount > 0 ? menu.pItems[world->choices.byte() % menu.sItemCount].sItemId : 0;
    MDSV_STKSrv_ReleaseMenus(&menu);
    const int status = MDSV_STKSrv_SelectMenuItem(1, static_cast<std::int16_t>(item));
    return status == 0 || status == static_cast<int>(sdk::Status::SessionBusy);
}

/// Until the card is gone, or at rest with nothing to choose from.
void useCard()
{
    std::unique_lock<std::mutex> lock(world->mutex);
    for (bool isOver = false; !isOver;) {
        world->wake.wait(lock, [] { return world->isResting || world->isGone; });
        world->isResting = false;
        isOver = world->isGone;
        if (!isOver) {
            lock.unlock();
            isOver = !chooseFromMenu();
            lock.lock();
        }
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    World one(cat::ByteView(data, size));
    world = &one;
    MDSV_STK_RegisterCallBack(stkEvent);
    MDSV_DevSrv_RegisterDevMgrCallback(deviceEvent);
    sdk::attachDevice(std::make_unique<FuzzedCard>());
    useCard();
    sdk::shutDown();
    expect(!one.owed, "no command is left without a response");
    return 0;
}
