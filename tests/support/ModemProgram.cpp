// The double of a modem as a program: a virtual card in a modem on a pseudo-terminal, for a dashboard that is started
// by hand. See --help.
#include "support/ModemDouble.h"

#include <csignal>

#include <cstdio>
#include <cstring>
#include <exception>
#include <utility>

namespace
{

const char usage[] = "Usage: modem_double [--chats] PROFILE\n"
                     "\n"
                     "Prints the line that a modem with the virtual card of PROFILE is on, for --card modem:LINE, and "
                     "stays until it is\n"
                     "interrupted. With --chats it says other things in between. SIGUSR1 has it give up what the card "
                     "asks for, SIGUSR2\n"
                     "unplugs it or plugs it in again.\n";

int run(const char *profile, bool chats)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2})
        sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // before the modem's thread begins
    ModemDouble::Habits habits;
    habits.chats = chats;
    ModemDouble modem(ModemPeer::Way::Terminal, card::loadProfile(profile), habits);
    std::printf("%s\n", modem.address().c_str());
    std::fflush(stdout);
    bool isIn = true;
    for (int number = 0; sigwait(&signals, &number) == 0 && (number == SIGUSR1 || number == SIGUSR2);) {
        if (number == SIGUSR1)
            modem.giveUp();
        else if (std::exchange(isIn, !isIn))
            modem.unplug();
        else
            modem.restore();
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0)
        return std::fputs(usage, stdout) < 0;
    const bool chats = argc == 3 && std::strcmp(argv[1], "--chats") == 0;
    if (argc != (chats ? 3 : 2))
        return std::fputs(usage, stderr), 2;
    try {
        return run(argv[argc - 1], chats);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "modem_double: %s\n", error.what());
        return 1;
    }
}
