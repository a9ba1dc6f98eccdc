#include "sdk/SdkControl.h"

#include <string_view>

namespace sdk
{

namespace
{

/// What follows "SCHEME:", or nothing behind a bare SCHEME. Null: the address is of another kind.
std::optional<std::string> afterScheme(const std::string &address, std::string_view scheme)
{
    if (address == scheme)
        return std::string();
    if (address.size() > scheme.size() && address.compare(0, scheme.size(), scheme) == 0 &&
        address[scheme.size()] == ':')
        return address.substr(scheme.size() + 1);
    return std::nullopt;
}

} // namespace

std::unique_ptr<CardChannel> openCard(const std::string &address, std::string *error)
{
    if (const auto reader = afterScheme(address, "pcsc"))
        return openReader(*reader, error);
    if (const auto line = afterScheme(address, "modem"))
        return openModem(*line, error);
    return openVirtualCard(address, error);
}

} // namespace sdk
