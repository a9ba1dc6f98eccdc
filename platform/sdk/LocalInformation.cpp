#include "sdk/LocalInformation.h"

#include <algorithm>
#include <cstdlib>

namespace sdk
{

namespace
{

bool isLetter(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

char lowerCase(char letter)
{
    return static_cast<char>(letter | 0x20);
}

} // namespace

cat::DateTime localTime(std::time_t time)
{
    constexpr long quarter = 15 * 60;
    std::tm local = {};
    tzset(); // the zone may have changed since the start
    localtime_r(&time, &local);
    cat::DateTime known;
    known.year = 1900 + local.tm_year;
    known.month = 1 + local.tm_mon;
    known.day = local.tm_mday;
    known.hour = local.tm_hour;
    known.minute = local.tm_min;
    known.second = std::min(local.tm_sec, 59); // a leap second has no place in it
    known.zone = static_cast<int>(local.tm_gmtoff / quarter);
    return known;
}

std::string languageOf(const std::string &locale)
{
    const std::size_t size = std::min(locale.find_first_of("_.@-"), locale.size());
    if (size != 2 || !isLetter(locale[0]) || !isLetter(locale[1]))
        return {};
    return {lowerCase(locale[0]), lowerCase(locale[1])};
}

std::string environmentLanguage()
{
    for (const char *const name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char *const locale = std::getenv(name);
        if (!locale || *locale == '\0')
            continue;
        const std::string language = languageOf(locale);
        return language.empty() ? "en" : language; // the first that is set counts, as in setlocale()
    }
    return "en";
}

} // namespace sdk
