#include "card/Profile.h"

#include "card/MenuCommand.h"
#include "card/ProfileText.h"
#include "cat/Text.h"
#include "cat/Tlv.h"

#include <yaml-cpp/depthguard.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

namespace card
{

namespace
{

constexpr std::uintmax_t largestFile = std::uintmax_t{1024} * 1024;
constexpr std::size_t mostEntries = 255;
constexpr std::size_t mostEntriesOfAll = 10000; ///< aliases could make millions of a short file
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr int deepestMenu = 16;
constexpr std::size_t longestText = 240; ///< coded; leaves room for the heads of the item and the command
constexpr std::chrono::milliseconds longestDelay = std::chrono::minutes(10);

/// What the file says, cut to what fits into a message.
std::string quoted(const std::string &text)
{
    constexpr std::size_t longest = 40;
    if (text.size() <= longest)
        return '"' + text + '"';
    const std::string_view cut = std::string_view(text).substr(0, longest);
    return '"' + text.substr(0, cat::wellFormedUtf8(cut)) + "...\"";
}

const char *kindOf(const YAML::Node &node)
{
    return node.IsMap() ? "a map" : node.IsSequence() ? "a list" : node.IsScalar() ? "a single value" : "nothing";
}

/// An entry while it is read, with the places that a later complaint points to.
struct EntryDraft {
    Entry entry;
    YAML::Mark idMark, commandMark;
    bool hasId = false;
    bool hasMenu = false;
};

struct MenuDraft {
    Menu menu;
    YAML::Mark itemsMark, defaultMark;
};

class Loader
{
public:
    explicit Loader(const std::string &path) : m_path(path) {}

    Profile load();

private:
    /// One key of a map and what reads its value.
    template <typename Target>
    struct Key {
        const char *name;
        void (Loader::*read)(const YAML::Node &value, Target *target);
        bool required;
    };

    [[noreturn]] void fail(const Position &at, const std::string &reason) const;
    [[noreturn]] void fail(const YAML::Mark &at, const std::string &reason) const;

    void readFile();
    void checkCharacters() const;
    YAML::Node document() const;

    template <typename Target, std::size_t count>
    void readMap(const YAML::Node &node, const char *what, const Key<Target> (&keys)[count], Target *target);
    template <typename Target, std::size_t count>
    [[noreturn]] void failUnknownKey(const YAML::Node &key, const char *what, const Key<Target> (&keys)[count]) const;
    std::string keyOf(const YAML::Node &key, const char *what) const;

    std::string scalar(const YAML::Node &node, const char *expected) const;
    std::u16string text(const YAML::Node &node, const char *expected) const;
    std::uint8_t identifier(const YAML::Node &node) const;

    void readName(const YAML::Node &value, Profile *profile);
    void readMainMenu(const YAML::Node &value, Profile *profile);
    void readTitle(const YAML::Node &value, MenuDraft *draft);
    void readHelp(const YAML::Node &value, MenuDraft *draft);
    void readDefault(const YAML::Node &value, MenuDraft *draft);
    void readItems(const YAML::Node &value, MenuDraft *draft);
    void readEntryText(const YAML::Node &value, EntryDraft *draft);
    void readEntryId(const YAML::Node &value, EntryDraft *draft);
    void readEntryMenu(const YAML::Node &value, EntryDraft *draft);
    void readEntryDelay(const YAML::Node &value, EntryDraft *draft);
    void readEntryCommand(const YAML::Node &value, EntryDraft *draft);

    MenuDraft menu(const YAML::Node &node);
    EntryDraft entry(const YAML::Node &node);
    void giveIds(std::vector<EntryDraft> *drafts) const;
    void checkDefault(const MenuDraft &draft) const;
    void checkSize(const cat::Command &command, const MenuDraft &draft) const;

