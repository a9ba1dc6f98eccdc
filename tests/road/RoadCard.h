#ifndef TESTS_ROADCARD_H
#define TESTS_ROADCARD_H

#include "sdk/CardChannel.h"
#include "sdk/SdkControl.h"

#include <memory>
#include <string>

/// The way from the library to the virtual card of a profile. Which one it is, is chosen by linking: in this process,
/// or through a PC/SC service and its reader.
namespace roadcard
{

/// How long it takes for an APDU. The window has to be back from its request by then, and programs that are built for
/// checks run slower.
constexpr std::chrono::milliseconds latency = sdk::usualCardLatency * STK_TEST_TIMEOUT_FACTOR;

/// The card, in the device and new, or null and in `*error` why not.
std::unique_ptr<sdk::CardChannel> open(const std::string &profile, std::string *error);

/// Every row runs on both threads for callbacks; otherwise on the library's own only.
bool takesBothThreads();

} // namespace roadcard

#endif // TESTS_ROADCARD_H
