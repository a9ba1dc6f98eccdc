#include "stkcard/Program.h"

#include "card/StepCommand.h"

#include <filesystem>
#include <fstream>
#include <istream>
#include <iterator>
#include <ostream>

namespace stkcard
{

namespace
{

struct Snippet {
    std::string name; ///< for complaints
    std::string text;
};

/// What the operand stands for: standard input, a file of that name, or itself. False: it cannot be read.
bool read(const std::string &operand, Streams &streams, Snippet *snippet)
{
    using Iterator = std::istreambuf_iterator<char>;
    *snippet = {"argument", operand};
    if (operand == "-") {
        *snippet = {"standard input", std::string(Iterator(streams.in), Iterator())};
        return !streams.in.bad();
    }
    std::error_code problem;
    if (!std::filesystem::exists(operand, problem))
        return true;
    snippet->name = operand;
    std::ifstream file(operand, std::ios::binary);
    if (!std::filesystem::is_regular_file(operand, problem) || !file.is_open())
        return false;
    snippet->text.assign(Iterator(file), Iterator());
    return !file.bad();
}

cat::Bytes bytesOf(const card::Step &step, std::uint8_t number)
{
    const bool isRaw = !step.menu && !step.raw.empty();
    return isRaw ? step.raw : cat::encodeCommand(card::raised(step, {}, number));
}

} // namespace

int encode(const Arguments &arguments, Streams &streams)
{
    constexpr std::size_t lastNumber = 0xFE;
    const std::string &operand = arguments.operands.front();
    Snippet snippet;
    if (!read(operand, streams, &snippet))
        return fail(streams, ExitInput, snippet.name + ": this cannot be read; expected a file with a step");
    try {
        std::size_t number = 0;
        for (const card::Step &step : card::readSteps(snippet.name, snippet.text)) {
            const cat::Bytes bytes = bytesOf(step, static_cast<std::uint8_t>(number++ % lastNumber + 1));
            streams.out << cat::toHex(bytes) << '\n';
        }
    } catch (const card::ProfileError &error) {
        const bool isNoStep = snippet.name == "argument" && operand.find(':') == std::string::npos;
        return fail(streams, ExitProfile,
                    error.what() + std::string(isNoStep ? "; nor is there a file of that name" : ""));
    }
    return ExitSuccess;
}

} // namespace stkcard
