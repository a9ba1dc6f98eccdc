#ifndef STKCARD_PROGRAM_H
#define STKCARD_PROGRAM_H

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace stkcard
{

/// The program's exit codes; those of the dashboard where they mean the same.
enum ExitCode : int {
    ExitSuccess = 0,
    ExitInput = 1,   ///< a file or standard input cannot be read, or standard output cannot be written
    ExitUsage = 2,   ///< an unknown command or option, or a value that cannot be used
    ExitProfile = 4, ///< a card profile, or a piece of one, cannot be used
    ExitReader = 7,  ///< the reader's host is not known
    ExitBytes = 8,   ///< what was to be decoded is malformed
};

/// Where a command reads and writes. Results go to `out`; complaints, and nothing else, to `err`.
struct Streams {
    std::istream &in;
    std::ostream &out;
    std::ostream &err;
};

/// What a command was given.
struct Arguments {
    std::map<std::string, std::string> options; ///< by their names without dashes; a flag has an empty value
    std::vector<std::string> operands;

    bool has(const std::string &option) const { return options.count(option) != 0; }
    /// The option's value, or `otherwise` when it was not given.
    std::string value(const std::string &option, const std::string &otherwise) const;
};

/// Writes "stkcard: reason" as a complaint, and gives the exit code back.
int fail(Streams &streams, int exitCode, const std::string &reason);

/// A value of an option that cannot be used; caught by run().
struct UsageError {
    std::string reason;
};

// The commands. Each gives the exit code.
int serve(const Arguments &arguments, Streams &streams);
int check(const Arguments &arguments, Streams &streams);
int decode(const Arguments &arguments, Streams &streams);
int encode(const Arguments &arguments, Streams &streams);

/// The program: `arguments` are those behind its name.
int run(const std::vector<std::string> &arguments, Streams &streams);

} // namespace stkcard

#endif // STKCARD_PROGRAM_H
