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

// The records of the contract, whole and without anything left over from before. `command` is of the record's type.

void fillRecord(const cat::Command &command, MDSVStkInputData *record);
void fillRecord(const cat::Command &command, MDSVStkInKeyData *record);
void fillRecord(const cat::Command &command, MDSVStkPromptData *record);
void fillRecord(const cat::Command &command, MDSVStkToneData *record);
void fillRecord(const cat::Command &command, MDSVStkBrowserData *record);

/// The text of SET UP IDLE MODE TEXT, as a field of MDSV_STK_TEXT_UNITS units.
void fillIdleText(const cat::Command &command, uint16_t *field);

/// REFRESH, MDSV_STK_REFRESH_BYTES bytes, numbers in the machine's order:
/// 0 int32, the command qualifier (ETSI TS 102 223 clause 8.6); 4 int32, n, how many bytes of the file list follow, 0
/// for a command without one; 8 n bytes, the value of the file list (clause 8.18): the number of files, then their
/// paths; 0 up to the end.
void fillRefresh(const cat::Command &command, void *buffer);

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
