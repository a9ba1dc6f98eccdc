#include "cat/Command.h"

#include "cat/Objects.h"
#include "cat/Values.h"

#include <algorithm>
#include <bitset>
#include <iterator>
#include <utility>

namespace cat
{

namespace
{

constexpr std::size_t usualCommandSize = 256; ///< what one APDU can bring

/// A data object in a command, in the order of the command's clause.
struct ObjectUse {
    const DataObject *object;
    bool mandatory;
    bool comprehension; ///< the flag it is written with, as the public conformance sequences have it
};

constexpr ObjectUse needed(const DataObject &object)
{
    return {&object, true, true};
}

constexpr ObjectUse optional(const DataObject &object)
{
    return {&object, false, true};
}

/// Written without the comprehension flag: a terminal that does not know the object goes on without it.
constexpr ObjectUse unflagged(ObjectUse use)
{
    return {use.object, use.mandatory, false};
}

constexpr ObjectUse displayTextObjects[] = {
    needed(objects::commandDetails),  needed(objects::deviceIdentities),    needed(objects::textString),
    optional(objects::icon),          optional(objects::immediateResponse), optional(objects::duration),
    optional(objects::textAttribute), optional(objects::frameIdentifier),
};

constexpr ObjectUse getInkeyObjects[] = {
    needed(objects::commandDetails),    needed(objects::deviceIdentities), needed(objects::textString),
    unflagged(optional(objects::icon)), optional(objects::duration),       optional(objects::textAttribute),
    optional(objects::frameIdentifier),
};

constexpr ObjectUse getInputObjects[] = {
    needed(objects::commandDetails),  needed(objects::deviceIdentities),         needed(objects::textString),
    needed(objects::responseLength),  unflagged(optional(objects::defaultText)), unflagged(optional(objects::icon)),
    optional(objects::textAttribute), optional(objects::frameIdentifier),        optional(objects::duration),
};

constexpr ObjectUse playToneObjects[] = {
    needed(objects::commandDetails),  needed(objects::deviceIdentities),  optional(objects::alphaIdentifier),
    optional(objects::tone),          optional(objects::duration),        unflagged(optional(objects::icon)),
    optional(objects::textAttribute), optional(objects::frameIdentifier),
};

constexpr ObjectUse setUpMenuObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    needed(objects::alphaIdentifier),
    needed(objects::items),
    unflagged(optional(objects::itemsNextAction)),
    optional(objects::icon),
    optional(objects::itemIcons),
    optional(objects::textAttribute),
    optional(objects::itemTextAttributes),
};

constexpr ObjectUse selectItemObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    optional(objects::alphaIdentifier),
    needed(objects::items),
    unflagged(optional(objects::itemsNextAction)),
    optional(objects::itemIdentifier),
    optional(objects::icon),
    optional(objects::itemIcons),
    optional(objects::textAttribute),
    optional(objects::itemTextAttributes),
    optional(objects::frameIdentifier),
};

constexpr ObjectUse sendShortMessageObjects[] = {
    needed(objects::commandDetails),  needed(objects::deviceIdentities),  optional(objects::alphaIdentifier),
    optional(objects::address),       needed(objects::smsTpdu),           unflagged(optional(objects::icon)),
    optional(objects::textAttribute), optional(objects::frameIdentifier),
};

constexpr ObjectUse sendSsObjects[] = {
    needed(objects::commandDetails),    needed(objects::deviceIdentities), optional(objects::alphaIdentifier),
    needed(objects::ssString),          optional(objects::icon),           optional(objects::textAttribute),
    optional(objects::frameIdentifier),
};

constexpr ObjectUse sendUssdObjects[] = {
    needed(objects::commandDetails),    needed(objects::deviceIdentities), optional(objects::alphaIdentifier),
    needed(objects::ussdString),        optional(objects::icon),           optional(objects::textAttribute),
    optional(objects::frameIdentifier),
};

