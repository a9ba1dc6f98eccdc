#include "platform/sdk/Events.h"
#include "platform/sdk/Script.h"

#include "sdk/MDSVStk.h"

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

// A host that ends without a word to the library, in one of several situations. The exit code is 0 when it gets as far
// as the end.

namespace
{

constexpr const char *menu = "D01C 8103012500 82028182 85044D656E75 8F05014E657773 8F04804F6464";

std::mutex mutex;
std::condition_variable wake;
bool isReached = false;

void reach()
{
    const std::lock_guard<std::mutex> lock(mutex);
    isReached = true;
    wake.notify_all();
}

void waitUntilReached()
{
    std::unique_lock<std::mutex> lock(mutex);
    if (!wake.wait_for(lock, std::chrono::seconds(10), [] { return isReached; }))
        std::_Exit(3);
}

/// Lets go of the library when the process ends, as a host's global object might.
struct Farewell {
    ~Farewell()
    {
        MDSV_STK_UnRegisterCallBack(events::stkCallback);
        sdk::setExchangeListener({});
        sdk::setCallbackDispatcher({});
        sdk::detachDevice();
        sdk::shutDown();
    }
};

const Farewell farewell;

void atRest()
{
    events::setReaction([](const events::Event &event) {
        if (event.text == "DEVICE 6602")
            reach();
    });
    const auto script = std::make_shared<Script>();
    script->proposes(menu).answers("9000");
    sdk::attachDevice(Script::channel(script));
    waitUntilReached();
}

void thinking()
{
    const auto script = std::make_shared<Script>();
    script->proposes(menu).hangs();
    sdk::attachDevice(Script::channel(script));
    while (!script->isHanging())
        std::this_thread::yield();
}

void storm()
{
    events::setReaction([](const events::Event &event) {
        if (event.id > 10)
            reach();
    });
    const auto script = std::make_shared<Script>();
    for (int i = 0; i < 30000; ++i)
        script->proposes(menu);
    sdk::attachDevice(Script::channel(script));
    waitUntilReached();
}

void callbackThatNeverReturns()
{
    events::setReaction([](const events::Event &) {
        reach();
        std::this_thread::sleep_for(std::chrono::hours(1));
    });
    const auto script = std::make_shared<Script>();
    script->proposes(menu).answers("9000");
    sdk::attachDevice(Script::channel(script));
    waitUntilReached();
}

void listenerThatNeverReturns()
{
    sdk::setExchangeListener([](const sdk::Exchange &) {
        reach();
        std::this_thread::sleep_for(std::chrono::hours(1));
    });
    sdk::attachDevice(Script::channel(std::make_shared<Script>()));
    waitUntilReached();
}

void exitWithinACallback()
{
    events::setReaction([](const events::Event &) { std::exit(0); });
    const auto script = std::make_shared<Script>();
    script->proposes(menu).answers("9000");
    sdk::attachDevice(Script::channel(script));
    std::this_thread::sleep_for(std::chrono::hours(1));
}

void afterShutDown()
{
    atRest();
    sdk::shutDown();
}

struct Situation {
    const char *name;
    void (*run)();
};

constexpr Situation situations[] = {
    {"unused", [] {}},
    {"at-rest", atRest},
    {"thinking", thinking},
    {"storm", storm},
    {"callback-that-never-returns", callbackThatNeverReturns},
    {"listener-that-never-returns", listenerThatNeverReturns},
    {"exit-within-a-callback", exitWithinACallback},
    {"after-shut-down", afterShutDown},
};

} // namespace

int main(int argc, char **argv)
{
    if (!events::registerBoth())
        return 2;
    for (const Situation &situation : situations) {
        if (argc == 2 && std::strcmp(argv[1], situation.name) == 0) {
            situation.run();
            return 0;
        }
    }
    std::fprintf(stderr, "usage: sdk_exit_child SITUATION\n");
    return 2;
}
