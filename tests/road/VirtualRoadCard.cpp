#include "RoadCard.h"

std::unique_ptr<sdk::CardChannel> roadcard::open(const std::string &profile, std::string *error)
{
    sdk::setVirtualCardLatency(latency);
    return sdk::openVirtualCard(profile, error);
}

bool roadcard::takesBothThreads()
{
    return true;
}
