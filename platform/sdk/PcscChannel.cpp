#include "sdk/SdkControl.h"

namespace sdk
{

std::unique_ptr<CardChannel> openReader(const std::string &, std::string *error)
{
    if (error)
        *error = "PC/SC readers cannot be used yet";
    return nullptr;
}

std::vector<std::string> listReaders(std::string *)
{
    return {};
}

} // namespace sdk