constexpr ObjectUse setUpCallObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    optional(objects::confirmationAlpha),
    needed(objects::address),
    optional(objects::capabilityConfiguration),
    optional(objects::subaddress),
    optional(objects::duration),
    optional(objects::confirmationIcon),
    optional(objects::callAlpha),
    optional(objects::callIcon),
    optional(objects::confirmationTextAttribute),
    optional(objects::callTextAttribute),
    optional(objects::frameIdentifier),
};

constexpr ObjectUse refreshObjects[] = {
    needed(objects::commandDetails),          needed(objects::deviceIdentities),  optional(objects::fileList),
    optional(objects::applicationIdentifier), optional(objects::alphaIdentifier), optional(objects::icon),
    optional(objects::textAttribute),         optional(objects::frameIdentifier), optional(objects::plmnList),
};

constexpr ObjectUse setUpIdleModeTextObjects[] = {
    needed(objects::commandDetails), needed(objects::deviceIdentities), needed(objects::textString),
    optional(objects::icon),         optional(objects::textAttribute),  optional(objects::frameIdentifier),
};

constexpr ObjectUse launchBrowserObjects[] = {
    needed(objects::commandDetails),    needed(objects::deviceIdentities),
    optional(objects::browserIdentity), unflagged(needed(objects::url)),
    optional(objects::bearer),          optional(objects::provisioningFile),
    optional(objects::gateway),         unflagged(optional(objects::alphaIdentifier)),
    unflagged(optional(objects::icon)), optional(objects::textAttribute),
    optional(objects::frameIdentifier), optional(objects::networkAccessName),
};

/// MORE TIME, POLLING OFF.
constexpr ObjectUse headOnly[] = {needed(objects::commandDetails), needed(objects::deviceIdentities)};

constexpr ObjectUse pollIntervalObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    needed(objects::duration),
};

constexpr ObjectUse setUpEventListObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    needed(objects::eventList),
};

/// The application identifier goes with one of the qualifiers that are refused here.
constexpr ObjectUse provideLocalInformationObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    optional(objects::applicationIdentifier),
};

constexpr ObjectUse timerManagementObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    needed(objects::timerIdentifier),
    optional(objects::timerValue),
};

constexpr ObjectUse languageNotificationObjects[] = {
    needed(objects::commandDetails),
    needed(objects::deviceIdentities),
    optional(objects::language),
};

/// What keeps a command from being carried out; no reason: nothing does.
struct Fault {
    Result result = Result::DataNotUnderstood;
    std::string reason;
};

// Objects that are fine one by one may still contradict each other.

Fault contradiction(const char *reason)
{
    return {Result::DataNotUnderstood, reason};
}

/// An icon goes with a text that is not empty (ETSI TS 102 223 clause 6.5.4).
Fault checkText(const Parsing &parsing)
{
    const Command &command = parsing.command;
    if (command.icon && command.text && command.text->value.empty())
        return contradiction("an icon comes with an empty text");
    return {};
}

Fault checkGetInput(const Parsing &parsing)
{
    const ResponseLength &length = *parsing.command.responseLength;
    if (length.minimum > length.maximum)
        return contradiction("the shortest response is longer than the longest");
    return checkText(parsing);
}

/// The same for texts that are alpha identifiers; where there is none, the terminal chooses what to show.
Fault checkAlpha(const Parsing &parsing)
{
    const Command &command = parsing.command;
    const bool lonely = command.icon && command.alphaId && command.alphaId->empty();
    const bool lonelyInCall = command.callIcon && command.callAlphaId && command.callAlphaId->empty();
    return lonely || lonelyInCall ? contradiction("an icon comes with an empty alpha identifier") : Fault();
}

Fault checkSetUpMenu(const Parsing &parsing)
{
    if (parsing.nullItems > 0 && parsing.nullItems + parsing.command.items.size() > 1)
        return contradiction("an empty item, which takes the menu away, is not the only item");
    return checkAlpha(parsing);
}

