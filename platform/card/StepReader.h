#ifndef CARD_STEPREADER_H
#define CARD_STEPREADER_H

#include "card/MenuReader.h"

namespace card
{

/// Reads the steps of an item: a list of maps, each with one action and, maybe, a condition. The keys of every action
/// are a table in StepActions.cpp, and what reads them is in StepKeys.cpp.
class StepReader
{
public:
    explicit StepReader(MenuReader *menus) : m_menus(*menus), m_source(menus->source()) {}

    std::vector<Step> steps(const YAML::Node &node);

private:
    /// A step while it is read, with the places that a later complaint points to.
    struct Draft {
        Step step;
        AnswerKind answer = AnswerKind::Text;
        YAML::Mark mark; ///< of the action's value
        bool digits = false, ucs2 = false, packed = false, redial = false, hasMessage = false;
        YAML::Mark codingMark, defaultMark, durationMark;
    };

    /// What a step can do.
    struct Action {
        const char *name;
        cat::CommandType type;
        std::uint8_t qualifier; ///< to begin with
        const char *mainKey;    ///< the key that a single value instead of a map stands for; null: none
        Keys<StepReader, Draft> keys;
        void (StepReader::*finish)(Draft *draft);                        ///< what the keys say together; null: nothing
        void (StepReader::*read)(const YAML::Node &value, Draft *draft); ///< instead of keys; null: there are keys
    };
    static const std::vector<Action> &actions();

    Step step(const YAML::Node &node);
    void readAction(const Action &action, const YAML::Node &value, Draft *draft);
    void readCondition(const YAML::Node &value, Draft *draft);
    void readMenu(const YAML::Node &value, Draft *draft);
    void readRaw(const YAML::Node &value, Draft *draft);
    void checkTexts(const Draft &draft) const;

    // Keys of actions
    void readText(const YAML::Node &value, Draft *draft);
    void readAlpha(const YAML::Node &value, Draft *draft);
    void readCoding(const YAML::Node &value, Draft *draft);
    void readDuration(const YAML::Node &value, Draft *draft);
    void readClear(const YAML::Node &value, Draft *draft);
    void readHighPriority(const YAML::Node &value, Draft *draft);
    void readImmediateResponse(const YAML::Node &value, Draft *draft);
    void readDigits(const YAML::Node &value, Draft *draft);
    void readUcs2(const YAML::Node &value, Draft *draft);
    void readHidden(const YAML::Node &value, Draft *draft);
    void readPacked(const YAML::Node &value, Draft *draft);
    void readHelp(const YAML::Node &value, Draft *draft);
    void readHelpText(const YAML::Node &value, Draft *draft);
    void readAs(const YAML::Node &value, Draft *draft);
    void readYesNoAs(const YAML::Node &value, Draft *draft);
    void readMinimum(const YAML::Node &value, Draft *draft);
    void readMaximum(const YAML::Node &value, Draft *draft);
    void readDefaultText(const YAML::Node &value, Draft *draft);
    void readOnNo(const YAML::Node &value, Draft *draft);
    void readOnFailure(const YAML::Node &value, Draft *draft);
    void readTone(const YAML::Node &value, Draft *draft);
    void readNumber(const YAML::Node &value, Draft *draft);
    void readCallText(const YAML::Node &value, Draft *draft);
    void readOthers(const YAML::Node &value, Draft *draft);
    void readRedial(const YAML::Node &value, Draft *draft);
    void readRecipient(const YAML::Node &value, Draft *draft);
    void readMessage(const YAML::Node &value, Draft *draft);
    void readTpdu(const YAML::Node &value, Draft *draft);
    void readSsCode(const YAML::Node &value, Draft *draft);
    void readUssdCode(const YAML::Node &value, Draft *draft);
    void readUrl(const YAML::Node &value, Draft *draft);
    void readBrowserMode(const YAML::Node &value, Draft *draft);
    void readRefreshMode(const YAML::Node &value, Draft *draft);
    void readFiles(const YAML::Node &value, Draft *draft);

    void finishKey(Draft *draft);
    void finishInput(Draft *draft);
    void finishCall(Draft *draft);
    void finishSms(Draft *draft);
    void finishRefresh(Draft *draft);

    void setFlag(Draft *draft, std::uint8_t flag, bool on) const;
    cat::Address address(const YAML::Node &value) const;

    MenuReader &m_menus;
    const ProfileSource &m_source;
};

} // namespace card

#endif // CARD_STEPREADER_H
