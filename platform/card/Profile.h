#ifndef CARD_PROFILE_H
#define CARD_PROFILE_H

#include "cat/Command.h"

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace card
{

struct Menu;

/// One entry of a menu in a profile, and what the card does when it is chosen.
struct Entry {
    std::uint8_t id = 0;
    std::u16string text;
    std::shared_ptr<const Menu> menu;   ///< the sub-menu that opens; null: the session ends here
    cat::Bytes raw;                     ///< a proactive command sent as it stands before the session ends; empty: none
    std::chrono::milliseconds delay{0}; ///< how long the card thinks before it answers the choice
};

struct Menu {
    std::u16string title;
    std::vector<Entry> entries; ///< 1 to 255, each with an identifier of its own, 1 to 255
    std::optional<std::uint8_t> defaultItem;
    bool helpAvailable = false;
};

/// A card, as a YAML file describes it.
struct Profile {
    std::string name; ///< for people
    Menu mainMenu;    ///< no entries: a card without a toolkit menu
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

} // namespace card

#endif // CARD_PROFILE_H