Fault checkSelectItem(const Parsing &parsing)
{
    return parsing.nullItems > 0 ? contradiction("an item is empty") : checkAlpha(parsing);
}

Fault checkSendShortMessage(const Parsing &parsing)
{
    return parsing.command.tpdu->empty() ? contradiction("the SMS TPDU is empty") : checkAlpha(parsing);
}

Fault checkSendSs(const Parsing &parsing)
{
    return parsing.command.ss->digits.empty() ? contradiction("the SS string is empty") : checkAlpha(parsing);
}

Fault checkSetUpCall(const Parsing &parsing)
{
    return parsing.command.address->digits.empty() ? contradiction("the address has no digits") : checkAlpha(parsing);
}

/// The two modes that tell of changed files name them (ETSI TS 102 223 clause 6.6.13).
Fault checkRefresh(const Parsing &parsing)
{
    const Command &command = parsing.command;
    constexpr std::uint8_t fileChange = 0x01;
    constexpr std::uint8_t initializationAndFileChange = 0x02;
    const std::uint8_t mode = command.details.qualifier;
    if (!command.fileList && (mode == fileChange || mode == initializationAndFileChange))
        return {Result::ValuesMissing, "file list is missing"};
    return checkAlpha(parsing);
}

Fault checkNothing(const Parsing &)
{
    return {};
}

/// A timer is started with a value, of a second at least (ETSI TS 102 223 clauses 6.4.21 and 6.6.21).
Fault checkTimerManagement(const Parsing &parsing)
{
    const Command &command = parsing.command;
    if (command.timerAction() > TimerAction::GetValue)
        return contradiction("the qualifier asks for nothing that can be done to a timer");
    if (command.timerAction() != TimerAction::Start)
        return {};
    if (!command.timerValue)
        return {Result::ValuesMissing, "timer value is missing"};
    return command.timerValue->count() == 0 ? contradiction("a timer of no seconds is started") : Fault();
}

/// A command: who carries it out and which objects it has.
struct CommandRow {
    CommandType type;
    Device destination;
    const ObjectUse *uses;
    std::size_t useCount;
    Fault (*check)(const Parsing &parsing);

    const ObjectUse *begin() const { return uses; }
    const ObjectUse *end() const { return uses + useCount; }
    const ObjectUse *find(Tag tag) const
    {
        const auto use = std::find_if(begin(), end(), [tag](const ObjectUse &u) { return u.object->tag == tag; });
        return use == end() ? nullptr : use;
    }
};

template <std::size_t count>
constexpr CommandRow row(CommandType type, Device destination, const ObjectUse (&uses)[count],
                         Fault (*check)(const Parsing &))
{
    return {type, destination, uses, count, check};
}

constexpr CommandRow commandRows[] = {
    row(CommandType::Refresh, Device::Terminal, refreshObjects, checkRefresh),
    row(CommandType::MoreTime, Device::Terminal, headOnly, checkNothing),
    row(CommandType::PollInterval, Device::Terminal, pollIntervalObjects, checkNothing),
    row(CommandType::PollingOff, Device::Terminal, headOnly, checkNothing),
    row(CommandType::SetUpEventList, Device::Terminal, setUpEventListObjects, checkNothing),
    row(CommandType::SetUpCall, Device::Network, setUpCallObjects, checkSetUpCall),
    row(CommandType::SendSs, Device::Network, sendSsObjects, checkSendSs),
    row(CommandType::SendUssd, Device::Network, sendUssdObjects, checkAlpha),
    row(CommandType::SendShortMessage, Device::Network, sendShortMessageObjects, checkSendShortMessage),
    row(CommandType::LaunchBrowser, Device::Terminal, launchBrowserObjects, checkAlpha),
    row(CommandType::PlayTone, Device::Earpiece, playToneObjects, checkAlpha),
    row(CommandType::DisplayText, Device::Display, displayTextObjects, checkText),
    row(CommandType::GetInkey, Device::Terminal, getInkeyObjects, checkText),
    row(CommandType::GetInput, Device::Terminal, getInputObjects, checkGetInput),
    row(CommandType::SelectItem, Device::Terminal, selectItemObjects, checkSelectItem),
    row(CommandType::SetUpMenu, Device::Terminal, setUpMenuObjects, checkSetUpMenu),
    row(CommandType::ProvideLocalInformation, Device::Terminal, provideLocalInformationObjects, checkNothing),
    row(CommandType::TimerManagement, Device::Terminal, timerManagementObjects, checkTimerManagement),
    row(CommandType::LanguageNotification, Device::Terminal, languageNotificationObjects, checkNothing),
    row(CommandType::SetUpIdleModeText, Device::Terminal, setUpIdleModeTextObjects, checkText),
};

