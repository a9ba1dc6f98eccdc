#include "stkcard/Decoder.h"
#include "stkcard/Program.h"

#include <istream>
#include <ostream>

namespace stkcard
{

namespace
{

void print(std::ostream &out, const cat::Explanation &object, const std::string &indent)
{
    out << indent << (object.tag.empty() ? "" : object.tag + ' ') << object.name << ", " << object.length
        << (object.length == 1 ? " byte" : " bytes") << (object.value.empty() ? "" : ": " + object.value) << '\n';
    for (const cat::Explanation &part : object.parts)
        print(out, part, indent + "  ");
}

/// Decodes one piece of input; `place` is "argument:1".
int decodeText(const std::string &text, const std::string &place, Streams &streams)
{
    cat::Bytes bytes;
    if (const std::optional<Fault> fault = readHex(text, &bytes))
        return fail(streams, ExitBytes, place + ':' + std::to_string(fault->place) + ": " + fault->reason);
    const Decoded decoded = decodeBytes(bytes);
    if (!decoded.title.empty())
        streams.out << decoded.title << '\n';
    for (const cat::Explanation &object : decoded.objects)
        print(streams.out, object, "  ");
    for (const std::string &note : decoded.notes)
        streams.out << "  " << note << '\n';
    for (const Fault &fault : decoded.faults)
        fail(streams, ExitBytes, place + ": byte " + std::to_string(fault.place) + ": " + fault.reason);
    return decoded.faults.empty() ? ExitSuccess : ExitBytes;
}

bool isBlank(const std::string &line)
{
    return line.find_first_not_of(" \t\r") == std::string::npos;
}

int decodeLines(Streams &streams)
{
    int exitCode = ExitSuccess;
    std::string line;
    for (int number = 1; std::getline(streams.in, line); ++number) {
        if (isBlank(line))
            continue;
        const int result = decodeText(line, "standard input:" + std::to_string(number), streams);
        exitCode = result == ExitSuccess ? exitCode : result;
    }
    return streams.in.bad() ? fail(streams, ExitInput, "standard input cannot be read") : exitCode;
}

} // namespace

int decode(const Arguments &arguments, Streams &streams)
{
    const std::vector<std::string> &operands = arguments.operands;
    if (operands.empty() || (operands.size() == 1 && operands.front() == "-"))
        return decodeLines(streams);
    std::string text;
    for (const std::string &operand : operands)
        text += (text.empty() ? "" : " ") + operand;
    return decodeText(text, "argument:1", streams);
}

} // namespace stkcard
