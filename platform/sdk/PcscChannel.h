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
    /// A card that has not answered by then hangs, and is given up. The most silent card that the standard allows takes
    /// 51 s for a block (ISO/IEC 7816-3 clause 11.4.3: BWI 9 at 3.57 MHz). Nobody is kept waiting: the window gives
    /// up earlier by itself, and interrupt() ends the wait at any time.
    std::chrono::milliseconds answer{60000};

    /// After so long a service that does not run is tried again, and so is a card that was lost or is in use by another
    /// program.
    std::chrono::milliseconds retry{3000};
};

/// openReader() of SdkControl.h, with a patience of the caller's own.
std::unique_ptr<CardChannel> openReader(const std::string &name, const PcscPatience &patience, std::string *error);

} // namespace sdk

#endif // SDK_PCSCCHANNEL_H
