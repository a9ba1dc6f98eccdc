#include "sdk/AtClient.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace sdk
{

namespace
{

/// No answer here has more lines than the number of a modem's profiles.
constexpr std::size_t mostLines = 16;

/// So long another final result code may follow one that belongs to calls.
constexpr std::chrono::milliseconds callResultGrace{200};

/// Final result codes (ITU-T V.250 clause 5.7.1, 3GPP TS 27.007 clause 9, 3GPP TS 27.005 clause 3.2.5).
constexpr struct {
    std::string_view text;
    bool isPrefix;
    AtAnswer::Kind kind;
    bool isOfCalls;
} resultCodes[] = {
    {"OK", false, AtAnswer::Kind::Done, false},
    {"ERROR", false, AtAnswer::Kind::Refused, false},
    {"+CME ERROR", true, AtAnswer::Kind::Refused, false},
    {"+CMS ERROR", true, AtAnswer::Kind::Refused, false},
    {"COMMAND NOT SUPPORT", true, AtAnswer::Kind::Refused, false},
    {"NO CARRIER", false, AtAnswer::Kind::Refused, true},
    {"NO DIALTONE", false, AtAnswer::Kind::Refused, true},
    {"NO DIAL TONE", false, AtAnswer::Kind::Refused, true},
    {"NO ANSWER", false, AtAnswer::Kind::Refused, true},
    {"BUSY", false, AtAnswer::Kind::Refused, true},
};

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

std::string_view trimmed(std::string_view text)
{
    const auto isBlank = [](char character) { return character == ' ' || character == '\t'; };
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// The number behind the colon of "+CME ERROR: 14"; nothing where there is none, as in "+CME ERROR: SIM busy".
std::optional<int> errorNumber(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    const std::string_view text = trimmed(line.substr(colon + 1));
    int number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    return end.ec == std::errc() && end.ptr == text.data() + text.size() ? std::make_optional(number) : std::nullopt;
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// AtLines

void AtLines::add(std::string_view bytes, const std::function<void(const std::string &)> &handler)
{
    for (const char byte : bytes) {
        if (byte == '\r' || byte == '\n')
            endLine(handler);
        else if (m_line.size() >= longestLine)
            m_isTooLong = true;
        else if (byte != '\0')
            m_line.push_back(byte);
    }
}

void AtLines::endLine(const std::function<void(const std::string &)> &handler)
{
    const std::string line(m_isTooLong ? std::string_view() : trimmed(m_line));
    clear();
    if (!line.empty())
        handler(line);
}

void AtLines::clear()
{
    m_line.clear();
    m_isTooLong = false;
}

// ---------------------------------------------------------------------------------------------------------------------
// AtClient

void AtClient::begin(const std::string &prefix)
{
    m_isWaiting = true;
    m_prefix = prefix;
    m_answer = AtAnswer();
    m_due.reset();
}

void AtClient::add(std::string_view bytes, Clock::time_point now)
{
    m_lines.add(bytes, [this, now](const std::string &line) { take(line, now); });
}

void AtClient::take(const std::string &line, Clock::time_point now)
{
    const auto *const code = std::find_if(std::begin(resultCodes), std::end(resultCodes), [&line](const auto &row) {
        return row.isPrefix ? startsWith(line, row.text) : line == row.text;
    });
    if (code != std::end(resultCodes)) {
        if (!m_isWaiting) {
            ++m_strayResults;
            return;
        }
        m_answer.kind = code->kind;
        m_answer.error = errorNumber(line);
        m_due = code->isOfCalls ? now + callResultGrace : now;
        m_isWaiting = code->isOfCalls;
    } else if (m_isWaiting && !m_prefix.empty() && startsWith(line, m_prefix)) {
        if (m_answer.lines.size() < mostLines)
            m_answer.lines.emplace_back(trimmed(std::string_view(line).substr(m_prefix.size())));
    } else {
        m_unasked(line);
    }
}

std::optional<AtAnswer> AtClient::take(Clock::time_point now)
{
    if (!m_due || *m_due > now)
        return std::nullopt;
    m_isWaiting = false;
    m_due.reset();
    return std::move(m_answer);
}

void AtClient::clear()
{
    m_lines.clear();
    m_isWaiting = false;
    m_due.reset();
    m_strayResults = 0;
}

} // namespace sdk
