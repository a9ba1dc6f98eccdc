#include "card/ProfileSource.h"

#include "card/Profile.h"
#include "cat/Text.h"

#include <yaml-cpp/eventhandler.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace card
{

namespace
{

constexpr std::uintmax_t largestFile = std::uintmax_t{1024} * 1024;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t nearestWord = 2; ///< how many characters of a misspelt key may be wrong

/// Where a document begins.
class DocumentStart : public YAML::EventHandler
{
public:
    YAML::Mark mark = YAML::Mark::null_mark();

    void OnDocumentStart(const YAML::Mark &at) override { mark = at; }
    void OnDocumentEnd() override {}
    void OnNull(const YAML::Mark &, YAML::anchor_t) override {}
    void OnAlias(const YAML::Mark &, YAML::anchor_t) override {}
    void OnScalar(const YAML::Mark &, const std::string &, YAML::anchor_t, const std::string &) override {}
    void OnSequenceStart(const YAML::Mark &, const std::string &, YAML::anchor_t, YAML::EmitterStyle::value) override {}
    void OnSequenceEnd() override {}
    void OnMapStart(const YAML::Mark &, const std::string &, YAML::anchor_t, YAML::EmitterStyle::value) override {}
    void OnMapEnd() override {}
};

} // namespace

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

void ProfileSource::fail(const Position &at, const std::string &reason) const
{
    throw ProfileError(m_path, at.line, at.column, reason);
}

void ProfileSource::fail(const YAML::Mark &at, const std::string &reason) const
{
    fail(at.is_null() ? Position{1, 1} : positionOf(m_text, at.line, at.column), reason);
}

void ProfileSource::readFile()
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

void ProfileSource::checkCharacters() const
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

/// Not through YAML::LoadAll: where nothing can begin, as at a comma, it finds empty documents without end.
YAML::Node ProfileSource::document(const std::string &expected)
{
    if (!m_isRead)
        readFile();
    checkCharacters();
    std::istringstream stream(m_text);
    YAML::Parser parser(stream);
    DocumentStart first;
    if (!parser.HandleNextDocument(first))
        fail(Position{1, 1},
             (m_isRead ? "there is nothing here; expected " : "the file is empty; expected ") + expected);
    DocumentStart second;
    if (parser.HandleNextDocument(second))
        fail(second.mark, second.mark.pos == first.mark.pos
                              ? "this is not YAML: nothing begins with this character"
                              : "a second document begins here; there must be a single one");
    return YAML::Load(m_text);
}

std::string ProfileSource::keyOf(const YAML::Node &key, const std::string &what) const
{
    if (!key.IsScalar())
        fail(key.Mark(), "a key of " + what + " must be a word, not " + kindOf(key));
    return key.Scalar();
}

void ProfileSource::failUnknownKey(const YAML::Node &key, const std::string &what,
                                   const std::vector<std::string> &known) const
{
    const std::string &name = key.Scalar();
    std::string all;
    for (const std::string &word : known)
        all += (all.empty() ? "" : ", ") + word;
    const auto nearest =
        std::min_element(known.begin(), known.end(), [&name](const std::string &left, const std::string &right) {
            return distance(name, left) < distance(name, right);
        });
    const bool near = nearest != known.end() && distance(name, *nearest) <= nearestWord;
    fail(key.Mark(), "unknown key " + quoted(name) + " in " + what + (near ? "; " : ". ") +
                         (near ? "did you mean " + quoted(*nearest) + "? " : std::string()) + "Known keys: " + all);
}

std::string ProfileSource::scalar(const YAML::Node &node, const std::string &expected) const
{
    if (!node.IsScalar())
        fail(node.Mark(), expected + " expected, not " + kindOf(node));
    return node.Scalar();
}

std::u16string ProfileSource::text(const YAML::Node &node, const std::string &expected) const
{
    std::u16string result = cat::fromUtf8(scalar(node, expected));
    if (std::any_of(result.begin(), result.end(), [](char16_t unit) { return unit < u' ' && unit != u'\n'; }))
        fail(node.Mark(), "the text has a control character; only line breaks are allowed");
    return result;
}

bool ProfileSource::truth(const YAML::Node &node) const
{
    bool value = false;
    const std::string word = scalar(node, "true or false");
    if (!YAML::convert<bool>::decode(node, value))
        fail(node.Mark(), "true or false expected, not " + quoted(word));
    return value;
}

std::uint8_t ProfileSource::number(const YAML::Node &node, int least, int most) const
{
    const std::string expected = "a whole number from " + std::to_string(least) + " to " + std::to_string(most);
    const std::string value = scalar(node, expected);
    const std::optional<long long> number = wholeNumber(value);
    if (!number || *number < least || *number > most)
        fail(node.Mark(), expected + " expected, not " + quoted(value));
    return static_cast<std::uint8_t>(*number);
}

std::vector<std::uint8_t> ProfileSource::bytes(const YAML::Node &node, const std::string &expected) const
{
    cat::Bytes result;
    if (!cat::fromHex(scalar(node, expected), &result) || result.empty())
        fail(node.Mark(), expected + " expected, two for each byte");
    return result;
}

} // namespace card
