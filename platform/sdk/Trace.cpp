#include "sdk/Trace.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace sdk
{

namespace
{

constexpr std::uint32_t pcapMagic = 0xA1B2C3D4; ///< times in microseconds
constexpr std::uint32_t snapLength = 65535;
constexpr std::uint32_t linkTypeIpv4 = 228;

constexpr std::size_t ipHeaderSize = 20;
constexpr std::size_t udpHeaderSize = 8;
constexpr std::size_t gsmtapHeaderSize = 16;
constexpr std::uint16_t gsmtapPort = 4729;
constexpr std::uint8_t gsmtapVersion = 2;
constexpr std::uint8_t gsmtapTypeSim = 0x04;

// A pcap file is in its writer's byte order, and network headers are big-endian: the whole file is.

void put16(cat::Bytes *out, std::size_t value)
{
    out->push_back(static_cast<std::uint8_t>(value >> 8));
    out->push_back(static_cast<std::uint8_t>(value));
}

void put32(cat::Bytes *out, std::size_t value)
{
    put16(out, value >> 16);
    put16(out, value & 0xFFFF);
}

cat::Bytes fileHeader()
{
    cat::Bytes out;
    put32(&out, pcapMagic);
    put16(&out, 2); // version 2.4
    put16(&out, 4);
    put32(&out, 0); // times are UTC
    put32(&out, 0); // and of an accuracy that nobody states
    put32(&out, snapLength);
    put32(&out, linkTypeIpv4);
    return out;
}

void putRecordHeader(cat::Bytes *out, TraceFile::Time time, std::size_t size)
{
    using namespace std::chrono;
    const auto sinceEpoch = duration_cast<microseconds>(time.time_since_epoch()).count();
    put32(out, static_cast<std::size_t>(sinceEpoch / 1000000));
    put32(out, static_cast<std::size_t>(sinceEpoch % 1000000));
    put32(out, size);
    put32(out, size);
}

/// One's complement of the one's complement sum (RFC 1071).
std::uint16_t checksum(const std::uint8_t *header, std::size_t size)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < size; i += 2)
        sum += static_cast<std::uint32_t>(header[i] << 8 | header[i + 1]);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<std::uint16_t>(~sum);
}

void putIpHeader(cat::Bytes *out, std::size_t size)
{
    const std::size_t start = out->size();
    put16(out, 0x4500); // version 4, five words of header
    put16(out, size);
    put32(out, 0x00004000); // no fragments
    put32(out, 0x40110000); // 64 hops, UDP, the checksum below
    put32(out, 0x7F000001); // from and to this machine
    put32(out, 0x7F000001);
    const std::uint16_t sum = checksum(out->data() + start, ipHeaderSize);
    (*out)[start + 10] = static_cast<std::uint8_t>(sum >> 8);
    (*out)[start + 11] = static_cast<std::uint8_t>(sum);
}

void putUdpHeader(cat::Bytes *out, std::size_t size)
{
    put16(out, gsmtapPort);
    put16(out, gsmtapPort);
    put16(out, size);
    put16(out, 0); // no checksum
}

/// The fields of the radio channel, which a card has not, are 0.
void putGsmtapHeader(cat::Bytes *out)
{
    const std::size_t start = out->size();
    out->resize(start + gsmtapHeaderSize);
    (*out)[start] = gsmtapVersion;
    (*out)[start + 1] = gsmtapHeaderSize / 4;
    (*out)[start + 2] = gsmtapTypeSim;
}

std::string reason(const std::string &path, int error)
{
    return path + ": " + std::strerror(error);
}

/// Whole, or not at all: false, with errno.
bool writeAll(int file, const cat::Bytes &bytes)
{
    for (std::size_t done = 0; done < bytes.size();) {
        const ssize_t written = ::write(file, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno != EINTR)
            return false;
        done += written < 0 ? 0 : static_cast<std::size_t>(written);
    }
    return true;
}

} // namespace

// ---------------------------------------------------------------------------------------------------------------------
// One file

std::unique_ptr<TraceFile> TraceFile::create(const std::string &path, std::string *error)
{
    // Without O_NONBLOCK a named pipe that nobody reads would hold the host up.
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK, 0666);
    if (file < 0) {
        *error = "cannot write the trace " + reason(path, errno);
        return nullptr;
    }
    std::unique_ptr<TraceFile> trace(new TraceFile(path, file));
    struct stat status = {};
    if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        *error = "cannot write the trace " + path + ": not a regular file";
        return nullptr;
    }
    return trace->append(fileHeader(), error) ? std::move(trace) : nullptr;
}

TraceFile::~TraceFile()
{
    ::close(m_file);
}

bool TraceFile::add(Time time, const cat::Bytes &command, const cat::Bytes &answer, std::string *error)
{
    const std::size_t udpSize = udpHeaderSize + gsmtapHeaderSize + command.size() + answer.size();
    cat::Bytes packet;
    putRecordHeader(&packet, time, ipHeaderSize + udpSize);
    putIpHeader(&packet, ipHeaderSize + udpSize);
    putUdpHeader(&packet, udpSize);
    putGsmtapHeader(&packet);
    packet.insert(packet.end(), command.begin(), command.end());
    packet.insert(packet.end(), answer.begin(), answer.end());
    return append(packet, error);
}

bool TraceFile::append(const cat::Bytes &bytes, std::string *error)
{
    if (writeAll(m_file, bytes)) {
        m_size += static_cast<long>(bytes.size());
        return true;
    }
    *error = "cannot write the trace " + reason(m_path, errno);
    // Half a packet would make the whole file suspect.
    const int isCut = ::ftruncate(m_file, m_size);
    (void)isCut;
    return false;
}

// ---------------------------------------------------------------------------------------------------------------------
// Whatever is to be written

bool Trace::open(const std::string &path, std::string *error)
{
    std::unique_ptr<TraceFile> file = TraceFile::create(path, error);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file = std::move(file);
    return m_file != nullptr;
}

void Trace::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file.reset();
}

bool Trace::openFromEnvironment(std::string *error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const char *const path = std::getenv("STK_TRACE");
    if (m_isEnvironmentRead || !path || !*path)
        return true;
    m_isEnvironmentRead = true;
    m_environmentFile = TraceFile::create(path, error);
    return m_environmentFile != nullptr;
}

bool Trace::add(TraceFile::Time time, const cat::Bytes &command, const cat::Bytes &answer, std::string *error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    bool isWritten = true;
    for (std::unique_ptr<TraceFile> *file : {&m_file, &m_environmentFile}) {
        if (!*file || (*file)->add(time, command, answer, error))
            continue;
        file->reset();
        isWritten = false;
    }
    return isWritten;
}

} // namespace sdk
