#ifndef TESTS_PCSCSERVICE_H
#define TESTS_PCSCSERVICE_H

#include <string>

#include <sys/types.h>

/// The real PC/SC service with the vpcd reader, as a child of this process, which tools/with-own-pcsc has put where the
/// machine's own service is out of reach. It ends with the thread that has started it. One thread at a time.
class PcscService
{
public:
    /// Of the reader that a CardInReader is put into.
    static constexpr const char *readerName = "Virtual PCD 00 00";

    PcscService() = default;
    ~PcscService();
    PcscService(const PcscService &) = delete;
    PcscService &operator=(const PcscService &) = delete;

    enum class Reader { In, Out };

    /// Starts it and waits until it has its reader, or until it answers when the reader is out. False, and in `*error`
    /// why.
    bool start(std::string *error, Reader reader = Reader::In);

    /// Ends it: outright, as when it crashes, or as when it is asked to.
    void kill();
    void end();

    /// Waits until the service sees a card in the reader, or none.
    static bool waitForCard(bool isThere);

private:
    void endWith(int signal);

    pid_t m_pid = -1;
};

#endif // TESTS_PCSCSERVICE_H
