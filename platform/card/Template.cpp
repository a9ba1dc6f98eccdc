#include "card/Template.h"

#include "cat/Text.h"

#include <algorithm>

namespace card
{

namespace
{

bool isLetter(char unit)
{
    return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z');
}

bool isHighSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

/// A part of a template: plain text, or the name in braces.
struct Piece {
    std::u16string_view text;
    bool isName = false;
};

/// Takes the first piece away from `rest`, which is not empty. A brace that nothing closes is plain text.
Piece nextPiece(std::u16string_view *rest)
{
    const std::u16string_view all = *rest;
    const std::size_t close = all.find(u'}');
    const bool opens = all[0] == u'{';
    if (opens && all.size() > 1 && all[1] == u'{') {
        *rest = all.substr(2);
        return {all.substr(0, 1)};
    }
    if (opens && close != std::u16string_view::npos) {
        *rest = all.substr(close + 1);
        return {all.substr(1, close - 1), true};
    }
    const std::size_t end = std::min(all.find(u'{', 1), all.size());
    *rest = all.substr(end);
    return {all.substr(0, end)};
}

std::u16string_view cut(std::u16string_view value, std::size_t longest)
{
    if (value.size() <= longest)
        return value;
    return value.substr(0, longest > 0 && isHighSurrogate(value[longest - 1]) ? longest - 1 : longest);
}

} // namespace

bool isAnswerName(std::string_view name)
{
    return !name.empty() && isLetter(name.front()) && std::all_of(name.begin(), name.end(), [](char unit) {
        return isLetter(unit) || (unit >= '0' && unit <= '9') || unit == '-' || unit == '_';
    });
}

std::vector<std::string> namesIn(std::u16string_view text, std::string *fault)
{
    std::vector<std::string> names;
    while (!text.empty()) {
        const bool opens = text[0] == u'{' && text.substr(0, 2) != u"{{";
        const Piece piece = nextPiece(&text);
        const std::string name = cat::toUtf8(piece.text);
        if (piece.isName)
            names.push_back(name);
        if (piece.isName ? !isAnswerName(name) : opens)
            *fault = piece.isName ? '"' + name + "\" between braces is no name of an answer" : "a brace has no end";
    }
    return names;
}

std::u16string expanded(std::u16string_view text, const Values &values, std::size_t longest)
{
    std::u16string result;
    while (!text.empty()) {
        const Piece piece = nextPiece(&text);
        const auto value = piece.isName ? values.find(cat::toUtf8(piece.text)) : values.end();
        if (!piece.isName)
            result += piece.text;
        else if (value != values.end())
            result += cut(value->second, longest);
    }
    return result;
}

} // namespace card
