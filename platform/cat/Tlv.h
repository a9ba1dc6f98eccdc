#ifndef CAT_TLV_H
#define CAT_TLV_H

#include "cat/Bytes.h"

#include <optional>

namespace cat
{

/// Tags of BER-TLV objects (ETSI TS 101 220 clause 7.2).
enum class BerTag : std::uint8_t {
    ProactiveCommand = 0xD0,
    MenuSelection = 0xD3,
    TimerExpiration = 0xD7,
};

/// Tags of COMPREHENSION-TLV objects without the comprehension flag (ETSI TS 102 223 clause 9.3).
enum class Tag : std::uint16_t {
    CommandDetails = 0x01,
    DeviceIdentities = 0x02,
    Result = 0x03,
    Duration = 0x04,
    AlphaIdentifier = 0x05,
    Address = 0x06,
    CapabilityConfiguration = 0x07,
    Subaddress = 0x08,
    SsString = 0x09,
    UssdString = 0x0A,
    SmsTpdu = 0x0B,
    TextString = 0x0D,
    Tone = 0x0E,
    Item = 0x0F,
    ItemIdentifier = 0x10,
    ResponseLength = 0x11,
    FileList = 0x12,
    HelpRequest = 0x15,
    DefaultText = 0x17,
    ItemsNextActionIndicator = 0x18,
    EventList = 0x19,
    IconIdentifier = 0x1E,
    ItemIconIdentifierList = 0x1F,
    TimerIdentifier = 0x24,
    TimerValue = 0x25,
    DateTimeAndZone = 0x26,
    ImmediateResponse = 0x2B,
    Language = 0x2D,
    ApplicationIdentifier = 0x2F,
    BrowserIdentity = 0x30,
    Url = 0x31,
    Bearer = 0x32,
    ProvisioningFile = 0x33,
    NetworkAccessName = 0x47,
    TextAttribute = 0x50,
    ItemTextAttributeList = 0x51,
    FrameIdentifier = 0x68,
    PlmnList = 0x72, ///< PLMNwAcT list of REFRESH (3GPP TS 31.111)
};

/// A BER-TLV object (ETSI TS 101 220 clause 7.2). `value` points into what was read.
struct BerObject {
    std::uint8_t tag = 0;
    ByteView value;
    /// False when the input ends before the announced length does; `value` is then what there is.
    bool complete = true;
};

/// Reads the object `data` begins with; bytes behind it are ignored. Nothing when there is no tag or no readable
/// length.
std::optional<BerObject> readBer(ByteView data);

/// A COMPREHENSION-TLV object (ETSI TS 101 220 clause 7.1.1). `value` points into what was read.
struct TlvObject {
    Tag tag = Tag::CommandDetails; ///< any value is possible, that of a tag of three bytes up to 7FFF
    bool comprehension = false;    ///< the sender insists that this object is understood
    ByteView value;
};

/// Walks over a sequence of COMPREHENSION-TLV objects and never outside it.
class TlvReader
{
public:
    explicit TlvReader(ByteView objects) : m_rest(objects) {}

    /// The next object; nothing at the end, and nothing when the rest is not an object.
    std::optional<TlvObject> next();

    /// True when next() stopped before the end: the rest is cut off or has no readable length.
    bool malformed() const { return m_malformed; }

    /// What next() has not read yet.
    ByteView rest() const { return m_rest; }

private:
    ByteView m_rest;
    bool m_malformed = false;
};

/// Appends a length in its shortest form: one byte up to 7F, then 81, 82 or 83 in front.
void appendLength(Bytes *out, std::size_t length);

/// Appends a COMPREHENSION-TLV object with a tag of one byte.
void appendObject(Bytes *out, Tag tag, bool comprehension, ByteView value);

/// The same with a value that is `first` and `rest` behind it.
void appendObject(Bytes *out, Tag tag, bool comprehension, std::uint8_t first, ByteView rest);

/// A BER-TLV object with `value` in it. It takes no new memory when `value` has room for berHeadSize bytes more.
Bytes berObject(BerTag tag, Bytes value);
constexpr std::size_t berHeadSize = 5;

} // namespace cat

#endif // CAT_TLV_H
