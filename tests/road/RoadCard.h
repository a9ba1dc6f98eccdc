#ifndef TESTS_ROADCARD_H
#define TESTS_ROADCARD_H

#include "sdk/CardChannel.h"

#include <memory>
#include <string>

/// The way from the library to the virtual card of a profile. Which one it is, is chosen by linking: in this process,
/// or through a PC/SC service and its reader.
namespace roadcard
{

/// The card, in the device and new, or null and in `*error` why not.
std::unique_ptr<sdk::CardChannel> open(const std::string &profile, std::string *error);

/// Every row runs on both threads for callbacks; otherwise on the library's own only.
bool takesBothThreads();

} // namespace roadcard

#endif // TESTS_ROADCARD_H
