#include "stkcard/Program.h"

#include "card/Profile.h"
#include "cat/Text.h"

#include <ostream>

namespace stkcard
{

namespace
{

/// On one line, whatever is in it.
std::string quoted(std::u16string text)
{
    for (char16_t &unit : text)
        unit = unit < u' ' ? u' ' : unit;
    return '"' + cat::toUtf8(text) + '"';
}

std::string count(std::size_t number, const std::string &thing)
{
    return std::to_string(number) + ' ' + thing + (number == 1 ? "" : "s");
}

void printMenu(std::ostream &out, const card::Menu &menu, const std::string &indent);

/// The steps in a row, then the menus among them.
void printSteps(std::ostream &out, const std::vector<card::Step> &steps, const std::string &indent)
{
    for (const card::Step &step : steps)
        out << (&step == &steps.front() ? ": " : ", ") << cat::commandName(step.type());
    out << '\n';
    for (const card::Step &step : steps) {
        if (step.menu)
            printMenu(out, *step.menu, indent + "  ");
    }
}

void printMenu(std::ostream &out, const card::Menu &menu, const std::string &indent)
{
    out << indent << "menu " << quoted(menu.title) << ", " << count(menu.entries.size(), "item") << '\n';
    for (const card::Entry &entry : menu.entries) {
        out << indent << "  " << int(entry.id) << ' ' << quoted(entry.text);
        printSteps(out, entry.steps, indent + "  ");
    }
}

void print(std::ostream &out, const std::string &file, const card::Profile &profile)
{
    out << file << ": good\n  card " << quoted(cat::fromUtf8(profile.name));
    if (!profile.operatorName.empty())
        out << ", operator " << quoted(cat::fromUtf8(profile.operatorName));
    out << (profile.network ? "\n" : ", no network\n");
    if (profile.mainMenu.entries.empty())
        out << "  no menu\n";
    else
        printMenu(out, profile.mainMenu, "  ");
    if (profile.atStart.empty())
        return;
    out << "  at the start";
    printSteps(out, profile.atStart, "  ");
}

} // namespace

int check(const Arguments &arguments, Streams &streams)
{
    int exitCode = ExitSuccess;
    for (const std::string &file : arguments.operands) {
        try {
            print(streams.out, file, card::loadProfile(file));
        } catch (const card::ProfileError &error) {
            exitCode = fail(streams, ExitProfile, error.what());
        }
    }
    return exitCode;
}

} // namespace stkcard
