#include "Fuzz.h"

#include "cat/Command.h"
#include "cat/Explain.h"

#include <utility>

// The decoders of commands, responses and menu selections, and the words for any of them.

namespace
{

using cat::Result;

bool isOneLine(const std::string &text)
{
    return std::none_of(text.begin(), text.end(), [](char unit) { return unit >= 0 && unit < ' '; });
}

/// No object is longer than what it is a part of.
void checkExplanation(const std::vector<cat::Explanation> &objects, std::size_t size)
{
    std::size_t sum = 0;
    for (const cat::Explanation &object : objects) {
        expect(!object.name.empty() && isOneLine(object.name), "an object has a name on one line");
        expect(isOneLine(object.value), "its value is on one line: " + object.value);
        checkExplanation(object.parts, object.length);
        sum += object.length;
    }
    expect(sum <= size, "the objects are no longer than what they are in");
}

/// The card gets a response to whatever says what it is.
void checkRefusal(const cat::DecodedCommand &decoded)
{
    cat::Response response;
    response.details = decoded.command.details;
    response.result = decoded.result;
    const std::optional<cat::Response> read = cat::decodeResponse(cat::encodeResponse(response));
    expect(read && read->result == decoded.result, "the response that is owed can be read");
    expect(read->details.number == decoded.command.details.number &&
               read->details.type == decoded.command.details.type &&
               read->details.qualifier == decoded.command.details.qualifier,
           "the response repeats the command details");
}

void checkCommand(cat::ByteView data)
{
    const cat::DecodedCommand decoded = cat::decodeCommand(data);
    const bool isGood = decoded.result == Result::Performed;
    expect(isGood == decoded.reason.empty(), "there is a reason exactly when the command is refused");
    expect(isOneLine(decoded.reason) && isOneLine(decoded.command.leftOut), "words are on one line");
    expect(isGood || !decoded.command.isPartial(), "nothing is left out of a command that is refused");
    expect(decoded.detailsKnown || !isGood, "a command without details is refused");
    if (decoded.detailsKnown)
        checkRefusal(decoded);
    if (!isGood)
        return;
    // The first time may change the end of a packed text, see platform/cat/README.md.
    cat::Bytes written = cat::encodeCommand(decoded.command);
    for (int time = 0; time < 2; ++time) {
        const cat::DecodedCommand again = cat::decodeCommand(written);
        expect(again.result == Result::Performed, "a command that was written is good: " + again.reason);
        const cat::Bytes before = std::exchange(written, cat::encodeCommand(again.command));
        expect(time == 0 || written == before, "writing it again makes no difference");
    }
}

void checkResponse(cat::ByteView data)
{
    const std::optional<cat::Response> response = cat::decodeResponse(data);
    if (!response)
        return;
    cat::Bytes written = cat::encodeResponse(*response);
    for (int time = 0; time < 2; ++time) {
        const std::optional<cat::Response> again = cat::decodeResponse(written);
        expect(again.has_value(), "a response that was written can be read");
        const cat::Bytes before = std::exchange(written, cat::encodeResponse(*again));
        expect(time == 0 || written == before, "writing it again makes no difference");
    }
}

void checkSelection(cat::ByteView data)
{
    const std::optional<cat::MenuSelection> selection = cat::decodeMenuSelection(data);
    if (!selection)
        return;
    const std::optional<cat::MenuSelection> again = cat::decodeMenuSelection(cat::encodeMenuSelection(*selection));
    expect(again && again->itemId == selection->itemId && again->helpRequested == selection->helpRequested,
           "a menu selection stays the same");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const cat::ByteView bytes(data, size);
    checkCommand(bytes);
    checkResponse(bytes);
    checkSelection(bytes);
    checkExplanation(cat::explain(bytes), size);
    return 0;
}
