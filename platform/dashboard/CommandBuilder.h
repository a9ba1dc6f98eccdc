#ifndef DASHBOARD_COMMANDBUILDER_H
#define DASHBOARD_COMMANDBUILDER_H

#include "cat/Command.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>
#include <vector>

namespace dashboard
{

/// What a form asks for to make a command of it.
enum class CommandField {
    Text,        ///< what the user sees: text, question, title of a menu
    Items,       ///< one on each line
    Coding,      ///< of Text, DefaultText and Code
    Minimum,     ///< of the answer, in characters
    Maximum,     ///< 255: no limit
    DefaultText, ///< of the answer
    Duration,    ///< 0: none
    Tone,
    Number,   ///< of a call, or of the recipient of a short message
    CallText, ///< during the call
    Message,
    Code, ///< of SS and USSD
    Url,
    Files,     ///< paths in hexadecimal digits, with blanks in between
    Events,    ///< their numbers in hexadecimal digits
    Timer,     ///< 1 to 8
    Language,  ///< two letters
    Immediate, ///< answered at once
};

/// A type of command that can be raised, and what the form asks for.
struct CommandRecipe {
    cat::CommandType type;
    std::uint8_t qualifier; ///< to begin with
    std::vector<CommandField> fields;
};

const std::vector<CommandRecipe> &commandRecipes();

/// What has been filled in. Fields that the type does not have do not count.
struct CommandValues {
    cat::CommandType type = cat::CommandType::DisplayText;
    std::uint8_t qualifier = 0;
    QString text;
    QStringList items;
    std::optional<cat::TextCoding> coding; ///< none: the shortest that holds the text
    int minimum = 0;
    int maximum = 255;
    QString defaultText;
    double duration = 0; ///< seconds
    std::optional<int> tone;
    QString number;
    QString callText;
    QString message;
    QString code;
    QString url;
    QString files;
    QString events;
    int timer = 1;
    QString language;
    bool isImmediate = false;
};

/// A proactive command, or what keeps it from being one.
struct BuiltCommand {
    cat::Bytes bytes;
    QString problem; ///< what is wrong, where, and what to do; empty: nothing
    QString words;   ///< what the command is, with a warning when the terminal will refuse it
};

/// The command that a card with these values in its profile would raise.
BuiltCommand buildCommand(const CommandValues &values);

/// Reads hexadecimal digits, with or without blanks. A command that the terminal would refuse is one all the same; only
/// what no card can say is none.
BuiltCommand readCommand(const QString &hex);

} // namespace dashboard

#endif // DASHBOARD_COMMANDBUILDER_H
