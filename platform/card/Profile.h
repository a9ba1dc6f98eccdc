#ifndef CARD_PROFILE_H
#define CARD_PROFILE_H

#include "cat/Command.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace card
{

struct Menu;

/// The user's answers of one session by the names that the profile gives them; yes/no answers are "yes" and "no".
using Values = std::map<std::string, std::u16string>;

/// A step is carried out only while the answer `name` is `value`; an answer that was never given is empty.
struct Condition {
    std::string name;
    std::u16string value;
};

/// A short message as a SEND SHORT MESSAGE step has it; its TPDU is made when the step is carried out.
struct ShortMessage {
    cat::Address destination;
    std::u16string text; ///< may hold {names}
};

/// One step of what an item does: one proactive command. Exactly one of `menu`, `raw` and `command` counts, in this
/// order.
struct Step {
    std::vector<Condition> when;           ///< all of them must hold; otherwise the step is left out
    std::shared_ptr<const Menu> menu;      ///< SELECT ITEM with this menu
    cat::Bytes raw;                        ///< a proactive command sent as it stands
    cat::Command command;                  ///< its texts may hold {names}; its number is given when it is raised
    std::optional<cat::TextCoding> coding; ///< of the command's texts; none: the shortest that holds each
    std::optional<ShortMessage> message;   ///< takes the place of `command.tpdu`
    std::string as;                        ///< the name that the user's answer gets; empty: it is forgotten
    bool endOnNo = false;                  ///< the answer "no" ends the session
    std::u16string helpText;               ///< what a request for help shows; empty: it ends the session
    std::u16string onFailure;              ///< what is shown when the network or the terminal fails; empty: goes on

    /// The type of the command that the step raises.
    cat::CommandType type() const;
};

/// One entry of a menu in a profile, and what the card does when it is chosen.
struct Entry {
    std::uint8_t id = 0;
    std::u16string text;                 ///< may hold {names}
    std::optional<std::u16string> value; ///< the answer that the choice gives; none: the text
    std::vector<Step> steps;             ///< one after the other; none: the session goes on behind the menu, or ends
    std::u16string helpText;             ///< what a request for help shows; empty: it ends the session
    std::chrono::milliseconds delay{0};  ///< how long the card thinks before it answers the choice

    /// The sub-menu that opens first; null when the entry does not begin with one.
    const Menu *menu() const;
};

struct Menu {
    std::u16string title;       ///< may hold {names}
    std::vector<Entry> entries; ///< 1 to 255, each with an identifier of its own, 1 to 255
    std::optional<std::uint8_t> defaultItem;
    bool helpAvailable = false;
};

/// A card, as a YAML file describes it.
struct Profile {
    std::string name;          ///< for people
    std::string operatorName;  ///< of the network, for people; empty: the card does not say
    Menu mainMenu;             ///< no entries: a card without a toolkit menu
    std::vector<Step> atStart; ///< carried out when the main menu has been set up
    bool network = true;       ///< whether short messages, SS and USSD find a network
};

/// A profile that cannot be used. what() is "file:line:column: reason", or "file: reason" for a file that cannot be
/// read at all.
class ProfileError : public std::runtime_error
{
public:
    ProfileError(const std::string &file, int line, int column, const std::string &reason);

    const std::string &file() const { return m_file; }
    int line() const { return m_line; }     ///< from 1; 0 when the file cannot be read at all
    int column() const { return m_column; } ///< from 1; 0 when the file cannot be read at all
    const std::string &reason() const { return m_reason; }

private:
    std::string m_file;
    int m_line;
    int m_column;
    std::string m_reason;
};

/// Reads a profile. Throws ProfileError and nothing else.
Profile loadProfile(const std::string &path);

/// Reads a step as a profile has it, or a list of them, from `text`. Complaints give `name` in place of a file's.
/// Throws ProfileError and nothing else.
std::vector<Step> readSteps(const std::string &name, const std::string &text);

} // namespace card

#endif // CARD_PROFILE_H
