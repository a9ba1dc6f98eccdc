#ifndef SDK_PCSCCHANNEL_H
#define SDK_PCSCCHANNEL_H

#include "sdk/CardChannel.h"

#include <chrono>
#include <memory>
#include <string>

namespace sdk
{

/// How patient the way to a reader is.
struct PcscPatience {
    /// A card that has not answered by then hangs, and is given up. Cards that need long say so on the line meanwhile,
    /// and readers wait for them without end; the slowest applications, which read and write all of their files or wait
    /// for a key to be made, take some seconds. Nobody looks at a window longer than this that does nothing.
    std::chrono::milliseconds answer{20000};

    /// After so long a service that does not run is tried again, and so is a card that was lost or is in use by another
    /// program.
    std::chrono::milliseconds retry{3000};
};

/// openReader() of SdkControl.h, with a patience of the caller's own.
std::unique_ptr<CardChannel> openReader(const std::string &name, const PcscPatience &patience, std::string *error);

} // namespace sdk

#endif // SDK_PCSCCHANNEL_H
