// Faults of a modem in the midst of toolkit sessions. See --help.
#include "sdk/MDSVStk.h"
#include "sdk/ModemChannel.h"
#include "sdk/SdkControl.h"
#include "support/ModemDouble.h"

#include <dirent.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char usage[] =
    "Usage: modem_faults [--each N] [--seed S] PROFILE\n"
    "\n"
    "Puts the virtual card of PROFILE into the double of a modem on a pseudo-terminal, lets a user choose from its "
    "menu at\n"
    "random, and disturbs the sessions N times (200 by default) in each of these ways, at moments that S decides\n"
    "(otherwise the time):\n"
    "    hang-up    the line goes, and is back when the device has gone or a little later\n"
    "    silence    the modem hears and says nothing, until it has been given up\n"
    "    garbage    noise in between\n"
    "After each the menu must be there again and take a choice. Exit code 1: it was not, a command got no response or "
    "two\n"
    "although its modem stayed, or files or threads are left over. The last line has the figures.\n";

constexpr milliseconds limit{60000};

// ---------------------------------------------------------------- the user

std::atomic<int> openType{MDSV_STKTYPE_END_SESSION};
std::atomic<int> openId{0};
std::atomic<bool> isAvailable{false};
std::atomic<bool> isAtRest{false};
std::atomic<int> timesBusy{0};
std::atomic<int> timesGone{0};

int onCommand(int, void *data)
{
    const auto *const notify = static_cast<const MDSVStkNotifyData *>(data);
    openId = notify->sCmdId;
    openType = notify->enStkType;
    return 0;
}

int onDevice(int event, void *)
{
    isAvailable = event == MDSV_DEVICE_AVAILABLE;
    timesGone += event == MDSV_DEVICE_AVAILABLE ? 0 : 1;
    return 0;
}

/// Answers the last command, also when it is not open any more: the library refuses that.
void answer()
{
    static const uint16_t text[] = {'A', 'b', 'c', 0};
    static const uint16_t key[] = {'A', 0};
    static const uint16_t yes[] = {'1', 0};
    const auto id = static_cast<int16_t>(openId.load());
    switch (openType.load()) {
    case MDSV_STKTYPE_GET_INPUT:
        MDSV_STKSrv_AnswerInput(id, 1, text);
        break;
    case MDSV_STKTYPE_GET_INKEY:
        if (MDSV_STKSrv_AnswerInKey(id, 1, key) != 0)
            MDSV_STKSrv_AnswerInKey(id, 1, yes);
        break;
    case MDSV_STKTYPE_SELECT_ITEM:
        MDSV_STKSrv_SelectSubMenuItem(id, MDSV_SUBMENU_ACTION_SELECT, 1);
        break;
    case MDSV_STKTYPE_SETUP_CALL:
        MDSV_STKSrv_SendNoDataResponse(id, STK_UI_STKTYPE_SETUP_CALL, 4);
        break;
    case MDSV_STKTYPE_DISPLAY_TEXT:
        MDSV_STKSrv_SendNoDataResponse(id, STK_UI_STKTYPE_DISPLAY_TEXT, 1);
        break;
    case MDSV_STKTYPE_PLAY_TONE:
        MDSV_STKSrv_SendNoDataResponse(id, STK_UI_STKTYPE_PLAY_TONE, 1);
        break;
    case MDSV_STKTYPE_LAUNCH_BROWSER:
        MDSV_STKSrv_SendNoDataResponse(id, STK_UI_STKTYPE_LAUNCH_BROWSER, 1);
        break;
    case MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT:
        MDSV_STKSrv_SendNoDataResponse(id, STK_UI_STKTYPE_SETUP_IDLE_MODE_TEXT, 1);
        break;
    default:
        break; // the service answers
    }
}

// ---------------------------------------------------------------- the world

int entriesOf(const char *folder)
{
    int count = 0;
    if (DIR *const handle = opendir(folder)) {
        while (readdir(handle))
            ++count;
        closedir(handle);
    }
    return count;
}

