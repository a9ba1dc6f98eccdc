#ifndef SUPPORT_VIRTUALSLOT_H
#define SUPPORT_VIRTUALSLOT_H

#include <cstddef>
#include <cstring>

namespace support
{

/// Slot of a virtual operation in its class's table, as GCC and Clang keep it in a pointer to member; -1 for an
/// operation that is not virtual.
template <class Method>
int slotOf(Method method)
{
    std::ptrdiff_t word;
    std::memcpy(&word, &method, sizeof(word));
    return (word & 1) ? int(word / std::ptrdiff_t(sizeof(void *))) : -1;
}

} // namespace support

#endif // SUPPORT_VIRTUALSLOT_H
