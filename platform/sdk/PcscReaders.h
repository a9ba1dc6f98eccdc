#ifndef SDK_PCSCREADERS_H
#define SDK_PCSCREADERS_H

#include <winscard.h>

#include <string>
#include <vector>

// The PC/SC service and its readers. Every function may block for as long as the service pleases.
namespace sdk
{

/// What went wrong, and what to do about it: "the PC/SC service does not run: ...".
std::string pcscProblem(LONG code);

/// A context of the service, released with the object. One thread at a time.
class PcscContext
{
public:
    PcscContext() = default;
    ~PcscContext();
    PcscContext(const PcscContext &) = delete;
    PcscContext &operator=(const PcscContext &) = delete;

    /// Of one that is closed, as it is at first.
    LONG open();
    void close();

    SCARDCONTEXT handle() const { return m_handle; }
    bool isOpen() const { return m_isOpen; }

private:
    SCARDCONTEXT m_handle = 0;
    bool m_isOpen = false;
};

/// The names of all readers, in the service's order. No readers are no failure.
LONG pcscReaders(SCARDCONTEXT context, std::vector<std::string> *names);

/// The reader meant by `wanted`: the one of that name, else the only one with `wanted` in its name, in small or capital
/// letters. Empty, and in `*error` what to choose from: there is none, or more than one.
std::string chooseReader(const std::vector<std::string> &names, const std::string &wanted, std::string *error);

} // namespace sdk

#endif // SDK_PCSCREADERS_H
