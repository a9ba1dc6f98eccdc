#include "card/VirtualCard.h"

#include "card/CardSession.h"
#include "card/MenuCommand.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <utility>

namespace card
{

namespace
{

/// Status words (ETSI TS 102 221 clause 10.2, ISO/IEC 7816-4 clause 5.6).
enum StatusWord : std::uint16_t {
    Done = 0x9000,
    MoreData = 0x6100,         ///< the low byte is the length of what GET RESPONSE brings
    ProactivePending = 0x9100, ///< the low byte is the length of the command that waits
    ToolkitBusy = 0x9300,
    WrongLength = 0x6700,
    ConditionsNotSatisfied = 0x6985,
    IncorrectData = 0x6A80,
    FileNotFound = 0x6A82,
    WrongParameters = 0x6B00,
    WrongLe = 0x6C00, ///< the low byte is the right one
    UnknownInstruction = 0x6D00,
    UnknownClass = 0x6E00,
    NoDiagnosis = 0x6F00,
    GsmMoreData = 0x9F00, ///< the same as MoreData on a SIM
};

constexpr std::uint8_t classToolkit = 0x80;
constexpr std::uint8_t classFiles = 0x00; ///< the commands that every card has
constexpr std::uint8_t classGsm = 0xA0;   ///< all of them on a SIM (3GPP TS 51.011)
constexpr std::size_t headSize = 4;

const cat::Bytes masterFile{0x3F, 0x00};

/// What the master file says of itself (ETSI TS 102 221 clause 11.1.1.3): a folder, operational, without a PIN.
const cat::Bytes masterFileParameters{
    0x62, 0x13,                                     // file control parameters
    0x82, 0x02, 0x78, 0x21,                         // descriptor: a folder
    0x83, 0x02, 0x3F, 0x00,                         // identifier
    0x8A, 0x01, 0x05,                               // operational
    0xC6, 0x06, 0x90, 0x01, 0x00, 0x83, 0x01, 0x01, // PIN 1 is disabled
};

/// The same of a SIM (3GPP TS 51.011 clause 9.2.1): the PIN is disabled.
const cat::Bytes gsmMasterFileParameters{
    0x00, 0x00, 0x00, 0x00, 0x3F, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
    0x09, 0x91, 0x00, 0x00, 0x04, 0x00, 0x83, 0x8A, 0x83, 0x8A, 0x00,
};

cat::Bytes withStatus(cat::Bytes data, unsigned int word)
{
    data.push_back(static_cast<std::uint8_t>(word >> 8));
    data.push_back(static_cast<std::uint8_t>(word));
    return data;
}

CardAnswer answer(unsigned int word)
{
    return {withStatus({}, word), std::chrono::milliseconds(0)};
}

/// What an instruction needs to know of its command APDU.
struct Body {
    bool isGsm = false;
    std::uint8_t p1 = 0;
    std::uint8_t p2 = 0;
    cat::ByteView data;
    bool hasLe = false;
    std::uint8_t le = 0;
};

/// The four cases of ISO/IEC 7816-4 clause 5.1 with short lengths; nothing when the lengths do not add up.
std::optional<Body> readBody(cat::ByteView apdu)
{
    Body body;
    body.isGsm = apdu[0] == classGsm;
    body.p1 = apdu[2];
    body.p2 = apdu[3];
    const std::size_t size = apdu.size - headSize;
    if (size == 0)
        return body;
    const std::uint8_t first = apdu[headSize];
    const bool hasData = size > 1;
    const std::size_t expected = hasData ? 1u + first : 1u;
    if (hasData && (first == 0 || (size != expected && size != expected + 1)))
        return std::nullopt;
    if (hasData)
        body.data = cat::ByteView(apdu.data + headSize + 1, first);
    body.hasLe = !hasData || size == expected + 1;
    body.le = body.hasLe ? apdu[apdu.size - 1] : std::uint8_t{0};
    return body;
}

} // namespace

/// The card between power on and power off.
struct VirtualCard::Session {
    /// A proactive command on its way: waiting for FETCH, then for its terminal response.
    struct Proactive {
        cat::Bytes bytes;
        cat::CommandDetails details;
        bool fetched = false;
        bool isRaised = false; ///< from outside, and none of the session's
    };

