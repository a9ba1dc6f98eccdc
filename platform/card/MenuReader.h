#ifndef CARD_MENUREADER_H
#define CARD_MENUREADER_H

#include "card/Profile.h"
#include "card/ProfileSource.h"

namespace card
{

/// What kind of answer a name stands for.
enum class AnswerKind { Text, YesOrNo };

/// The names of the answers that have been given where the reader is.
using Answers = std::map<std::string, AnswerKind>;

/// Reads menus and their items, with all that is below them.
class MenuReader
{
public:
    explicit MenuReader(const ProfileSource &source) : m_source(source) {}

    Menu mainMenu(const YAML::Node &node);
    /// A menu as a step; a name in `*as` is known in the steps of its items.
    Menu subMenu(const YAML::Node &node, std::string *as);
    std::vector<Step> steps(const YAML::Node &node);
    /// The steps that the card begins with; nothing below them may start the card again.
    std::vector<Step> atStart(const YAML::Node &node);

    bool isAtStart() const { return m_atStart; }
    const ProfileSource &source() const { return m_source; }
    Answers &answers() { return m_answers; }

    /// A text that may hold names of answers. Refused: names that nothing has answered here.
    std::u16string text(const YAML::Node &node, const std::string &expected) const;
    /// The same for an alpha identifier or the text of an item, which have at most 240 bytes.
    std::u16string alpha(const YAML::Node &node, const std::string &expected) const;
    /// A text that is shown by itself, as a DISPLAY TEXT.
    std::u16string message(const YAML::Node &node, const std::string &expected) const;
    /// The name of an answer.
    std::string answerName(const YAML::Node &node) const;
    /// A proactive command in hexadecimal digits.
    cat::Bytes command(const YAML::Node &node) const;
    /// Refuses a command that FETCH has no room for; `what` is "the menu".
    void checkSize(const cat::Command &command, const YAML::Mark &at, const std::string &what,
                   const std::string &advice) const;
    /// One more of what a profile must not have without end.
    void count(const YAML::Node &node);

private:
    struct EntryDraft;
    struct MenuDraft;

    void readTitle(const YAML::Node &value, MenuDraft *draft);
    void readHelp(const YAML::Node &value, MenuDraft *draft);
    void readDefault(const YAML::Node &value, MenuDraft *draft);
    void readItems(const YAML::Node &value, MenuDraft *draft);
    void readAs(const YAML::Node &value, MenuDraft *draft);
    void readEntryText(const YAML::Node &value, EntryDraft *draft);
    void readEntryValue(const YAML::Node &value, EntryDraft *draft);
    void readEntryId(const YAML::Node &value, EntryDraft *draft);
    void readEntryMenu(const YAML::Node &value, EntryDraft *draft);
    void readEntryDelay(const YAML::Node &value, EntryDraft *draft);
    void readEntryCommand(const YAML::Node &value, EntryDraft *draft);
    void readEntrySteps(const YAML::Node &value, EntryDraft *draft);
    void readEntryHelpText(const YAML::Node &value, EntryDraft *draft);

    MenuDraft menu(const YAML::Node &node);
    EntryDraft entry(const YAML::Node &node);
    Answers enterItem();
    void setAction(const YAML::Node &value, EntryDraft *draft, std::vector<Step> steps) const;
    void giveIds(std::vector<EntryDraft> *drafts) const;
    void checkDefault(const MenuDraft &draft) const;

    const ProfileSource &m_source;
    Answers m_answers;
    std::string m_choice; ///< the name of the choice from the menu that is being read; empty: it has none
    bool m_atStart = false;
    int m_depth = 0;
    std::size_t m_count = 0;
};

} // namespace card

#endif // CARD_MENUREADER_H
