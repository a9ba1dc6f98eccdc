#include "sdk/SdkControl.h"

namespace sdk
{

std::unique_ptr<CardChannel> openModem(const std::string &, std::string *error)
{
    if (error)
        *error = "modems cannot be used yet";
    return nullptr;
}

std::vector<std::string> listModemLines()
{
    return {};
}

} // namespace sdk