const CommandRow *commandRow(CommandType type)
{
    const auto found = std::find_if(std::begin(commandRows), std::end(commandRows),
                                    [type](const CommandRow &candidate) { return candidate.type == type; });
    return found == std::end(commandRows) ? nullptr : found;
}

void refuse(DecodedCommand *decoded, Result result, const std::string &reason)
{
    decoded->result = result;
    decoded->reason = reason;
}

/// Command details and devices: enough to answer a command that goes no further.
void readHead(ByteView objects, DecodedCommand *decoded)
{
    Command &command = decoded->command;
    const std::optional<TlvObject> details = findObject(objects, Tag::CommandDetails);
    decoded->detailsKnown = details && parseDetails(details->value, &command.details);
    const std::optional<TlvObject> devices = findObject(objects, Tag::DeviceIdentities);
    if (devices)
        parseDevices(devices->value, &command.source, &command.destination);
}

/// Why `pdu` does not begin like a proactive command.
std::string headFault(ByteView pdu)
{
    if (pdu.empty())
        return "it has no bytes";
    if (pdu[0] != static_cast<std::uint8_t>(BerTag::ProactiveCommand))
        return "its tag is " + toHex(ByteView(pdu.data, 1)) + " and not D0";
    return "the length behind its tag D0 cannot be read";
}

/// The tags of a command's own objects have one byte.
using SeenTags = std::bitset<0x80>;

/// What is wrong with an object of the command; empty: nothing.
std::string takeObject(const DataObject &how, const TlvObject &object, SeenTags *seen, Parsing *parsing)
{
    const auto tag = static_cast<std::size_t>(object.tag);
    if (seen->test(tag) && !how.repeats)
        return {};
    seen->set(tag);
    if (!how.parse)
        appendObject(&parsing->command.otherObjects, object.tag, object.comprehension, object.value);
    else if (!how.parse(object.value, parsing))
        return std::string(how.name) + ' ' + toHex(object.value) + " is malformed";
    return {};
}

std::string strangeObject(const CommandRow &row, const TlvObject &object)
{
    return "object with tag " + std::to_string(static_cast<unsigned int>(object.tag)) +
           (object.comprehension ? " must be understood, but" : "") + " does not belong to " + commandName(row.type);
}

/// Whether an object that is not understood may be left out (ETSI TS 102 223 clause 6.10).
bool mayBeLeftOut(const ObjectUse *use, const TlvObject &object)
{
    return !object.comprehension && !(use && use->mandatory);
}

std::string placed(const std::string &problem, const std::uint8_t *place, ByteView pdu)
{
    return problem + ", at offset " + std::to_string(place - pdu.data);
}