    /// An instruction: its class beside that of a SIM, which body it takes and what it does.
    struct Instruction {
        std::uint8_t code;
        std::uint8_t usualClass;
        bool takesData;
        bool takesLe;
        bool needsLe;
        bool fixedParameters; ///< P1 and P2 are 00
        CardAnswer (Session::*run)(const Body &body);
    };
    /// Null: the card does not know it in this class.
    static const Instruction *instruction(std::uint8_t code, std::uint8_t commandClass);

    explicit Session(Profile cardProfile) : profile(std::move(cardProfile)) {}

    void reset();
    CardAnswer transmit(cat::ByteView apdu);

    CardAnswer terminalProfile(const Body &body);
    CardAnswer fetch(const Body &body);
    CardAnswer terminalResponse(const Body &body);
    CardAnswer envelope(const Body &body);
    CardAnswer status(const Body &body);
    CardAnswer select(const Body &body);
    CardAnswer getResponse(const Body &body);

    unsigned int doneWord() const;
    CardAnswer carryOut(const NextMove &move);
    bool raiseNext();

    const Profile profile;
    CardSession session{profile};
    bool profileReceived = false;
    std::optional<Proactive> proactive;
    std::deque<cat::Bytes> raised; ///< what waits to be asked
    cat::Bytes waiting;            ///< what waits for GET RESPONSE, which must be the next command
};

const VirtualCard::Session::Instruction *VirtualCard::Session::instruction(std::uint8_t code, std::uint8_t commandClass)
{
    static constexpr Instruction instructions[] = {
        {0x10, classToolkit, true, false, false, true, &Session::terminalProfile},
        {0x12, classToolkit, false, true, true, true, &Session::fetch},
        {0x14, classToolkit, true, false, false, true, &Session::terminalResponse},
        {0xC2, classToolkit, true, true, false, true, &Session::envelope},
        {0xF2, classToolkit, false, true, false, false, &Session::status},
        {0xA4, classFiles, true, true, false, false, &Session::select},
        {0xC0, classFiles, false, true, true, true, &Session::getResponse},
    };
    const auto row = std::find_if(std::begin(instructions), std::end(instructions), [&](const Instruction &candidate) {
        return candidate.code == code && (commandClass == candidate.usualClass || commandClass == classGsm);
    });
    return row == std::end(instructions) ? nullptr : row;
}

void VirtualCard::Session::reset()
{
    profileReceived = false;
    proactive.reset();
    raised.clear();
    waiting.clear();
    session.reset();
}

CardAnswer VirtualCard::Session::transmit(cat::ByteView apdu)
{
    if (apdu.size < headSize)
        return answer(WrongLength);
    if (apdu[0] != classToolkit && apdu[0] != classFiles && apdu[0] != classGsm)
        return answer(UnknownClass);
    const Instruction *const row = instruction(apdu[1], apdu[0]);
    if (!row)
        return answer(UnknownInstruction);
    if (row->fixedParameters && (apdu[2] != 0 || apdu[3] != 0))
        return answer(WrongParameters);
    const std::optional<Body> body = readBody(apdu);
    if (!body || row->takesData == body->data.empty() || (body->hasLe && !row->takesLe) ||
        (!body->hasLe && row->needsLe))
        return answer(WrongLength);
    if (row->run != &Session::getResponse)
        waiting.clear();
    return (this->*row->run)(*body);
}

CardAnswer VirtualCard::Session::terminalProfile(const Body &)
{
    reset();
    profileReceived = true;
    return carryOut(session.start());
}

CardAnswer VirtualCard::Session::fetch(const Body &body)
{
    if (!proactive || proactive->fetched)
        return answer(ConditionsNotSatisfied);
    const auto length = static_cast<std::uint8_t>(proactive->bytes.size());
    if (body.le != length)
        return answer(WrongLe | length);
    proactive->fetched = true;
    return {withStatus(proactive->bytes, Done), std::chrono::milliseconds(0)};
}

CardAnswer VirtualCard::Session::terminalResponse(const Body &body)
{
    if (!proactive || !proactive->fetched)
        return answer(ConditionsNotSatisfied);
    const std::optional<cat::Response> response = cat::decodeResponse(body.data);
    if (!response || response->details.number != proactive->details.number ||
        response->details.type != proactive->details.type)
        return answer(IncorrectData);
    return carryOut(proactive->isRaised ? NextMove() : session.answered(*response));
}

CardAnswer VirtualCard::Session::envelope(const Body &body)
{
    if (!profileReceived)
        return answer(ConditionsNotSatisfied);
    if (proactive)
        return answer(ToolkitBusy);
    const std::optional<cat::MenuSelection> selection = cat::decodeMenuSelection(body.data);
    return selection ? carryOut(session.select(*selection)) : answer(IncorrectData);
}

CardAnswer VirtualCard::Session::status(const Body &)
{
    if (!proactive && profileReceived)
        raiseNext();
    return answer(doneWord());
}

/// There is one file, the master file: terminals look for it before anything else.
CardAnswer VirtualCard::Session::select(const Body &body)
{
    constexpr std::uint8_t byIdentifier = 0x00, noData = 0x0C;
    if (body.p1 != byIdentifier ||
        !std::equal(body.data.begin(), body.data.end(), masterFile.begin(), masterFile.end()))
        return answer(FileNotFound);
    if (body.p2 == noData && !body.hasLe)
        return answer(doneWord());
    waiting = body.isGsm ? gsmMasterFileParameters : masterFileParameters;
    if (body.hasLe)
        return getResponse(body);
    return answer((body.isGsm ? GsmMoreData : MoreData) | static_cast<std::uint8_t>(waiting.size()));
}

CardAnswer VirtualCard::Session::getResponse(const Body &body)
{
    if (waiting.empty())
        return answer(ConditionsNotSatisfied);
    const bool isAskedFor = body.le == 0 || body.le == waiting.size();
    if (!isAskedFor)
        return answer(WrongLe | static_cast<std::uint8_t>(waiting.size()));
    return {withStatus(std::exchange(waiting, {}), doneWord()), std::chrono::milliseconds(0)};
}

/// For a command that was carried out: a proactive command that waits is told with it.
unsigned int VirtualCard::Session::doneWord() const
{
    if (!proactive || proactive->fetched)
        return Done;
    return ProactivePending | static_cast<std::uint8_t>(proactive->bytes.size());
}

/// Says what the session does next; a command waits for FETCH from now on.
CardAnswer VirtualCard::Session::carryOut(const NextMove &move)
{
    if (move.kind == NextMove::Kind::Refused)
        return answer(IncorrectData); // and what is open stays open
    proactive.reset();
    unsigned int word = move.kind == NextMove::Kind::Fault ? NoDiagnosis : Done;
    if (move.kind == NextMove::Kind::Command) {
        proactive = Proactive{move.bytes, move.details};
        word = ProactivePending | static_cast<std::uint8_t>(move.bytes.size());
    } else if (move.kind == NextMove::Kind::Rest && raiseNext()) {
        word = ProactivePending | static_cast<std::uint8_t>(proactive->bytes.size());
    }
    return {withStatus({}, word), move.delay};
}

/// False: nothing waits.
bool VirtualCard::Session::raiseNext()
{
    if (raised.empty())
        return false;
    const cat::CommandDetails details = cat::decodeCommand(raised.front()).command.details;
    proactive = Proactive{std::move(raised.front()), details, false, true};
    raised.pop_front();
    return true;
}

VirtualCard::VirtualCard(Profile profile) : m_session(std::make_unique<Session>(std::move(profile))) {}

VirtualCard::~VirtualCard() = default;

void VirtualCard::reset()
{
    m_session->reset();
}

bool VirtualCard::hasNetwork() const
{
    return m_session->profile.network;
}

bool VirtualCard::raise(const cat::Bytes &command)
{
    if (command.size() > longestCommand || !cat::decodeCommand(command).detailsKnown)
        return false;
    m_session->raised.push_back(command);
    return true;
}

CardAnswer VirtualCard::transmit(cat::ByteView apdu)
{
    return m_session->transmit(apdu);
}

} // namespace card
