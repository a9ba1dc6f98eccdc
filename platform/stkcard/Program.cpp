#include "stkcard/Program.h"

#include <algorithm>
#include <istream>
#include <ostream>

namespace stkcard
{

namespace
{

struct Option {
    const char *name;
    const char *value; ///< what it takes, for people; null: nothing
    const char *words;
};

/// A command of the program, as its help shows it.
struct Command {
    const char *name;
    const char *operands;
    std::size_t least; ///< of the operands
    std::size_t most;
    const char *summary;
    const char *description;
    std::vector<Option> options;
    int (*run)(const Arguments &arguments, Streams &streams);
};

constexpr std::size_t anyNumber = static_cast<std::size_t>(-1);

const std::vector<Command> &commands()
{
    static const std::vector<Command> all{
        {"serve",
         "PROFILE",
         1,
         1,
         "put the card of a profile into a PC/SC reader",
         "Puts the virtual card of PROFILE into the reader of vpcd, which makes it a card for every PC/SC program. "
         "The\n"
         "service must be running with that reader (Debian: pcscd and vsmartcard-vpcd). When the reader goes, the "
         "card\n"
         "waits for it to come back. Ctrl+C takes the card out.\n",
         {{"host", "HOST", "where the reader listens; default: localhost"},
          {"port", "PORT", "at which port; default: 35963, the first slot"},
          {"protocol", "t0|t1|both", "transmission protocols that the card offers; default: both"},
          {"latency", "MS", "how long the card takes for each APDU, in milliseconds; default: 30"},
          {"print", nullptr, "print each APDU and the answer to it"}},
         serve},
        {"check",
         "PROFILE...",
         1,
         anyNumber,
         "read profiles, and tell what is in them or what is wrong",
         "Reads each PROFILE. A good one is summed up with its menus, items and commands; of a bad one you are told\n"
         "file:line:column: reason.\n",
         {},
         check},
        {"decode",
         "[HEX...]",
         0,
         anyNumber,
         "say what the bytes of a command, an answer or an envelope mean",
         "Takes a proactive command (D0 and on), the data of a terminal response (81 and on), an envelope (D1 to DF "
         "and\n"
         "on), or the APDU of one of them, in hexadecimal digits, with blanks between the bytes or without. With no "
         "HEX,\n"
         "or with '-', each line of standard input is one of them.\n",
         {},
         decode},
        {"encode",
         "STEP",
         1,
         1,
         "make the bytes of a proactive command from a step of a profile",
         "STEP is a step as a profile has it, such as 'display: Hello', or a list of steps; or the name of a file "
         "with\n"
         "one; or '-' for standard input. Prints each command's bytes as a line of hexadecimal digits.\n",
         {},
         encode},
    };
    return all;
}

const char exitCodes[] =
    "Exit codes: 0 success, 1 input or output, 2 usage, 4 card profile, 7 reader, 8 malformed bytes.\n";

std::string padded(const std::string &text, std::size_t width)
{
    return text + std::string(text.size() < width ? width - text.size() : 1, ' ');
}

void printHelp(std::ostream &out)
{
    out << "Usage: stkcard COMMAND [ARGUMENTS...]\n\nTools for those who write SIM Toolkit cards.\n\nCommands:\n";
    for (const Command &command : commands())
        out << "  " << padded(std::string(command.name) + ' ' + command.operands, 20) << command.summary << '\n';
    out << "\nstkcard COMMAND --help tells more; stkcard --version tells the version.\n" << exitCodes;
}

void printHelp(const Command &command, std::ostream &out)
{
    out << "Usage: stkcard " << command.name << (command.options.empty() ? " " : " [OPTION]... ") << command.operands
        << "\n\n"
        << command.description;
    if (!command.options.empty())
        out << "\nOptions:\n";
    for (const Option &option : command.options)
        out << "  "
            << padded(std::string("--") + option.name + (option.value ? std::string(" ") + option.value : ""), 24)
            << option.words << '\n';
    out << '\n' << exitCodes;
}

std::string quoted(const std::string &word)
{
    return '\'' + word + '\'';
}

/// Reads the option at `*at`, which begins with two dashes, and goes behind it.
void readOption(const Command &command, const std::vector<std::string> &words, std::size_t *at, Arguments *arguments)
{
    const std::string &word = words[(*at)++];
    const std::size_t sign = word.find('=');
    const std::string name = word.substr(2, sign == std::string::npos ? sign : sign - 2);
    const auto option = std::find_if(command.options.begin(), command.options.end(),
                                     [&name](const Option &each) { return each.name == name; });
    if (word.compare(0, 2, "--") != 0 || option == command.options.end())
        throw UsageError{"unknown option " + quoted(word)};
    if (!option->value && sign != std::string::npos)
        throw UsageError{"--" + name + " takes no value"};
    if (option->value && sign == std::string::npos && *at == words.size())
        throw UsageError{"--" + name + " needs a value: " + option->value};
    const bool isNext = option->value && sign == std::string::npos;
    arguments->options[name] = isNext ? words[(*at)++] : sign == std::string::npos ? "" : word.substr(sign + 1);
}

Arguments readArguments(const Command &command, const std::vector<std::string> &words)
{
    Arguments arguments;
    bool optionsEnded = false;
    for (std::size_t at = 0; at < words.size();) {
        if (!optionsEnded && words[at] == "--") {
            optionsEnded = true;
            ++at;
        } else if (!optionsEnded && words[at].size() > 1 && words[at].front() == '-') {
            readOption(command, words, &at, &arguments);
        } else {
            arguments.operands.push_back(words[at++]);
        }
    }
    if (arguments.operands.size() < command.least)
        throw UsageError{std::string(command.name) + " needs " + command.operands};
    if (arguments.operands.size() > command.most)
        throw UsageError{"unexpected argument " + quoted(arguments.operands[command.most])};
    return arguments;
}

bool isHelp(const std::string &word)
{
    return word == "--help" || word == "-h";
}

int runCommand(const Command &command, const std::vector<std::string> &words, Streams &streams)
{
    const auto end = std::find(words.begin(), words.end(), "--");
    if (std::any_of(words.begin(), end, isHelp)) {
        printHelp(command, streams.out);
        return ExitSuccess;
    }
    return command.run(readArguments(command, words), streams);
}

int runProgram(const std::vector<std::string> &words, Streams &streams)
{
    if (words.empty())
        throw UsageError{"a command is missing"};
    if (isHelp(words.front())) {
        printHelp(streams.out);
        return ExitSuccess;
    }
    if (words.front() == "--version") {
        streams.out << "stkcard " STK_VERSION "\n";
        return ExitSuccess;
    }
    const auto command = std::find_if(commands().begin(), commands().end(),
                                      [&words](const Command &each) { return each.name == words.front(); });
    if (command == commands().end())
        throw UsageError{"there is no command " + quoted(words.front())};
    return runCommand(*command, {words.begin() + 1, words.end()}, streams);
}

} // namespace

std::string Arguments::value(const std::string &option, const std::string &otherwise) const
{
    const auto found = options.find(option);
    return found == options.end() ? otherwise : found->second;
}

int fail(Streams &streams, int exitCode, const std::string &reason)
{
    streams.out.flush(); // on a terminal a complaint stands behind what it is about
    streams.err << "stkcard: " << reason << '\n';
    return exitCode;
}

int run(const std::vector<std::string> &arguments, Streams &streams)
{
    int exitCode = ExitSuccess;
    try {
        exitCode = runProgram(arguments, streams);
    } catch (const UsageError &error) {
        return fail(streams, ExitUsage, error.reason + "; --help tells what there is");
    }
    streams.out.flush();
    if (!streams.out)
        return fail(streams, ExitInput, "standard output cannot be written; is there room left?");
    return exitCode;
}

} // namespace stkcard
