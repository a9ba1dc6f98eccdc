#ifndef CAT_BYTES_H
#define CAT_BYTES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace cat
{

using Bytes = std::vector<std::uint8_t>;

/// Bytes that somebody else owns; valid only as long as they are.
struct ByteView {
    const std::uint8_t *data = nullptr;
    std::size_t size = 0;

    ByteView() = default;
    ByteView(const std::uint8_t *first, std::size_t count) : data(first), size(count) {}
    ByteView(const Bytes &bytes) : data(bytes.data()), size(bytes.size()) {}

    const std::uint8_t *begin() const { return data; }
    const std::uint8_t *end() const { return data + size; }
    std::uint8_t operator[](std::size_t index) const { return data[index]; }
    bool empty() const { return size == 0; }
};

/// Two upper-case hexadecimal digits for each byte, with no blanks.
std::string toHex(ByteView bytes);

/// Reads hexadecimal digits; blanks between bytes are allowed. False for anything else, and `bytes` is then untouched.
bool fromHex(std::string_view text, Bytes *bytes);

} // namespace cat

#endif // CAT_BYTES_H
