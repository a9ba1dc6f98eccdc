#ifndef SDK_DESCRIBE_H
#define SDK_DESCRIBE_H

#include "cat/Command.h"
#include "sdk/Apdu.h"
#include "sdk/SdkControl.h"

#include <string>

namespace sdk
{

/// Words for people, in UTF-8. Texts of the card stand in quotes, their control characters replaced.

/// `SELECT ITEM "Balance", 4 items`; what cannot be carried out says why.
std::string describe(const cat::DecodedCommand &command);

/// `SELECT ITEM: 00 command performed successfully, "Balance"`; `items` are those of the command.
std::string describe(const cat::Response &response, const std::vector<cat::Item> &items);

/// `MENU SELECTION "Balance"`.
std::string describe(const cat::Item &chosen);

/// `6F00`.
std::string describe(StatusWord status);

/// `the command is not open any more (3)`.
std::string describe(Status status);

} // namespace sdk

#endif // SDK_DESCRIBE_H
