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
    try {
        m_source.readMap(m_source.document(), "a profile", Keys<ProfileReader, Profile>(keys), this, &profile);
    } catch (const YAML::DeepRecursion &error) {
        m_source.fail(error.mark, "lists and maps are nested too deep here");
    } catch (const YAML::Exception &error) {
        m_source.fail(error.mark, "this is not YAML: " + error.msg);
    }
    return profile;
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
    try {
        return ProfileReader(path).read();
    } catch (const ProfileError &) {
        throw;
    } catch (const std::exception &error) {
        throw ProfileError(path, 0, 0, std::string("the profile cannot be read: ") + error.what());
    }
}

} // namespace card
