// Faults of cards, readers and the PC/SC service, in the midst of toolkit sessions. See --help.
#include "FaultCard.h"

#include "sdk/MDSVStk.h"
#include "sdk/PcscChannel.h"
#include "sdk/SdkControl.h"
#include "support/CardInReader.h"
#include "support/PcscService.h"

#include <dirent.h>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char usage[] =
    "Usage: tools/with-own-pcsc pcsc_faults [--each N] [--seed S]\n"
    "\n"
    "Puts a card into the vpcd reader of a real PC/SC service, has it ask commands of every kind, and disturbs the\n"
    "sessions N times (200 by default) in each of these ways, at moments that S decides (otherwise the time):\n"
    "    pulled     the card is taken out, and put in again when the device has gone\n"
    "    replugged  out and in at once\n"
    "    hung       the card answers nothing until it has been given up\n"
    "    killed     the service is killed, and started again when the device has gone\n"
    "    unplugged  the same, with a service that has no reader in between\n"
    "    garbage    some answers are noise; the card is put in anew when it takes that\n"
    "After each the menu must be there again and take a choice. Exit code 1: it was not, a command got no response or "
    "two\n"
    "although its card stayed, or files or threads are left over. The last line has the figures.\n";

constexpr milliseconds limit{30000};
const sdk::PcscPatience patience{milliseconds(400), milliseconds(200)};

// ---------------------------------------------------------------- the user

std::atomic<int> openType{MDSV_STKTYPE_END_SESSION};
std::atomic<int> openId{0};
std::atomic<bool> isAvailable{false};

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
    return 0;
}

/// Answers the last command, also when it is not open any more: the library refuses that.
void answer()
{
    static const uint16_t text[] = {'A', 'b', 'c', 0};
    static const uint16_t key[] = {'A', 0};
    if (!isAvailable)
        return;
    const int id = openId;
    switch (openType.load()) {
    case MDSV_STKTYPE_GET_INPUT:
        MDSV_STKSrv_AnswerInput(id, 1, text);
        break;
    case MDSV_STKTYPE_GET_INKEY:
        MDSV_STKSrv_AnswerInKey(id, 1, key);
        break;
    case MDSV_STKTYPE_SELECT_ITEM:
        MDSV_STKSrv_SelectSubMenuItem(id, MDSV_SUBMENU_ACTION_SELECT, 0x11);
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

/// The last steps of the session, for the case that it fails.
struct Diary {
    std::mutex mutex;
    std::deque<std::string> steps;

    void add(const std::string &step)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        steps.push_back(step);
        if (steps.size() > 20)
            steps.pop_front();
    }

    void print()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        for (const std::string &step : steps)
            std::printf("    %s\n", step.c_str());
    }
};

