#ifndef SDK_RECORDS_H
#define SDK_RECORDS_H

#include "cat/Command.h"
#include "sdk/MDSVStk.h"

#include <map>
#include <memory>
#include <mutex>
#include <string_view>

namespace sdk
{

/// Copies `text` into a field of MDSV_STK_TEXT_UNITS units: at most 255 of them, never half a surrogate pair, the rest
/// of the field zeroed.
void copyText(std::u16string_view text, uint16_t *field);

/// The item arrays that callers hold. Any thread.
class ItemArrays
{
public:
    enum class Kind { MainMenu, SubMenu };

    /// A filled array, which stays until takeBack().
    MDSVStkMenuItem *lend(Kind kind, const std::vector<cat::Item> &items);

    /// Frees an array. False: it is not one that was handed out for this kind of menu, or it has come back already.
    bool takeBack(Kind kind, MDSVStkMenuItem *array);

private:
    struct Lent {
        Kind kind;
        std::unique_ptr<MDSVStkMenuItem[]> items;
    };

    std::mutex m_mutex;
    std::map<const MDSVStkMenuItem *, Lent> m_lent;
};

} // namespace sdk

#endif // SDK_RECORDS_H
