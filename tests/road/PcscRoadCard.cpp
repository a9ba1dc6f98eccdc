#include "RoadCard.h"

#include "card/VirtualCard.h"
#include "sdk/SdkControl.h"
#include "support/CardInReader.h"
#include "support/PcscService.h"

// The card on the other side of a real PC/SC service, which stays for the whole program.

namespace
{

/// What is in the reader; each reset makes it new.
stkcard::Chip chip(const std::string &profile)
{
    const auto card = std::make_shared<card::VirtualCard>(card::loadProfile(profile));
    const auto transmit = [card](const cat::Bytes &apdu) {
        card::CardAnswer answer = card->transmit(apdu);
        answer.delay += sdk::usualCardLatency;
        return answer;
    };
    return {[card] { card->reset(); }, transmit};
}

struct Reader {
    PcscService service;
    std::unique_ptr<CardInReader> card;
};

bool prepare(Reader *reader, const std::string &profile, std::string *error)
{
    if (!reader->service.start(error))
        return false;
    reader->card = std::make_unique<CardInReader>(chip(profile));
    reader->card->insert();
    if (PcscService::waitForCard(true))
        return true;
    *error = "the reader takes no card";
    return false;
}

} // namespace

std::unique_ptr<sdk::CardChannel> roadcard::open(const std::string &profile, std::string *error)
{
    static Reader reader;
    static const bool isReady = prepare(&reader, profile, error);
    return isReady ? sdk::openCard(std::string("pcsc:") + PcscService::readerName, error) : nullptr;
}

bool roadcard::takesBothThreads()
{
    return false;
}
