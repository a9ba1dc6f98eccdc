#include "card/ProfileText.h"

#include <algorithm>
#include <charconv>
#include <vector>

namespace card
{

namespace
{

constexpr long long longestNumber = 1000000000;

} // namespace

Position positionOf(std::string_view text, int line, int byte)
{
    for (int i = 0; i < line; ++i)
        text.remove_prefix(std::min(text.find('\n'), text.size() - 1) + 1);
    const std::string_view before = text.substr(0, static_cast<std::size_t>(byte));
    const auto characters =
        std::count_if(before.begin(), before.end(), [](char unit) { return (unit & 0xC0) != 0x80; });
    return {line + 1, static_cast<int>(characters) + 1};
}

Position positionOfOffset(std::string_view text, std::size_t offset)
{
    const std::string_view before = text.substr(0, offset);
    const std::size_t newline = before.rfind('\n');
    const std::size_t start = newline == std::string_view::npos ? 0 : newline + 1;
    return positionOf(text, static_cast<int>(std::count(before.begin(), before.end(), '\n')),
                      static_cast<int>(offset - start));
}

std::size_t distance(const std::string &left, const std::string &right)
{
    std::vector<std::size_t> row(right.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j < row.size(); ++j) {
            const std::size_t change = diagonal + (left[i - 1] == right[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

std::optional<long long> wholeNumber(std::string_view text)
{
    long long number = 0;
    const char *end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional<long long>(number) : std::nullopt;
}

std::optional<std::chrono::milliseconds> duration(std::string_view text)
{
    const auto unit = [&text](std::string_view name) {
        const bool has = text.size() > name.size() && text.substr(text.size() - name.size()) == name;
        if (has)
            text.remove_suffix(name.size());
        return has;
    };
    const long long factor = unit("ms") ? 1 : unit("s") ? 1000 : 0;
    const std::optional<long long> number = wholeNumber(text);
    if (factor == 0 || !number)
        return std::nullopt;
    // Bounded so that the product fits; no caller has use for a time this long.
    return std::chrono::milliseconds(std::clamp(*number, -longestNumber, longestNumber) * factor);
}

} // namespace card
