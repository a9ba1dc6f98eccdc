#include "sdk/Records.h"

#include <algorithm>

namespace sdk
{

namespace
{

bool isHighSurrogate(char16_t unit)
{
    return unit >= 0xD800 && unit < 0xDC00;
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
