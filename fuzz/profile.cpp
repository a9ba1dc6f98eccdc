#include "Fuzz.h"

#include "card/VirtualCard.h"

#include <sys/mman.h>
#include <unistd.h>

// The reader of profiles, and what a card of an accepted one says.

namespace
{

/// A file in memory with the fuzzer's bytes in it.
class MemoryFile
{
public:
    MemoryFile() : m_file(memfd_create("profile", 0)) { expect(m_file >= 0, "there is a file"); }

    /// Its path, with `size` bytes of `data` as its whole content.
    std::string with(const std::uint8_t *data, std::size_t size) const
    {
        const bool isWritten = ftruncate(m_file, 0) == 0 && pwrite(m_file, data, size, 0) == static_cast<ssize_t>(size);
        expect(isWritten, "the file takes the input");
        return "/proc/self/fd/" + std::to_string(m_file);
    }

private:
    int m_file;
};

/// Answers every command of the card with yes, a bounded number of times.
void use(const card::Profile &profile)
{
    constexpr int mostCommands = 16;
    card::VirtualCard card(profile);
    cat::Bytes answer = card.transmit(cat::Bytes{0x80, 0x10, 0x00, 0x00, 0x01, 0xFF}).bytes;
    for (int i = 0; i < mostCommands && answer.size() >= 2 && answer[answer.size() - 2] == 0x91; ++i) {
        const cat::Bytes fetch{0x80, 0x12, 0x00, 0x00, answer.back()};
        const cat::Bytes command = card.transmit(fetch).bytes;
        const cat::DecodedCommand decoded = cat::decodeCommand(command);
        expect(decoded.detailsKnown, "an accepted profile has no command without details");
        cat::Response response;
        response.details = decoded.command.details;
        response.result = decoded.result;
        if (!decoded.command.items.empty() && decoded.command.details.type == cat::CommandType::SelectItem)
            response.itemId = decoded.command.items.front().id;
        const cat::Bytes data = cat::encodeResponse(response);
        cat::Bytes apdu{0x80, 0x14, 0x00, 0x00, static_cast<std::uint8_t>(data.size())};
        apdu.insert(apdu.end(), data.begin(), data.end());
        answer = card.transmit(apdu).bytes;
    }
    expect(answer.size() >= 2, "every APDU has an answer");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const MemoryFile file;
    try {
        use(card::loadProfile(file.with(data, size)));
    } catch (const card::ProfileError &error) {
        expect(!error.reason().empty(), "a refused profile has a reason");
        expect(error.line() >= 1 && error.column() >= 1, "and a place");
    }
    return 0;
}
