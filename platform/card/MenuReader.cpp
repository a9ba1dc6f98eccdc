#include "card/MenuReader.h"

#include "card/MenuCommand.h"
#include "card/StepCommand.h"
#include "card/StepReader.h"
#include "card/Template.h"
#include "cat/Text.h"
#include "cat/Tlv.h"

#include <algorithm>

namespace card
{

namespace
{

constexpr std::size_t mostEntries = 255;
constexpr std::size_t mostOfAll = 10000; ///< aliases could make millions of a short file
constexpr int deepestMenu = 16;
constexpr std::size_t longestAlpha = 240; ///< coded; leaves room for the heads of the item and the command
constexpr std::chrono::milliseconds longestDelay = std::chrono::minutes(10);

} // namespace

/// An entry while it is read, with the places that a later complaint points to.
struct MenuReader::EntryDraft {
    Entry entry;
    YAML::Mark idMark;
    bool hasId = false;
    bool hasAction = false;
};

struct MenuReader::MenuDraft {
    Menu menu;
    std::string as;
    YAML::Mark itemsMark, defaultMark, asMark;
};

Menu MenuReader::mainMenu(const YAML::Node &node)
{
    const MenuDraft draft = menu(node);
    if (draft.menu.defaultItem)
        m_source.fail(draft.defaultMark, "the main menu has no default item; only a sub-menu can have one");
    if (!draft.as.empty())
        m_source.fail(draft.asMark,
                      "the choice from the main menu has no name; only that from a sub-menu can have one");
    checkSize(raisedMainMenu(draft.menu, 1), draft.itemsMark, "the menu", "use fewer items or shorter texts");
    return draft.menu;
}

Menu MenuReader::subMenu(const YAML::Node &node, std::string *as)
{
    MenuDraft draft = menu(node);
    checkDefault(draft);
    Step step;
    step.menu = std::make_shared<const Menu>(draft.menu);
    checkSize(raised(step, {}, 1), draft.itemsMark, "the menu", "use fewer items or shorter texts");
    *as = draft.as;
    return std::move(draft.menu);
}

std::vector<Step> MenuReader::steps(const YAML::Node &node)
{
    const Answers outside = m_answers;
    std::vector<Step> result = StepReader(this).steps(node);
    m_answers = outside;
    return result;
}

std::vector<Step> MenuReader::atStart(const YAML::Node &node)
{
    m_atStart = true;
    std::vector<Step> result = steps(node);
    m_atStart = false;
    return result;
}

/// The choice that leads into an item has been made when its steps are carried out. Gives the answers without it.
Answers MenuReader::enterItem()
{
    Answers outside = m_answers;
    if (!m_choice.empty())
        m_answers[m_choice] = AnswerKind::Text;
    return outside;
}

std::u16string MenuReader::text(const YAML::Node &node, const std::string &expected) const
{
    std::u16string result = m_source.text(node, expected);
    std::string fault;
    const std::vector<std::string> names = namesIn(result, &fault);
    if (!fault.empty())
        m_source.fail(node.Mark(), fault + "; write {{ for a brace itself");
    for (const std::string &name : names) {
        if (m_answers.count(name) == 0)
            m_source.fail(node.Mark(), "no step before this one has an answer named " + quoted(name));
    }
    return result;
}

std::u16string MenuReader::alpha(const YAML::Node &node, const std::string &expected) const
{
    std::u16string result = text(node, expected);
    const std::size_t size = cat::encodeAlpha(expanded(result, {}, 0)).size();
    if (size > longestAlpha)
        m_source.fail(node.Mark(), "the text takes " + std::to_string(size) + " bytes on the card; at most " +
                                       std::to_string(longestAlpha) + " fit");
    return result;
}

std::u16string MenuReader::message(const YAML::Node &node, const std::string &expected) const
{
    std::u16string result = text(node, expected);
    checkSize(raised(displayStep(result), {}, 1), node.Mark(), "the text", "use a shorter one");
    return result;
}

std::string MenuReader::answerName(const YAML::Node &node) const
{
    std::string name = m_source.scalar(node, "a name for the answer");
    if (!isAnswerName(name))
        m_source.fail(node.Mark(), "a name of letters, digits, - and _ expected, a letter first, not " + quoted(name));
    return name;
}

cat::Bytes MenuReader::command(const YAML::Node &node) const
{
    cat::Bytes raw = m_source.bytes(node, "hexadecimal digits of a proactive command");
    if (raw.size() > longestCommand)
        m_source.fail(node.Mark(), "the command has " + std::to_string(raw.size()) + " bytes; FETCH brings at most " +
                                       std::to_string(longestCommand));
    const std::optional<cat::BerObject> object = cat::readBer(raw);
    if (!object || object->tag != static_cast<std::uint8_t>(cat::BerTag::ProactiveCommand))
        m_source.fail(node.Mark(), "a proactive command begins with D0 and its length");
    if (!object->complete || object->value.end() != raw.data() + raw.size())
        m_source.fail(node.Mark(), "the length behind D0 is not that of the bytes that follow it");
    if (!cat::decodeCommand(raw).detailsKnown)
        m_source.fail(node.Mark(), "the command has no readable command details (81 03 and three bytes)");
    return raw;
}

void MenuReader::checkSize(const cat::Command &command, const YAML::Mark &at, const std::string &what,
                           const std::string &advice) const
{
    const std::size_t size = cat::encodeCommand(command).size();
    if (size > longestCommand)
        m_source.fail(at, what + " takes " + std::to_string(size) + " bytes on the card, and FETCH brings at most " +
                              std::to_string(longestCommand) + "; " + advice);
}

void MenuReader::count(const YAML::Node &node)
{
    if (++m_count > mostOfAll)
        m_source.fail(node.Mark(), "the profile has more than " + std::to_string(mostOfAll) + " items and steps");
}

void MenuReader::readTitle(const YAML::Node &value, MenuDraft *draft)
{
    draft->menu.title = alpha(value, "a title");
}

void MenuReader::readHelp(const YAML::Node &value, MenuDraft *draft)
{
    draft->menu.helpAvailable = m_source.truth(value);
}

void MenuReader::readDefault(const YAML::Node &value, MenuDraft *draft)
{
    draft->menu.defaultItem = m_source.number(value, 1, 255);
    draft->defaultMark = value.Mark();
}

void MenuReader::readItems(const YAML::Node &value, MenuDraft *draft)
{
    if (!value.IsSequence() || value.size() == 0)
        m_source.fail(value.Mark(), std::string("a list of at least one item expected, not ") +
                                        (value.IsSequence() ? "an empty list" : kindOf(value)));
    if (value.size() > mostEntries)
        m_source.fail(value.Mark(), "the menu has " + std::to_string(value.size()) + " items; at most " +
                                        std::to_string(mostEntries) + " have an identifier");
    std::vector<EntryDraft> drafts;
    for (const YAML::Node &item : value)
        drafts.push_back(entry(item));
    giveIds(&drafts);
    for (EntryDraft &item : drafts)
        draft->menu.entries.push_back(std::move(item.entry));
    draft->itemsMark = value.Mark();
}

void MenuReader::readAs(const YAML::Node &value, MenuDraft *draft)
{
    draft->as = answerName(value);
    draft->asMark = value.Mark();
}

void MenuReader::readEntryText(const YAML::Node &value, EntryDraft *draft)
{
    draft->entry.text = alpha(value, "the text of the item");
    if (draft->entry.text.empty())
        m_source.fail(value.Mark(), "the text of the item is empty; nobody could choose it");
}

void MenuReader::readEntryValue(const YAML::Node &value, EntryDraft *draft)
{
    draft->entry.value = m_source.text(value, "the answer that the item stands for");
}

void MenuReader::readEntryId(const YAML::Node &value, EntryDraft *draft)
{
    draft->entry.id = m_source.number(value, 1, 255);
    draft->idMark = value.Mark();
    draft->hasId = true;
}

void MenuReader::readEntryMenu(const YAML::Node &value, EntryDraft *draft)
{
    const Answers outside = enterItem();
    Step step;
    step.menu = std::make_shared<const Menu>(subMenu(value, &step.as));
    setAction(value, draft, {step});
    m_answers = outside;
}

void MenuReader::readEntryDelay(const YAML::Node &value, EntryDraft *draft)
{
    const std::string expected = "a time such as 30s or 500ms";
    const std::string word = m_source.scalar(value, expected);
    const std::optional<std::chrono::milliseconds> delay = duration(word);
    if (!delay)
        m_source.fail(value.Mark(), expected + " expected, not " + quoted(word));
    if (delay->count() < 0 || *delay > longestDelay)
        m_source.fail(value.Mark(), "the delay must be from 0s to 600s, not " + quoted(word));
    draft->entry.delay = *delay;
}

void MenuReader::readEntryCommand(const YAML::Node &value, EntryDraft *draft)
{
    Step step;
    step.raw = command(value);
    setAction(value, draft, {step});
}

void MenuReader::readEntrySteps(const YAML::Node &value, EntryDraft *draft)
{
    const Answers outside = enterItem();
    setAction(value, draft, steps(value));
    m_answers = outside;
}

void MenuReader::readEntryHelpText(const YAML::Node &value, EntryDraft *draft)
{
    draft->entry.helpText = message(value, "a text for help");
}

void MenuReader::setAction(const YAML::Node &value, EntryDraft *draft, std::vector<Step> steps) const
{
    if (draft->hasAction)
        m_source.fail(value.Mark(), "an item has one of menu, command and steps, not two of them");
    draft->hasAction = true;
    draft->entry.steps = std::move(steps);
}

MenuReader::MenuDraft MenuReader::menu(const YAML::Node &node)
{
    static constexpr Key<MenuReader, MenuDraft> keys[] = {
        {"title", &MenuReader::readTitle, false},     {"help", &MenuReader::readHelp, false},
        {"default", &MenuReader::readDefault, false}, {"items", &MenuReader::readItems, true},
        {"as", &MenuReader::readAs, false},
    };
    if (m_depth == deepestMenu)
        m_source.fail(node.Mark(), "menus are nested more than " + std::to_string(deepestMenu) + " deep here");
    ++m_depth;
    const std::string choiceOutside = m_choice;
    // The steps of the items may use the name of the choice, wherever it stands in the menu.
    m_choice = node.IsMap() && node["as"] && node["as"].IsScalar() ? node["as"].Scalar() : std::string();
    MenuDraft draft;
    m_source.readMap(node, "a menu", Keys<MenuReader, MenuDraft>(keys), this, &draft);
    m_choice = choiceOutside;
    --m_depth;
    return draft;
}

MenuReader::EntryDraft MenuReader::entry(const YAML::Node &node)
{
    static constexpr Key<MenuReader, EntryDraft> keys[] = {
        {"text", &MenuReader::readEntryText, true},        {"id", &MenuReader::readEntryId, false},
        {"menu", &MenuReader::readEntryMenu, false},       {"delay", &MenuReader::readEntryDelay, false},
        {"command", &MenuReader::readEntryCommand, false}, {"steps", &MenuReader::readEntrySteps, false},
        {"value", &MenuReader::readEntryValue, false},     {"help-text", &MenuReader::readEntryHelpText, false},
    };
    count(node);
    EntryDraft draft;
    m_source.readMap(node, "an item", Keys<MenuReader, EntryDraft>(keys), this, &draft);
    return draft;
}

/// Checks the identifiers that are there, and gives each item without one the lowest that is free.
void MenuReader::giveIds(std::vector<EntryDraft> *drafts) const
{
    std::set<int> taken;
    for (const EntryDraft &draft : *drafts) {
        if (draft.hasId && !taken.insert(draft.entry.id).second)
            m_source.fail(draft.idMark,
                          "identifier " + std::to_string(draft.entry.id) + " is given to two items of the menu");
    }
    int next = 1;
    for (EntryDraft &draft : *drafts) {
        if (draft.hasId)
            continue;
        while (taken.count(next) != 0)
            ++next;
        draft.entry.id = static_cast<std::uint8_t>(next++);
    }
}

void MenuReader::checkDefault(const MenuDraft &draft) const
{
    const std::optional<std::uint8_t> &wanted = draft.menu.defaultItem;
    const auto &entries = draft.menu.entries;
    if (wanted && std::none_of(entries.begin(), entries.end(), [&](const Entry &e) { return e.id == *wanted; }))
        m_source.fail(draft.defaultMark, "no item of the menu has the identifier " + std::to_string(*wanted));
}

} // namespace card
