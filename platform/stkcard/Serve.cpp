#include "stkcard/Program.h"
#include "stkcard/VpcdCard.h"

#include <csignal>

#include <algorithm>
#include <charconv>
#include <iostream>
#include <optional>

namespace stkcard
{

namespace
{

/// As cards on a real line take; and what the STK window reckons with: it overlooks an answer that is there at once.
constexpr int usualLatency = 30;
constexpr int longestLatency = 60000;
constexpr int lastPort = 65535;

int number(const Arguments &arguments, const std::string &option, int otherwise, int least, int most)
{
    const std::string text = arguments.value(option, std::to_string(otherwise));
    int value = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (problem != std::errc() || end != text.data() + text.size() || value < least || value > most)
        throw UsageError{"--" + option + " takes a whole number from " + std::to_string(least) + " to " +
                         std::to_string(most) + ", not '" + text + '\''};
    return value;
}

Protocol protocol(const Arguments &arguments)
{
    constexpr struct {
        const char *word;
        Protocol protocol;
    } words[] = {{"t0", Protocol::T0}, {"t1", Protocol::T1}, {"both", Protocol::Both}};
    const std::string given = arguments.value("protocol", "both");
    const auto row =
        std::find_if(std::begin(words), std::end(words), [&given](const auto &each) { return each.word == given; });
    if (row == std::end(words))
        throw UsageError{"--protocol takes t0, t1 or both, not '" + given + '\''};
    return row->protocol;
}

VpcdCard::Reader readerOf(const Arguments &arguments)
{
    VpcdCard::Reader reader;
    reader.host = arguments.value("host", reader.host);
    reader.port = std::to_string(number(arguments, "port", std::stoi(reader.port), 1, lastPort));
    if (reader.host.empty())
        throw UsageError{"--host takes a name or an address"};
    return reader;
}

/// What is told of each piece of news; the lines are for scripts, too.
std::string words(VpcdCard::News news, const std::string &place)
{
    using News = VpcdCard::News;
    switch (news) {
    case News::NoReader:
        return "waits: no reader listens at " + place + "; start pcscd with the reader of vsmartcard-vpcd";
    case News::Inserted:
        return "in the reader at " + place;
    case News::PowerOn:
        return "power on";
    case News::PowerOff:
        return "power off";
    case News::Reset:
        return "reset";
    case News::ReaderGone:
        break;
    }
    return "the reader has gone; waits for it";
}

VpcdCard *cardToInterrupt = nullptr;

extern "C" void interruptCard(int)
{
    cardToInterrupt->interrupt();
}

/// While it lives, the signals that end a program take the card out.
class TakenOutBySignals
{
public:
    explicit TakenOutBySignals(VpcdCard *card)
    {
        cardToInterrupt = card;
        struct sigaction action = {};
        action.sa_handler = interruptCard;
        for (std::size_t i = 0; i < std::size(signals); ++i)
            sigaction(signals[i], &action, &m_before[i]);
    }
    ~TakenOutBySignals()
    {
        for (std::size_t i = 0; i < std::size(signals); ++i)
            sigaction(signals[i], &m_before[i], nullptr);
        cardToInterrupt = nullptr;
    }
    TakenOutBySignals(const TakenOutBySignals &) = delete;
    TakenOutBySignals &operator=(const TakenOutBySignals &) = delete;

private:
    static constexpr int signals[] = {SIGINT, SIGTERM, SIGHUP};
    struct sigaction m_before[std::size(signals)] = {};
};

Chip chipOf(card::VirtualCard &card, std::chrono::milliseconds latency)
{
    const auto reset = [&card] { card.reset(); };
    const auto transmit = [&card, latency](const cat::Bytes &apdu) {
        card::CardAnswer answer = card.transmit(apdu);
        answer.delay += latency;
        return answer;
    };
    return {reset, transmit};
}

VpcdCard::Listener listenerFor(std::ostream &out, const std::string &place, bool printsApdus)
{
    VpcdCard::Listener listener;
    listener.news = [&out, place](VpcdCard::News news) { out << words(news, place) << std::endl; };
    if (printsApdus)
        listener.apdu = [&out](const cat::Bytes &apdu, const cat::Bytes &answer) {
            out << "> " << cat::toHex(apdu) << "\n< " << cat::toHex(answer) << std::endl;
        };
    return listener;
}

} // namespace

int serve(const Arguments &arguments, Streams &streams)
{
    const VpcdCard::Reader reader = readerOf(arguments);
    const std::chrono::milliseconds latency(number(arguments, "latency", usualLatency, 0, longestLatency));
    const cat::Bytes atr = answerToReset(protocol(arguments));
    std::optional<card::VirtualCard> card;
    try {
        card.emplace(card::loadProfile(arguments.operands.front()));
    } catch (const card::ProfileError &error) {
        return fail(streams, ExitProfile, error.what());
    }
    const std::string place = reader.host + ':' + reader.port;
    VpcdCard vpcdCard(chipOf(*card, latency), atr, listenerFor(streams.out, place, arguments.has("print")));
    const TakenOutBySignals signals(&vpcdCard);
    std::string error;
    if (!vpcdCard.serve(reader, &error))
        return fail(streams, ExitReader, error);
    streams.out << "taken out" << std::endl;
    return ExitSuccess;
}

} // namespace stkcard
