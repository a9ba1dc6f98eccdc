#include "sdk/PcscReaders.h"

#include "sdk/PcscThread.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace sdk
{

namespace
{

constexpr int listTries = 5;

struct Problem {
    LONG code;
    const char *text;
};

const char noService[] = "the PC/SC service does not run: install it (Debian package pcscd), or start it "
                         "(sudo systemctl start pcscd.socket)";

const Problem problems[] = {
    {SCARD_E_NO_SERVICE, noService},
    {SCARD_E_SERVICE_STOPPED, noService},
    {SCARD_W_SECURITY_VIOLATION, "the PC/SC service refuses this user: work at the machine's own screen, or have the "
                                 "administrator allow access to PC/SC (polkit action access_pcsc)"},
    {SCARD_E_NO_READERS_AVAILABLE, "there is no PC/SC reader: plug one in"},
    {SCARD_E_UNKNOWN_READER, "the reader is not there any more: plug it in again"},
    {SCARD_E_READER_UNAVAILABLE, "the reader is not there any more: plug it in again"},
    {SCARD_E_NO_SMARTCARD, "there is no card in it: put one in"},
    {SCARD_W_REMOVED_CARD, "there is no card in it: put one in"},
    {SCARD_W_UNRESPONSIVE_CARD, "the card does not answer to a reset: put it in again, chip first, contacts as the "
                                "reader shows"},
    {SCARD_W_UNPOWERED_CARD, "the card does not answer to a reset: put it in again, chip first, contacts as the "
                             "reader shows"},
    {SCARD_E_SHARING_VIOLATION, "another program uses the card: end it"},
    {SCARD_E_PROTO_MISMATCH, "the card speaks neither T=0 nor T=1, so it is no SIM"},
};

bool contains(const std::string &text, const std::string &part)
{
    const auto isSame = [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), isSame) != text.end();
}

std::string listed(const std::vector<std::string> &names)
{
    std::string list;
    for (const std::string &name : names)
        list += "\n    " + name;
    return list;
}

} // namespace

std::string pcscProblem(LONG code)
{
    const auto known = std::find_if(std::begin(problems), std::end(problems),
                                    [code](const Problem &problem) { return problem.code == code; });
    if (known != std::end(problems))
        return known->text;
    return std::string("the PC/SC service says: ") + pcsc_stringify_error(code);
}

PcscContext::~PcscContext()
{
    close();
}

LONG PcscContext::open()
{
    stopAtProcessEnd();
    const LONG code = SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &m_handle);
    m_isOpen = code == SCARD_S_SUCCESS;
    return code;
}

void PcscContext::close()
{
    if (!m_isOpen)
        return;
    stopAtProcessEnd();
    SCardReleaseContext(m_handle);
    m_isOpen = false;
}

LONG pcscReaders(SCARDCONTEXT context, std::vector<std::string> *names)
{
    names->clear();
    std::vector<char> buffer;
    LONG code = SCARD_E_INSUFFICIENT_BUFFER;
    // A reader that is plugged in meanwhile makes the list longer.
    for (int tries = 0; tries < listTries && code == SCARD_E_INSUFFICIENT_BUFFER; ++tries) {
        DWORD size = 0;
        stopAtProcessEnd();
        code = SCardListReaders(context, nullptr, nullptr, &size);
        buffer.assign(size + 1, '\0');
        stopAtProcessEnd();
        if (code == SCARD_S_SUCCESS)
            code = SCardListReaders(context, nullptr, buffer.data(), &size);
    }
    if (code != SCARD_S_SUCCESS)
        return code == SCARD_E_NO_READERS_AVAILABLE ? SCARD_S_SUCCESS : code;
    for (const char *name = buffer.data(); *name; name += names->back().size() + 1)
        names->emplace_back(name);
    return SCARD_S_SUCCESS;
}

std::string chooseReader(const std::vector<std::string> &names, const std::string &wanted, std::string *error)
{
    if (std::find(names.begin(), names.end(), wanted) != names.end())
        return wanted;
    std::vector<std::string> matches;
    std::copy_if(names.begin(), names.end(), std::back_inserter(matches),
                 [&wanted](const std::string &name) { return contains(name, wanted); });
    if (matches.size() == 1)
        return matches.front();
    if (names.empty())
        *error = pcscProblem(SCARD_E_NO_READERS_AVAILABLE);
    else if (matches.empty())
        *error = "no PC/SC reader has '" + wanted + "' in its name; there are:" + listed(names);
    else
        *error = "there are several PC/SC readers; choose one by a part of its name (pcsc:NAME):" + listed(matches);
    return std::string();
}

} // namespace sdk
