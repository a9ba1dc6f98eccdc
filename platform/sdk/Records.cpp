#include "sdk/Records.h"

#include <algorithm>
#include <cstring>

namespace sdk
{

namespace
{

/// How a caller is told which characters an answer may have.
enum InputType : int32_t { DefaultAlphabet = 0, YesNo = 1, Digits = 2, AnyCharacter = 3 };

constexpr int32_t refreshFileListAt = 8;

/// A tone that comes without a length sounds so long; callers would take 0 for "not at all".
constexpr uint16_t usualToneSeconds = 3;

/// A tone that comes without a number, or with one that is none (ETSI TS 102 223 clause 6.4.5).
constexpr int32_t generalBeep = 10;

bool isHighSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
}

std::u16string valueOf(const std::optional<cat::Text> &text)
{
    return text ? text->value : std::u16string();
}

int32_t inputType(const cat::Command &command)
{
    if (command.isYesNo())
        return YesNo;
    if (command.isDigitsOnly())
        return Digits;
    return command.isUcs2() ? AnyCharacter : DefaultAlphabet;
}

/// As the standard writes it (clause 8.16): the general beep, 10 in hexadecimal digits, is number 10.
int32_t toneNumber(const cat::Command &command)
{
    const unsigned int tone = command.tone.value_or(0);
    const unsigned int high = tone >> 4;
    const unsigned int low = tone & 0x0F;
    return tone == 0 || high > 9 || low > 9 ? generalBeep : static_cast<int32_t>(10 * high + low);
}

uint16_t seconds(const std::optional<cat::Duration> &duration, uint16_t usual)
{
    return duration ? static_cast<uint16_t>(duration->seconds()) : usual;
}

uint16_t cappedMilliseconds(const std::optional<cat::Duration> &duration)
{
    constexpr std::chrono::milliseconds longest{0xFFFF};
    return duration ? static_cast<uint16_t>(std::min(duration->time(), longest).count()) : uint16_t(0);
}

} // namespace

void copyText(std::u16string_view text, uint16_t *field)
{
    std::size_t length = std::min<std::size_t>(text.size(), MDSV_STK_TEXT_UNITS - 1);
    if (length < text.size() && isHighSurrogate(text[length - 1]))
        --length;
    uint16_t *const end = std::copy_n(text.begin(), length, field);
    std::fill(end, field + MDSV_STK_TEXT_UNITS, uint16_t(0));
}

void fillRecord(const cat::Command &command, MDSVStkInputData *record)
{
    const cat::ResponseLength length = command.responseLength.value_or(cat::ResponseLength());
    copyText(valueOf(command.text), record->usPrompt);
    record->nInputType = inputType(command);
    record->nEcho = command.isHidden() ? 0 : 1;
    record->sMinLen = length.minimum;
    record->sMaxLen = length.maximum;
    record->nOption = command.helpAvailable() ? 1 : 0;
    copyText(valueOf(command.defaultText), record->usDefaultText);
}

void fillRecord(const cat::Command &command, MDSVStkInKeyData *record)
{
    copyText(valueOf(command.text), record->usPrompt);
    record->nInputType = inputType(command);
    record->nOption = command.helpAvailable() ? 1 : 0;
    record->usDuration = cappedMilliseconds(command.duration);
}

void fillRecord(const cat::Command &command, MDSVStkPromptData *record)
{
    copyText(valueOf(command.text), record->usText);
    record->nClearMode = command.isClearedByUser() ? 1 : 0;
    record->usDuration = seconds(command.duration, 0);
}

void fillRecord(const cat::Command &command, MDSVStkToneData *record)
{
    record->nTone = toneNumber(command);
    record->usDuration = seconds(command.duration, usualToneSeconds);
    copyText(command.alphaId.value_or(std::u16string()), record->usText);
}

void fillRecord(const cat::Command &command, MDSVStkBrowserData *record)
{
    record->nMode = command.details.qualifier;
    copyText(cat::fromUtf8(command.url.value_or(std::string())), record->usUrl);
}

void fillIdleText(const cat::Command &command, uint16_t *field)
{
    copyText(valueOf(command.text), field);
}

void fillRefresh(const cat::Command &command, void *buffer)
{
    const cat::Bytes files = command.fileList.value_or(cat::Bytes());
    const int32_t head[] = {command.details.qualifier, static_cast<int32_t>(files.size())};
    static_assert(sizeof head == refreshFileListAt, "the file list follows two numbers");
    auto *const bytes = static_cast<unsigned char *>(buffer);
    std::memset(bytes, 0, MDSV_STK_REFRESH_BYTES);
    std::memcpy(bytes, head, sizeof head);
    std::copy_n(files.begin(), std::min<std::size_t>(files.size(), MDSV_STK_REFRESH_BYTES - refreshFileListAt),
                bytes + refreshFileListAt);
}

MDSVStkMenuItem *ItemArrays::lend(Kind kind, const std::vector<cat::Item> &items)
{
    // One element at least, so that every array has an address of its own.
    auto array = std::make_unique<MDSVStkMenuItem[]>(std::max<std::size_t>(items.size(), 1));
    for (std::size_t i = 0; i < items.size(); ++i) {
        array[i].sItemId = items[i].id;
        copyText(items[i].text, array[i].usText);
    }
    MDSVStkMenuItem *const address = array.get();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_lent.emplace(address, Lent{kind, std::move(array)});
    return address;
}

bool ItemArrays::takeBack(Kind kind, MDSVStkMenuItem *array)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto lent = m_lent.find(array);
    if (lent == m_lent.end() || lent->second.kind != kind)
        return false;
    m_lent.erase(lent);
    return true;
}

} // namespace sdk
