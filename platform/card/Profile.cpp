#include "card/Profile.h"

#include "card/MenuReader.h"

#include <yaml-cpp/depthguard.h>

namespace card
{

namespace
{

/// Reads the keys of the profile itself.
class ProfileReader
{
public:
    explicit ProfileReader(const std::string &path) : m_source(path) {}

    Profile read();
    const ProfileSource &source() const { return m_source; }

private:
    void readName(const YAML::Node &value, Profile *profile);
    void readMainMenu(const YAML::Node &value, Profile *profile);
    void readAtStart(const YAML::Node &value, Profile *profile);
    void readNetwork(const YAML::Node &value, Profile *profile);
    void readOperator(const YAML::Node &value, Profile *profile);

    ProfileSource m_source;
    MenuReader m_menus{m_source};
};

void ProfileReader::readName(const YAML::Node &value, Profile *profile)
{
    profile->name = m_source.scalar(value, "a name for the card");
}

void ProfileReader::readMainMenu(const YAML::Node &value, Profile *profile)
{
    profile->mainMenu = m_menus.mainMenu(value);
}

void ProfileReader::readAtStart(const YAML::Node &value, Profile *profile)
{
    profile->atStart = m_menus.atStart(value);
}

void ProfileReader::readNetwork(const YAML::Node &value, Profile *profile)
{
    profile->network = m_source.truth(value);
}

void ProfileReader::readOperator(const YAML::Node &value, Profile *profile)
{
    profile->operatorName = m_source.scalar(value, "the name of the network's operator");
}

Profile ProfileReader::read()
{
    static constexpr Key<ProfileReader, Profile> keys[] = {
        {"name", &ProfileReader::readName, true},          {"menu", &ProfileReader::readMainMenu, false},
        {"at-start", &ProfileReader::readAtStart, false},  {"network", &ProfileReader::readNetwork, false},
        {"operator", &ProfileReader::readOperator, false},
    };
    Profile profile;
    m_source.readMap(m_source.document("a map with name and menu"), "a profile", Keys<ProfileReader, Profile>(keys),
                     this, &profile);
    return profile;
}

/// Has `read` read from `source`; whatever goes wrong comes as a ProfileError.
template <typename Read>
auto complaining(const ProfileSource &source, const std::string &name, Read read)
{
    try {
        return read();
    } catch (const ProfileError &) {
        throw;
    } catch (const YAML::DeepRecursion &error) {
        source.fail(error.mark, "lists and maps are nested too deep here");
    } catch (const YAML::Exception &error) {
        source.fail(error.mark, "this is not YAML: " + error.msg);
    } catch (const std::exception &error) {
        throw ProfileError(name, 0, 0, std::string("the profile cannot be read: ") + error.what());
    }
}

std::string message(const std::string &file, int line, int column, const std::string &reason)
{
    const std::string place = line > 0 ? ":" + std::to_string(line) + ":" + std::to_string(column) : std::string();
    return file + place + ": " + reason;
}

} // namespace

cat::CommandType Step::type() const
{
    if (menu)
        return cat::CommandType::SelectItem;
    return raw.empty() ? command.details.type : cat::decodeCommand(raw).command.details.type;
}

const Menu *Entry::menu() const
{
    return steps.empty() ? nullptr : steps.front().menu.get();
}

ProfileError::ProfileError(const std::string &file, int line, int column, const std::string &reason)
    : std::runtime_error(message(file, line, column, reason)), m_file(file), m_line(line), m_column(column),
      m_reason(reason)
{
}

Profile loadProfile(const std::string &path)
{
    ProfileReader reader(path);
    return complaining(reader.source(), path, [&reader] { return reader.read(); });
}

std::vector<Step> readSteps(const std::string &name, const std::string &text)
{
    ProfileSource source(name, text);
    MenuReader menus(source);
    return complaining(source, name, [&source, &menus] {
        const YAML::Node node = source.document("a step such as \"display: Hello\", or a list of them");
        if (node.IsSequence())
            return menus.steps(node);
        YAML::Node list(YAML::NodeType::Sequence);
        list.push_back(node);
        return menus.steps(list);
    });
}

} // namespace card
