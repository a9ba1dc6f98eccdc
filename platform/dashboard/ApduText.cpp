#include "dashboard/ApduText.h"

#include "dashboard/ExchangeText.h"

#include <algorithm>
#include <iterator>

namespace dashboard
{

namespace
{

constexpr std::size_t headSize = 4;
constexpr std::size_t statusSize = 2;
constexpr std::uint8_t envelopeCode = 0xC2;

struct Instruction {
    std::uint8_t code;
    const char *name;
    bool hasObjects; ///< its data are data objects
};

/// ETSI TS 102 221 clause 10.1.2, ISO/IEC 7816-4 for the last one.
constexpr Instruction instructions[] = {
    {0x10, "TERMINAL PROFILE", false}, {0x12, "FETCH", true},   {0x14, "TERMINAL RESPONSE", true},
    {envelopeCode, "ENVELOPE", true},  {0xF2, "STATUS", false}, {0xC0, "GET RESPONSE", true},
};

/// ETSI TS 102 221 clause 10.2.1: a mask, what is left under it, and its meaning.
constexpr struct {
    unsigned int mask;
    unsigned int status;
    const char *words;
} statuses[] = {
    {0xFFFF, 0x9000, "done"},
    {0xFF00, 0x9100, "a command waits"},
    {0xFFFF, 0x9300, "the card is busy"},
    {0xFF00, 0x6100, "more data wait"},
    {0xFF00, 0x6700, "wrong length"},
    {0xFF00, 0x6900, "not allowed now"},
    {0xFF00, 0x6A00, "wrong parameters"},
    {0xFF00, 0x6B00, "wrong parameters"},
    {0xFF00, 0x6C00, "wrong expected length"},
    {0xFF00, 0x6D00, "unknown instruction"},
    {0xFF00, 0x6E00, "unknown class"},
    {0xFF00, 0x6F00, "no diagnosis"},
};

const Instruction *instructionOf(const cat::Bytes &command)
{
    if (command.size() < headSize)
        return nullptr;
    const auto row = std::find_if(std::begin(instructions), std::end(instructions),
                                  [&command](const Instruction &each) { return each.code == command[1]; });
    return row == std::end(instructions) ? nullptr : row;
}

QString nameOf(const cat::Bytes &command)
{
    const Instruction *const instruction = instructionOf(command);
    if (instruction)
        return instruction->name;
    return command.size() < headSize ? QString("cut-off command") : "instruction " + spacedHex({command[1]});
}

/// The data field of a command with short lengths; empty for one that only names the length of the answer.
cat::ByteView dataOf(const cat::Bytes &command)
{
    if (command.size() <= headSize + 1)
        return {};
    const std::size_t there = command.size() - headSize - 1;
    return {command.data() + headSize + 1, std::min<std::size_t>(command[headSize], there)};
}

/// The kind of an envelope that is a whole one, in capitals: "TIMER EXPIRATION". Empty for any other command.
QString envelopeKind(const cat::Bytes &command)
{
    if (command.size() < headSize || command[1] != envelopeCode)
        return QString();
    const std::vector<cat::Explanation> objects = cat::explain(dataOf(command));
    return objects.size() == 1 && !objects[0].parts.empty() ? QString::fromStdString(objects[0].name).toUpper()
                                                            : QString();
}

QString statusWords(const cat::Bytes &answer)
{
    if (answer.size() < statusSize)
        return "no status word";
    const unsigned int status = answer[answer.size() - 2] * 0x100U + answer[answer.size() - 1];
    const QString number = QString("%1").arg(status, 4, 16, QChar('0')).toUpper();
    for (const auto &row : statuses) {
        if ((status & row.mask) == row.status)
            return number + ' ' + row.words;
    }
    return number;
}

QString count(std::size_t bytes)
{
    return bytes == 1 ? QString("1 byte") : QString("%1 bytes").arg(bytes);
}

std::vector<cat::Explanation> objectsIn(cat::ByteView data, const Instruction *instruction)
{
    if (data.empty())
        return {};
    if (instruction && instruction->hasObjects)
        return cat::explain(data);
    return {{{}, "data", data.size, cat::toHex(data), {}}};
}

} // namespace

QString apduWords(const cat::Bytes &command, const cat::Bytes &answer)
{
    const std::size_t got = answer.size() < statusSize ? 0 : answer.size() - statusSize;
    const std::size_t data = std::max(dataOf(command).size, got);
    const QString kind = envelopeKind(command);
    const QString name = kind.isEmpty() ? nameOf(command) : nameOf(command) + ' ' + kind;
    return name + (data == 0 ? QString() : ", " + count(data)) + ": " + statusWords(answer);
}

std::vector<cat::Explanation> explainEntry(const SessionEntry &entry)
{
    if (entry.kind != EntryKind::Apdu)
        return cat::explain(entry.bytes);
    const Instruction *const instruction = instructionOf(entry.bytes);
    const std::string head = cat::toHex({entry.bytes.data(), std::min(headSize, entry.bytes.size())});
    const std::size_t got = entry.answer.size() < statusSize ? 0 : entry.answer.size() - statusSize;
    const std::string name = nameOf(entry.bytes).toStdString();
    const std::string status = statusWords(entry.answer).toStdString();
    const auto asked = objectsIn(dataOf(entry.bytes), instruction);
    const auto answered = objectsIn({entry.answer.data(), got}, instruction);
    return {{head, "command", entry.bytes.size(), name, asked}, {{}, "answer", entry.answer.size(), status, answered}};
}

} // namespace dashboard