Diary diary;

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
bool waitUntil(Condition condition, milliseconds time = limit)
{
    const auto deadline = Clock::now() + time;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

struct World {
    explicit World(std::uint32_t seed) : random(seed), card(seed + 1), inReader(card.chip()) {}

    /// Up to so many milliseconds.
    void pause(unsigned most) { std::this_thread::sleep_for(std::chrono::microseconds(random() % (most * 1000))); }

    std::mt19937 random;
    PcscService service;
    FaultCard card;
    CardInReader inReader;
    std::string problem;
};

bool isGone()
{
    return !isAvailable;
}

/// The user goes on, answering whatever is open, until a choice from the menu is taken.
bool chooses(milliseconds time = limit)
{
    const auto hasChosen = [] {
        answer();
        return isAvailable && MDSV_STKSrv_SelectMenuItem(1, 1) == 0;
    };
    return waitUntil(hasChosen, time);
}

/// After a last choice everything open is answered.
bool comesToRest(World *world)
{
    return chooses() && waitUntil([world] {
               answer();
               return world->card.isAtRest();
           });
}

// ---------------------------------------------------------------- the faults

bool pulled(World *world)
{
    world->inReader.pull();
    const bool hasGone = waitUntil(isGone);
    world->inReader.insert();
    return hasGone;
}

bool replugged(World *world)
{
    world->inReader.pull();
    world->pause(30);
    world->inReader.insert();
    return true;
}

bool hung(World *world)
{
    world->inReader.setHanging(true);
    // A card at rest hangs unnoticed: it has to be asked for something.
    const bool hasGone = waitUntil([] {
        answer();
        MDSV_STKSrv_SelectMenuItem(1, 1);
        return isGone();
    });
    world->inReader.setHanging(false);
    return hasGone;
}

bool killed(World *world)
{
    world->service.kill();
    const bool hasGone = waitUntil(isGone);
    return world->service.start(&world->problem) && hasGone;
}

/// The service finds readers when it starts, and no others: the reader goes and comes back with a service.
bool unplugged(World *world)
{
    world->service.kill();
    if (!world->service.start(&world->problem, PcscService::Reader::Out))
        return false;
    const bool hasGone = waitUntil(isGone);
    world->pause(300);
    world->service.kill();
    return world->service.start(&world->problem) && hasGone;
}

/// The user goes on until the card talks sense again. When the menu was lost to noise, or the reader waits for the rest
/// of an answer without bytes, only taking the card out helps.
bool garbage(World *world)
{
    world->card.talkNonsense(1 + static_cast<int>(world->random() % 4));
    const bool isOver = waitUntil([world] {
        answer();
        MDSV_STKSrv_SelectMenuItem(1, 1);
        return !world->card.isTalkingNonsense() || !isAvailable || !sdk::menuTitle();
    });
    world->card.talkNonsense(0);
    return isOver && (chooses(milliseconds(1500)) || pulled(world));
}

struct Fault {
    const char *name;
    bool (*strike)(World *);
};

constexpr Fault faults[] = {{"pulled", pulled}, {"replugged", replugged}, {"hung", hung},
                            {"killed", killed}, {"unplugged", unplugged}, {"garbage", garbage}};

/// A command is asked for and perhaps answered, and somewhere in that the fault strikes.
bool play(World *world, const Fault &fault)
{
    if (!chooses()) {
        world->problem = "the menu takes no choice";
        return false;
    }
    world->pause(60);
    std::thread user;
    if (world->random() % 2) {
        const milliseconds time(world->random() % 20);
        user = std::thread([time] {
            std::this_thread::sleep_for(time);
            answer();
        });
        world->pause(20);
    }
    const bool hasStruck = fault.strike(world);
    if (user.joinable())
        user.join();
    if (!hasStruck && world->problem.empty())
        world->problem = "the device did not go";
    return hasStruck;
}

bool attach(World *world)
{
    auto channel = sdk::openReader(PcscService::readerName, patience, &world->problem);
    if (!channel)
        return false;
    sdk::attachDevice(std::move(channel));
    return true;
}

bool prepare(World *world)
{
    if (!world->service.start(&world->problem))
        return false;
    world->inReader.insert();
    if (!PcscService::waitForCard(true)) {
        world->problem = "the reader takes no card";
        return false;
    }
    sdk::setApduListener(
        [](const sdk::ApduExchange &apdu) { diary.add(cat::toHex(apdu.command) + " -> " + cat::toHex(apdu.answer)); });
    sdk::setExchangeListener([](const sdk::Exchange &exchange) {
        if (exchange.text.find("refused") == std::string::npos)
            diary.add(exchange.text);
    });
    MDSV_STK_RegisterCallBack(onCommand);
    MDSV_DevSrv_RegisterDevMgrCallback(onDevice);
    return attach(world);
}

int report(World *world, long struck, std::uint32_t seed, int files, int threads)
{
    const auto isClean = [=] { return entriesOf("/proc/self/fd") <= files && entriesOf("/proc/self/task") <= threads; };
    const bool isTidy = !world->problem.empty() || waitUntil(isClean, milliseconds(10000));
    const FaultCard::Figures figures = world->card.figures();
    if (!world->problem.empty())
        std::printf("FAILED: %s; open is the type %d, the menu answers %d; the last steps:\n", world->problem.c_str(),
                    openType.load(), MDSV_STKSrv_SelectMenuItem(1, 1));
    if (!world->problem.empty())
        diary.print();
    if (!isTidy)
        std::printf("FAILED: left over: %d files of %d, %d threads of %d\n", entriesOf("/proc/self/fd"), files,
                    entriesOf("/proc/self/task"), threads);
    std::printf("%ld faults; %ld commands fetched, %ld answered, %ld gone with their card; %ld answered twice, %ld not "
                "answered; seed %" PRIu32 "\n",
                struck, figures.fetched, figures.answered, figures.gone, figures.doubled, figures.missed, seed);
    return world->problem.empty() && isTidy && figures.doubled == 0 && figures.missed == 0 ? EXIT_SUCCESS
                                                                                           : EXIT_FAILURE;
}

int run(long each, std::uint32_t seed)
{
    std::printf("seed %" PRIu32 "\n", seed);
    std::fflush(stdout);
    World world(seed);
    if (!prepare(&world)) {
        std::printf("FAILED: %s\n", world.problem.c_str());
        return EXIT_FAILURE;
    }
    waitUntil([] { return isAvailable.load(); });
    waitUntil([&] { return world.card.isAtRest(); });
    const int files = entriesOf("/proc/self/fd"), threads = entriesOf("/proc/self/task");
    long struck = 0;
    for (const Fault &fault : faults) {
        const auto begin = Clock::now();
        for (long i = 0; i < each && world.problem.empty(); ++i)
            struck += play(&world, fault) ? 1 : 0;
        const auto time = std::chrono::duration<double>(Clock::now() - begin).count();
        std::printf("%s %ld times in %.1f s\n", fault.name, each, time);
        std::fflush(stdout);
        if (!world.problem.empty()) {
            world.problem = std::string(fault.name) + ": " + world.problem;
            break;
        }
    }
    if (world.problem.empty() && !comesToRest(&world))
        world.problem = "the card does not come to rest after the last fault";
    const int result = report(&world, struck, seed, files, threads);
    sdk::shutDown();
    return result;
}

} // namespace

int main(int argc, char **argv)
{
    long each = 200;
    auto seed = static_cast<std::uint32_t>(std::chrono::system_clock::now().time_since_epoch().count());
    for (int i = 1; i < argc; i += 2) {
        if (std::strcmp(argv[i], "--help") == 0)
            return std::fputs(usage, stdout) < 0;
        const bool isEach = std::strcmp(argv[i], "--each") == 0;
        if (i + 1 == argc || !(isEach || std::strcmp(argv[i], "--seed") == 0)) {
            std::fputs(usage, stderr);
            return 2;
        }
        const unsigned long number = std::strtoul(argv[i + 1], nullptr, 10);
        if (isEach)
            each = static_cast<long>(number);
        else
            seed = static_cast<std::uint32_t>(number);
    }
    return run(each, seed);
}
