#ifndef CARD_PROFILESOURCE_H
#define CARD_PROFILESOURCE_H

#include "card/ProfileText.h"

#include <yaml-cpp/yaml.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace card
{

/// What the file says, in quotes and cut to what fits into a message.
std::string quoted(const std::string &text);

/// "a map", "a list", "a single value" or "nothing".
const char *kindOf(const YAML::Node &node);

/// One key of a map and what reads its value into a `Target`.
template <typename Reader, typename Target>
struct Key {
    const char *name;
    void (Reader::*read)(const YAML::Node &value, Target *target);
    bool required;
};

/// The keys that a map may have; they are kept elsewhere.
template <typename Reader, typename Target>
struct Keys {
    const Key<Reader, Target> *first = nullptr;
    std::size_t count = 0;

    Keys() = default;
    template <std::size_t size>
    constexpr Keys(const Key<Reader, Target> (&keys)[size]) : first(keys), count(size)
    {
    }
    const Key<Reader, Target> *begin() const { return first; }
    const Key<Reader, Target> *end() const { return first + count; }
};

/// A word of a profile and what it stands for.
template <typename Value>
struct Word {
    const char *name;
    Value value;
};

/// The text of a profile, and values read from it. Whatever is wrong ends in a ProfileError that names the place.
class ProfileSource
{
public:
    /// The file at `path`.
    explicit ProfileSource(const std::string &path) : m_path(path) {}
    /// `text` itself; complaints give `name` in place of a path.
    ProfileSource(const std::string &name, const std::string &text) : m_path(name), m_text(text), m_isRead(true) {}

    /// Reads the file and gives the one document in it; `expected` is what should be there. Throws YAML::Exception,
    /// too.
    YAML::Node document(const std::string &expected);

    [[noreturn]] void fail(const Position &at, const std::string &reason) const;
    [[noreturn]] void fail(const YAML::Mark &at, const std::string &reason) const;

    std::string scalar(const YAML::Node &node, const std::string &expected) const;
    std::u16string text(const YAML::Node &node, const std::string &expected) const;
    bool truth(const YAML::Node &node) const;
    std::uint8_t number(const YAML::Node &node, int least, int most) const;
    /// Hexadecimal digits for at least one byte.
    std::vector<std::uint8_t> bytes(const YAML::Node &node, const std::string &expected) const;

    /// One of `words`.
    template <typename Value, std::size_t count>
    Value choice(const YAML::Node &node, const Word<Value> (&words)[count]) const;

    /// Reads every value of a map with the function of its key. `what` is "a menu", for complaints.
    template <typename Reader, typename Target>
    void readMap(const YAML::Node &node, const std::string &what, Keys<Reader, Target> keys, Reader *reader,
                 Target *target) const;

    /// The complaint about a key that is not among `known`; names the nearest one.
    [[noreturn]] void failUnknownKey(const YAML::Node &key, const std::string &what,
                                     const std::vector<std::string> &known) const;

    /// A key as a word.
    std::string keyOf(const YAML::Node &key, const std::string &what) const;

private:
    void readFile();
    void checkCharacters() const;

    std::string m_path;
    std::string m_text;
    bool m_isRead = false;
};

template <typename Value, std::size_t count>
Value ProfileSource::choice(const YAML::Node &node, const Word<Value> (&words)[count]) const
{
    std::string known;
    for (const Word<Value> &word : words)
        known += (known.empty() ? "" : &word == words + count - 1 ? " or " : ", ") + std::string(word.name);
    const std::string given = scalar(node, known);
    for (const Word<Value> &word : words) {
        if (word.name == given)
            return word.value;
    }
    fail(node.Mark(), known + " expected, not " + quoted(given));
}

template <typename Reader, typename Target>
void ProfileSource::readMap(const YAML::Node &node, const std::string &what, Keys<Reader, Target> keys, Reader *reader,
                            Target *target) const
{
    if (!node.IsMap())
        fail(node.Mark(), what + " must be a map of keys and values, not " + kindOf(node));
    std::vector<std::string> known;
    for (const Key<Reader, Target> &key : keys)
        known.push_back(key.name);
    std::set<std::string> seen;
    for (const auto &pair : node) {
        const std::string name = keyOf(pair.first, what);
        const Key<Reader, Target> *key = keys.begin();
        while (key != keys.end() && key->name != name)
            ++key;
        if (key == keys.end())
            failUnknownKey(pair.first, what, known);
        if (!seen.insert(name).second)
            fail(pair.first.Mark(), "key " + quoted(name) + " is given twice in " + what);
        // A value that is not there has no place of its own.
        if (pair.second.IsNull())
            fail(pair.first.Mark(), "key " + quoted(name) + " has no value");
        (reader->*key->read)(pair.second, target);
    }
    for (const Key<Reader, Target> &key : keys) {
        if (key.required && seen.count(key.name) == 0)
            fail(node.Mark(), what + " needs the key " + quoted(key.name));
    }
}

} // namespace card

#endif // CARD_PROFILESOURCE_H