    std::string m_path;
    std::string m_text;
    int m_depth = 0;
    std::size_t m_entries = 0;
};

void Loader::fail(const Position &at, const std::string &reason) const
{
    throw ProfileError(m_path, at.line, at.column, reason);
}

void Loader::fail(const YAML::Mark &at, const std::string &reason) const
{
    fail(at.is_null() ? Position{1, 1} : positionOf(m_text, at.line, at.column), reason);
}

void Loader::readFile()
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(m_path, error);
    if (!fs::exists(status))
        fail(Position(), "there is no such file");
    if (!fs::is_regular_file(status))
        fail(Position(), fs::is_directory(status) ? "this is a directory; expected a profile, a YAML file"
                                                  : "this is not a regular file; expected a profile, a YAML file");
    const std::uintmax_t size = fs::file_size(m_path, error);
    if (!error && size > largestFile)
        fail(Position(),
             "the file has " + std::to_string(size) + " bytes; a profile has at most " + std::to_string(largestFile));
    std::ifstream stream(m_path, std::ios::binary);
    m_text.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
    if (m_text.compare(0, byteOrderMark.size(), byteOrderMark) == 0)
        m_text.erase(0, byteOrderMark.size());
    if (error || !stream.is_open() || stream.bad())
        fail(Position(), "the file cannot be read; check its permissions");
}

void Loader::checkCharacters() const
{
    const std::size_t good = cat::wellFormedUtf8(m_text);
    if (good < m_text.size())
        fail(positionOfOffset(m_text, good), "the file is not UTF-8 here; save it in that encoding");
    const auto control = std::find_if(m_text.begin(), m_text.end(), [](char unit) {
        return (unit >= 0 && unit < ' ' && unit != '\t' && unit != '\n' && unit != '\r') || unit == 0x7F;
    });
    if (control != m_text.end())
        fail(positionOfOffset(m_text, static_cast<std::size_t>(control - m_text.begin())),
             "control character in the file; remove it");
}

YAML::Node Loader::document() const
{
    const std::vector<YAML::Node> documents = YAML::LoadAll(m_text);
    if (documents.empty())
        fail(Position{1, 1}, "the file is empty; expected a map with name and menu");
    if (documents.size() > 1)
        fail(documents[1].Mark(), "a second document begins here; a profile is a single one");
    return documents.front();
}

std::string Loader::keyOf(const YAML::Node &key, const char *what) const
{
    if (!key.IsScalar())
        fail(key.Mark(), std::string("a key of ") + what + " must be a word, not " + kindOf(key));
    return key.Scalar();
}

template <typename Target, std::size_t count>
void Loader::failUnknownKey(const YAML::Node &key, const char *what, const Key<Target> (&keys)[count]) const
{
    std::string known;
    const Key<Target> *nearest = keys;
    for (const Key<Target> &candidate : keys) {
        known += (known.empty() ? "" : ", ") + std::string(candidate.name);
        if (distance(key.Scalar(), candidate.name) < distance(key.Scalar(), nearest->name))
            nearest = &candidate;
    }
    const bool near = distance(key.Scalar(), nearest->name) <= 2;
    fail(key.Mark(), "unknown key " + quoted(key.Scalar()) + " in " + what + (near ? "; " : ". ") +
                         (near ? "did you mean " + quoted(nearest->name) + "? " : std::string()) +
                         "Known keys: " + known);
}

template <typename Target, std::size_t count>
void Loader::readMap(const YAML::Node &node, const char *what, const Key<Target> (&keys)[count], Target *target)
{
    if (!node.IsMap())
        fail(node.Mark(), std::string(what) + " must be a map of keys and values, not " + kindOf(node));
    std::set<std::string> seen;
    for (const auto &pair : node) {
        const std::string name = keyOf(pair.first, what);
        const auto key = std::find_if(std::begin(keys), std::end(keys),
                                      [&name](const Key<Target> &candidate) { return candidate.name == name; });
        if (key == std::end(keys))
            failUnknownKey(pair.first, what, keys);
        if (!seen.insert(name).second)
            fail(pair.first.Mark(), "key " + quoted(name) + " is given twice in " + what);
        // A value that is not there has no place of its own.
        if (pair.second.IsNull())
            fail(pair.first.Mark(), "key " + quoted(name) + " has no value");
        (this->*key->read)(pair.second, target);
    }
    for (const Key<Target> &key : keys) {
        if (key.required && seen.count(key.name) == 0)
            fail(node.Mark(), std::string(what) + " needs the key " + quoted(key.name));
    }
}

std::string Loader::scalar(const YAML::Node &node, const char *expected) const
{
    if (!node.IsScalar())
        fail(node.Mark(), std::string(expected) + " expected, not " + kindOf(node));
    return node.Scalar();
}

/// A text for a data object of the card.
std::u16string Loader::text(const YAML::Node &node, const char *expected) const
{
    std::u16string result = cat::fromUtf8(scalar(node, expected));
    if (std::any_of(result.begin(), result.end(), [](char16_t unit) { return unit < u' ' && unit != u'\n'; }))
        fail(node.Mark(), "the text has a control character; only line breaks are allowed");
    const std::size_t size = cat::encodeAlpha(result).size();
    if (size > longestText)
        fail(node.Mark(), "the text takes " + std::to_string(size) + " bytes on the card; at most " +
                              std::to_string(longestText) + " fit");
    return result;
}

std::uint8_t Loader::identifier(const YAML::Node &node) const
{
    const char *expected = "a whole number from 1 to 255";
    const std::string value = scalar(node, expected);
    const std::optional<long long> number = wholeNumber(value);
    if (!number || *number < 1 || *number > 255)
        fail(node.Mark(), std::string(expected) + " expected, not " + quoted(value));
    return static_cast<std::uint8_t>(*number);
}

void Loader::readName(const YAML::Node &value, Profile *profile)
{
    profile->name = scalar(value, "a name for the card");
}

void Loader::readMainMenu(const YAML::Node &value, Profile *profile)
{
    const MenuDraft draft = menu(value);
    if (draft.menu.defaultItem)
        fail(draft.defaultMark, "the main menu has no default item; only a sub-menu can have one");
    checkSize(setUpMenu(draft.menu, 1), draft);
    profile->mainMenu = draft.menu;
}

void Loader::readTitle(const YAML::Node &value, MenuDraft *draft)
{
    draft->menu.title = text(value, "a title");
}

void Loader::readHelp(const YAML::Node &value, MenuDraft *draft)
{
    const std::string word = scalar(value, "true or false");
    if (!YAML::convert<bool>::decode(value, draft->menu.helpAvailable))
        fail(value.Mark(), "true or false expected, not " + quoted(word));
}

void Loader::readDefault(const YAML::Node &value, MenuDraft *draft)
{
    draft->menu.defaultItem = identifier(value);
    draft->defaultMark = value.Mark();
}

void Loader::readItems(const YAML::Node &value, MenuDraft *draft)
{
    if (!value.IsSequence() || value.size() == 0)
        fail(value.Mark(), std::string("a list of at least one item expected, not ") +
                               (value.IsSequence() ? "an empty list" : kindOf(value)));
    if (value.size() > mostEntries)
        fail(value.Mark(), "the menu has " + std::to_string(value.size()) + " items; at most " +
                               std::to_string(mostEntries) + " have an identifier");
    std::vector<EntryDraft> drafts;
    for (const YAML::Node &item : value)
        drafts.push_back(entry(item));
    giveIds(&drafts);
    for (EntryDraft &item : drafts)
        draft->menu.entries.push_back(std::move(item.entry));
    draft->itemsMark = value.Mark();
}

void Loader::readEntryText(const YAML::Node &value, EntryDraft *draft)
{
    draft->entry.text = text(value, "the text of the item");
    if (draft->entry.text.empty())
        fail(value.Mark(), "the text of the item is empty; nobody could choose it");
}

void Loader::readEntryId(const YAML::Node &value, EntryDraft *draft)
{
    draft->entry.id = identifier(value);
    draft->idMark = value.Mark();
    draft->hasId = true;
}

void Loader::readEntryMenu(const YAML::Node &value, EntryDraft *draft)
{
    const MenuDraft sub = menu(value);
    checkDefault(sub);
    checkSize(selectItem(sub.menu, 1), sub);
    draft->entry.menu = std::make_shared<const Menu>(sub.menu);
    draft->hasMenu = true;
}

void Loader::readEntryDelay(const YAML::Node &value, EntryDraft *draft)
{
    const char *expected = "a time such as 30s or 500ms";
    const std::string word = scalar(value, expected);
    const std::optional<std::chrono::milliseconds> delay = duration(word);
    if (!delay)
        fail(value.Mark(), std::string(expected) + " expected, not " + quoted(word));
    if (delay->count() < 0 || *delay > longestDelay)
        fail(value.Mark(), "the delay must be from 0s to 600s, not " + quoted(word));
    draft->entry.delay = *delay;
}

void Loader::readEntryCommand(const YAML::Node &value, EntryDraft *draft)
{
    const char *expected = "hexadecimal digits of a proactive command";
    cat::Bytes &raw = draft->entry.raw;
    if (!cat::fromHex(scalar(value, expected), &raw) || raw.empty())
        fail(value.Mark(), std::string(expected) + " expected, two for each byte");
    if (raw.size() > longestCommand)
        fail(value.Mark(), "the command has " + std::to_string(raw.size()) + " bytes; FETCH brings at most " +
                               std::to_string(longestCommand));
    const std::optional<cat::BerObject> object = cat::readBer(raw);
    if (!object || object->tag != static_cast<std::uint8_t>(cat::BerTag::ProactiveCommand))
        fail(value.Mark(), "a proactive command begins with D0 and its length");
    if (!object->complete || object->value.end() != raw.data() + raw.size())
        fail(value.Mark(), "the length behind D0 is not that of the bytes that follow it");
    if (!cat::decodeCommand(raw).detailsKnown)
        fail(value.Mark(), "the command has no readable command details (81 03 and three bytes)");
    draft->commandMark = value.Mark();
}

MenuDraft Loader::menu(const YAML::Node &node)
{
    static constexpr Key<MenuDraft> keys[] = {
        {"title", &Loader::readTitle, false},
        {"help", &Loader::readHelp, false},
        {"default", &Loader::readDefault, false},
        {"items", &Loader::readItems, true},
    };
    if (m_depth == deepestMenu)
        fail(node.Mark(), "menus are nested more than " + std::to_string(deepestMenu) + " deep here");
    ++m_depth;
    MenuDraft draft;
    readMap(node, "a menu", keys, &draft);
    --m_depth;
    return draft;
}

EntryDraft Loader::entry(const YAML::Node &node)
{
    static constexpr Key<EntryDraft> keys[] = {
        {"text", &Loader::readEntryText, true},        {"id", &Loader::readEntryId, false},
        {"menu", &Loader::readEntryMenu, false},       {"delay", &Loader::readEntryDelay, false},
        {"command", &Loader::readEntryCommand, false},
    };
    if (++m_entries > mostEntriesOfAll)
        fail(node.Mark(), "the profile has more than " + std::to_string(mostEntriesOfAll) + " items");
    EntryDraft draft;
    readMap(node, "an item", keys, &draft);
    if (draft.hasMenu && !draft.entry.raw.empty())
        fail(draft.commandMark, "an item opens a menu or sends a command, not both");
    return draft;
}

/// Checks the identifiers that are there, and gives each item without one the lowest that is free.
void Loader::giveIds(std::vector<EntryDraft> *drafts) const
{
    std::set<int> taken;
    for (const EntryDraft &draft : *drafts) {
        if (draft.hasId && !taken.insert(draft.entry.id).second)
            fail(draft.idMark, "identifier " + std::to_string(draft.entry.id) + " is given to two items of the menu");
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

void Loader::checkDefault(const MenuDraft &draft) const
{
    const std::optional<std::uint8_t> &wanted = draft.menu.defaultItem;
    const auto &entries = draft.menu.entries;
    if (wanted && std::none_of(entries.begin(), entries.end(), [&](const Entry &e) { return e.id == *wanted; }))
        fail(draft.defaultMark, "no item of the menu has the identifier " + std::to_string(*wanted));
}

void Loader::checkSize(const cat::Command &command, const MenuDraft &draft) const
{
    const std::size_t size = cat::encodeCommand(command).size();
    if (size > longestCommand)
        fail(draft.itemsMark, "the menu takes " + std::to_string(size) +
                                  " bytes on the card, and FETCH brings at most " + std::to_string(longestCommand) +
                                  "; use fewer items or shorter texts");
}

Profile Loader::load()
{
    static constexpr Key<Profile> keys[] = {
        {"name", &Loader::readName, true},
        {"menu", &Loader::readMainMenu, false},
    };
    readFile();
    checkCharacters();
    Profile profile;
    try {
        readMap(document(), "a profile", keys, &profile);
    } catch (const YAML::DeepRecursion &error) {
        fail(error.mark, "lists and maps are nested too deep here");
    } catch (const YAML::Exception &error) {
        fail(error.mark, "this is not YAML: " + error.msg);
    }
    return profile;
}

std::string message(const std::string &file, int line, int column, const std::string &reason)
{
    const std::string place = line > 0 ? ":" + std::to_string(line) + ":" + std::to_string(column) : std::string();
    return file + place + ": " + reason;
}

} // namespace

ProfileError::ProfileError(const std::string &file, int line, int column, const std::string &reason)
    : std::runtime_error(message(file, line, column, reason)), m_file(file), m_line(line), m_column(column),
      m_reason(reason)
{
}

Profile loadProfile(const std::string &path)
{
    try {
        return Loader(path).load();
    } catch (const ProfileError &) {
        throw;
    } catch (const std::exception &error) {
        throw ProfileError(path, 0, 0, std::string("the profile cannot be read: ") + error.what());
    }
}

} // namespace card
