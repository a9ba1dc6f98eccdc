#ifndef SDK_TRACE_H
#define SDK_TRACE_H

#include "cat/Bytes.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <string>

namespace sdk
{

/// A packet capture file (pcap, microseconds, IPv4) with one GSMTAP packet of the type SIM (UDP port 4729) for each
/// APDU: the command and, right behind it, the card's answer with its status word. Network analysers decode it.
class TraceFile
{
public:
    using Time = std::chrono::system_clock::time_point;

    /// Creates or empties the file, which must be a regular one. Null, and in `*error` "file: reason".
    static std::unique_ptr<TraceFile> create(const std::string &path, std::string *error);
    ~TraceFile();
    TraceFile(const TraceFile &) = delete;
    TraceFile &operator=(const TraceFile &) = delete;

    /// Appends one packet, which another process can read when this returns. False, and in `*error` "file: reason":
    /// the file ends with the packet before.
    bool add(Time time, const cat::Bytes &command, const cat::Bytes &answer, std::string *error);

private:
    TraceFile(std::string path, int file) : m_path(std::move(path)), m_file(file) {}
    bool append(const cat::Bytes &bytes, std::string *error);

    const std::string m_path;
    const int m_file;
    long m_size = 0;
};

/// Where APDUs are written: to the file that a host has asked for, and to that of the environment variable STK_TRACE.
/// Any thread.
class Trace
{
public:
    /// Writes to `path` from now on; the file of before is closed. False: nothing is written, and `*error` says why.
    bool open(const std::string &path, std::string *error);
    void close();

    /// Begins the file that STK_TRACE names, at the first call in the process. False: it cannot be written.
    bool openFromEnvironment(std::string *error);

    /// False: a file cannot be written any more. It is closed, so that this is told once.
    bool add(TraceFile::Time time, const cat::Bytes &command, const cat::Bytes &answer, std::string *error);

private:
    std::mutex m_mutex;
    std::unique_ptr<TraceFile> m_file;
    std::unique_ptr<TraceFile> m_environmentFile;
    bool m_isEnvironmentRead = false;
};

} // namespace sdk

#endif // SDK_TRACE_H
