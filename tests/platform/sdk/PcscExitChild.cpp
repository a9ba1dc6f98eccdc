// Ends while a card hangs, with and without a channel that still waits for it, and sees to it that nothing calls into
// the PC/SC library once that is taken down.
#include "PcscDouble.h"

#include "sdk/PcscChannel.h"
#include "sdk/SdkControl.h"

#include <cstdio>
#include <cstdlib>
#include <thread>

namespace
{

using std::chrono::milliseconds;

constexpr int calledAfterItsEnd = 3;
constexpr milliseconds patience{500}; ///< what wakes calls within a few of them

/// The library's own end, in place of which the card wakes up, and what was left behind with it.
void takeLibraryDown()
{
    const int before = pcscdouble::calls();
    pcscdouble::setHanging(false);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (std::chrono::steady_clock::now() < deadline) {
        if (pcscdouble::calls() != before) {
            std::fputs("the PC/SC library was called after its end\n", stderr);
            std::_Exit(calledAfterItsEnd);
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
}

} // namespace

int main()
{
    // As that of a library that was loaded before anything used it: whatever is registered later runs earlier.
    std::atexit(takeLibraryDown);
    pcscdouble::addReader("Reader");
    pcscdouble::insert("Reader");
    auto channel = sdk::openReader(std::string(), sdk::PcscPatience{milliseconds(100), milliseconds(100)}, nullptr);
    cat::Bytes answer;
    if (!channel || !channel->reset(nullptr))
        return EXIT_FAILURE;
    pcscdouble::setHanging(true);
    if (channel->transmit({0x80, 0xF2, 0x00, 0x0C, 0x00}, &answer))
        return EXIT_FAILURE;
    channel.reset();
    pcscdouble::addReader("Other");
    pcscdouble::insert("Other");
    sdk::attachDevice(sdk::openReader("Other", nullptr));
    return EXIT_SUCCESS;
}
