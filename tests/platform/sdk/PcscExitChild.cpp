// Ends while a card hangs, with and without a channel that still waits for it.
#include "PcscDouble.h"

#include "sdk/PcscChannel.h"
#include "sdk/SdkControl.h"

#include <cstdlib>
#include <thread>

int main()
{
    using std::chrono::milliseconds;
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
    // The library wakes up while the process ends, and what was left behind with it.
    std::atexit([] { pcscdouble::setHanging(false); });
    return EXIT_SUCCESS;
}