Fault readObjects(const CommandRow &row, ByteView objects, ByteView pdu, Parsing *parsing)
{
    std::string &leftOut = parsing->command.leftOut;
    SeenTags seen;
    TlvReader reader(objects);
    const std::uint8_t *place = reader.rest().data;
    while (const std::optional<TlvObject> object = reader.next()) {
        const ObjectUse *const use = row.find(object->tag);
        std::string problem = use ? takeObject(*use->object, *object, &seen, parsing) : strangeObject(row, *object);
        if (!problem.empty()) {
            problem = placed(problem, place, pdu);
            if (!mayBeLeftOut(use, *object))
                return {Result::DataNotUnderstood, problem};
            leftOut += (leftOut.empty() ? "" : "; ") + problem;
        }
        place = reader.rest().data;
    }
    if (reader.malformed())
        return {Result::DataNotUnderstood, placed("a data object is cut off or has no readable length", place, pdu)};
    for (const ObjectUse &use : row) {
        if (use.mandatory && !seen.test(static_cast<std::size_t>(use.object->tag)))
            return {Result::ValuesMissing, std::string(use.object->name) + " is missing"};
    }
    return {};
}

std::string deviceNumber(Device device)
{
    const auto number = static_cast<std::uint8_t>(device);
    return toHex(ByteView(&number, 1));
}

Fault checkCommand(const CommandRow &row, const Parsing &parsing)
{
    const Command &command = parsing.command;
    if (command.source != Device::Uicc || command.destination != row.destination)
        return {Result::DataNotUnderstood, commandName(row.type) + " does not go from device " +
                                               deviceNumber(command.source) + " to " +
                                               deviceNumber(command.destination)};
    return row.check(parsing);
}

void readBody(const CommandRow &row, const BerObject &ber, ByteView pdu, DecodedCommand *decoded)
{
    Parsing parsing;
    Fault fault = readObjects(row, ber.value, pdu, &parsing);
    if (fault.reason.empty() && !ber.complete)
        fault = contradiction("the command is shorter than its length says");
    if (fault.reason.empty())
        fault = checkCommand(row, parsing);
    if (fault.reason.empty())
        decoded->command = std::move(parsing.command);
    else
        refuse(decoded, fault.result, fault.reason);
}

} // namespace

std::chrono::milliseconds Duration::time() const
{
    constexpr int milliseconds[] = {60000, 1000, 100};
    return std::chrono::milliseconds(milliseconds[static_cast<std::size_t>(unit)] * interval);
}

int Duration::seconds() const
{
    return static_cast<int>((time().count() + 999) / 1000);
}

Device destinationOf(CommandType type)
{
    const CommandRow *row = commandRow(type);
    return row ? row->destination : Device::Terminal;
}

DecodedCommand decodeCommand(ByteView pdu)
{
    DecodedCommand decoded;
    const std::optional<BerObject> ber = readBer(pdu);
    if (!ber || ber->tag != static_cast<std::uint8_t>(BerTag::ProactiveCommand)) {
        refuse(&decoded, Result::DataNotUnderstood, "not a proactive command, " + headFault(pdu));
        return decoded;
    }
    readHead(ber->value, &decoded);
    const CommandType type = decoded.command.details.type;
    if (!decoded.detailsKnown)
        refuse(&decoded, Result::ValuesMissing, "command details are missing or malformed");
    else if (const CommandRow *row = commandRow(type))
        readBody(*row, *ber, pdu, &decoded);
    else if (isNamed(type))
        refuse(&decoded, Result::BeyondCapabilities, commandName(type) + " is not supported");
    else
        refuse(&decoded, Result::TypeNotUnderstood, commandName(type) + " is not a known command");
    return decoded;
}

Bytes encodeCommand(const Command &command)
{
    Bytes value;
    value.reserve(usualCommandSize + berHeadSize);
    if (const CommandRow *row = commandRow(command.details.type)) {
        for (const ObjectUse &use : *row) {
            if (use.object->write)
                use.object->write(command, {use.object->tag, use.comprehension}, &value);
        }
        value.insert(value.end(), command.otherObjects.begin(), command.otherObjects.end());
    } else {
        writeDetails(command.details, &value);
        writeDevices(command.source, command.destination, &value);
    }
    return berObject(BerTag::ProactiveCommand, std::move(value));
}

} // namespace cat
