#include "RoadCard.h"

#include "sdk/SdkControl.h"

std::unique_ptr<sdk::CardChannel> roadcard::open(const std::string &profile, std::string *error)
{
    return sdk::openVirtualCard(profile, error);
}

bool roadcard::takesBothThreads()
{
    return true;
}