template <typename Condition>
bool waitUntil(Condition condition)
{
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

struct World {
    World(const std::string &profile, unsigned int seed)
        : random(seed), modem(ModemPeer::Way::Terminal, card::loadProfile(profile), habitsOf(seed)),
          items(static_cast<unsigned>(card::loadProfile(profile).mainMenu.entries.size()))
    {
    }

    static ModemDouble::Habits habitsOf(unsigned int seed)
    {
        ModemDouble::Habits habits = ModemDouble::anyHabits(seed);
        habits.cardTime = milliseconds(2);
        return habits;
    }

    void pause(unsigned most) { std::this_thread::sleep_for(std::chrono::microseconds(random() % (most * 1000))); }
    bool chance() { return random() % 2 == 0; }

    std::mt19937 random;
    ModemDouble modem;
    const unsigned items;
    unsigned next = 0;
    int timesBusyBefore = 0; ///< when the last choice was made
};

/// The user answers whatever is open until a choice from the menu is taken: each item in its turn.
bool chooses(World *world)
{
    const auto item = static_cast<int16_t>(1 + world->next++ % world->items);
    return waitUntil([world, item] {
        world->timesBusyBefore = timesBusy;
        if (isAvailable && MDSV_STKSrv_SelectMenuItem(1, item) == 0)
            return true;
        answer();
        return false;
    });
}

/// A choice, and everything that comes of it is answered. The choice itself may still be on its way to the card when
/// nothing is open yet.
bool comesToRest(World *world)
{
    return chooses(world) && waitUntil([world] {
               answer();
               return timesBusy > world->timesBusyBefore && isAtRest && world->modem.count().open == 0 && isAvailable &&
                      sdk::menuTitle().has_value();
           });
}

// ---------------------------------------------------------------- the faults

/// Says whether the device has gone since this was called. On a busy machine it may have gone before: a modem that
/// takes long looks like one that is silent.
std::function<bool()> watchForLoss()
{
    const int before = timesGone;
    const bool wasThere = isAvailable;
    return [=] { return !wasThere || timesGone > before; };
}

bool hangUp(World *world)
{
    const auto hasGone = watchForLoss();
    world->modem.unplug();
    const bool isNoticed = world->chance() || waitUntil(hasGone);
    world->pause(20);
    world->modem.restore();
    return isNoticed && waitUntil(hasGone);
}

bool silence(World *world)
{
    const auto hasGone = watchForLoss();
    world->modem.fallSilent();
    const bool isNoticed = waitUntil([&hasGone] {
        answer();
        return hasGone();
    });
    world->modem.restore();
    return isNoticed;
}

bool garbage(World *world)
{
    world->modem.babble(static_cast<int>(world->random() % 6000));
    world->pause(10);
    answer();
    world->modem.babble(static_cast<int>(world->random() % 100));
    return true;
}

struct Fault {
    const char *name;
    bool (*happen)(World *);
};

const Fault faults[] = {{"hang-up", hangUp}, {"silence", silence}, {"garbage", garbage}};

/// Half of the times as soon as a command is open, otherwise at any moment.
bool disturb(World *world, const Fault &fault)
{
    if (!chooses(world))
        return false;
    const int handedOver = world->modem.count().handedOver;
    if (world->chance())
        waitUntil([world, handedOver] { return world->modem.count().handedOver > handedOver || !isAvailable; });
    world->pause(15);
    if (world->chance())
        answer();
    if (world->chance())
        world->pause(6);
    return fault.happen(world) && comesToRest(world);
}

bool attach(World *world)
{
    sdk::ModemTimes times;
    times.quiet = milliseconds(5);
    times.answer = milliseconds(900);
    times.card = milliseconds(500);
    times.next = times.start = milliseconds(300);
    times.alive = milliseconds(100);
    times.retry = milliseconds(20);
    sdk::setModemTimes(times);
    std::string error;
    auto channel = sdk::openCard("modem:" + world->modem.address(), &error);
    if (!channel || MDSV_STK_RegisterCallBack(onCommand) != 0 || MDSV_DevSrv_RegisterDevMgrCallback(onDevice) != 0)
        return false;
    sdk::setTurnListener([](sdk::Turn turn) {
        isAtRest = turn == sdk::Turn::Rest;
        timesBusy += isAtRest ? 0 : 1;
    });
    sdk::attachDevice(std::move(channel));
    return comesToRest(world);
}

int complain(const char *what)
{
    std::printf("modem_faults: %s\n", what);
    return 1;
}

int run(int each, unsigned int seed, const std::string &profile)
{
    std::thread([] {}).join(); // sanitizers start a thread of their own with the first
    const int files = entriesOf("/proc/self/fd");
    const int threads = entriesOf("/proc/self/task");
    ModemDouble::Count count;
    int result = 0;
    {
        World world(profile, seed);
        if (!attach(&world))
            return complain("the first session came to no end");
        for (int number = 0; number < each && result == 0; ++number) {
            for (const Fault &fault : faults) {
                if (result == 0 && !disturb(&world, fault))
                    result = complain((std::string(fault.name) + " number " + std::to_string(number + 1) +
                                       ": the card did not come to rest again")
                                          .c_str());
            }
        }
        MDSV_STK_UnRegisterCallBack(onCommand);
        MDSV_DevSrv_UnRegisterDevMgrCallback(onDevice);
        sdk::shutDown();
        sdk::setTurnListener({});
        count = world.modem.count();
    }
    if (count.refused != 0 || count.open != 0 || count.handedOver != count.answered + count.lost)
        result = complain(
            ("not every command had its one response" + (count.refused ? "; refused: " + count.refusal : "")).c_str());
    const auto isAsBefore = [=] {
        return entriesOf("/proc/self/fd") == files && entriesOf("/proc/self/task") == threads;
    };
    if (!waitUntil(isAsBefore)) // a thread that was joined may still be on its way out
        result = complain("files or threads are left over");
    std::printf(
        "modem_faults: seed %u, %d of each fault; %d commands handed over, %d answered, %d lost with the modem, %d "
        "left open, %d responses refused\n",
        seed, each, count.handedOver, count.answered, count.lost, count.open, count.refused);
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    int each = 200;
    unsigned int seed = static_cast<unsigned int>(std::chrono::system_clock::now().time_since_epoch().count());
    std::string profile;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0)
            return std::fputs(usage, stdout) < 0;
        if (std::strcmp(argv[i], "--each") == 0 && i + 1 < argc)
            each = std::atoi(argv[++i]);
        else if (std::strcmp(argv[i], "--seed") == 0 && i + 1 < argc)
            seed = static_cast<unsigned int>(std::strtoul(argv[++i], nullptr, 10));
        else
            profile = argv[i];
    }
    if (profile.empty() || each < 1)
        return std::fputs(usage, stderr), 2;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("modem_faults: seed %u\n", seed);
    return run(each, seed, profile);
}
