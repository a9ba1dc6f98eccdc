#include "card/StepReader.h"

#include "card/StepCommand.h"
#include "card/Template.h"

#include <algorithm>

namespace card
{

std::vector<Step> StepReader::steps(const YAML::Node &node)
{
    if (!node.IsSequence() || node.size() == 0)
        m_source.fail(node.Mark(), std::string("a list of at least one step expected, not ") +
                                       (node.IsSequence() ? "an empty list" : kindOf(node)));
    std::vector<Step> result;
    for (const YAML::Node &item : node)
        result.push_back(step(item));
    return result;
}

Step StepReader::step(const YAML::Node &node)
{
    m_menus.count(node);
    if (!node.IsMap())
        m_source.fail(node.Mark(), std::string("a step must be a map of keys and values, not ") + kindOf(node));
    std::vector<std::string> known{"when"};
    for (const Action &action : actions())
        known.push_back(action.name);
    std::set<std::string> seen;
    Draft draft;
    for (const auto &pair : node) {
        const std::string name = m_source.keyOf(pair.first, "a step");
        const auto key = std::find(known.begin(), known.end(), name);
        if (key == known.end())
            m_source.failUnknownKey(pair.first, "a step", known);
        if (!seen.insert(name).second)
            m_source.fail(pair.first.Mark(), "key " + quoted(name) + " is given twice in a step");
        if (pair.second.IsNull())
            m_source.fail(pair.first.Mark(), "key " + quoted(name) + " has no value");
        if (seen.size() - seen.count("when") > 1)
            m_source.fail(pair.first.Mark(), "a step has one action, and " + quoted(name) + " is the second");
        if (key == known.begin())
            readCondition(pair.second, &draft);
        else
            readAction(actions()[static_cast<std::size_t>(key - known.begin()) - 1], pair.second, &draft);
    }
    if (seen.size() == seen.count("when"))
        m_source.fail(node.Mark(), "a step needs an action, such as \"display\" or \"input\"");
    if (!draft.step.as.empty())
        m_menus.answers()[draft.step.as] = draft.answer;
    return draft.step;
}

void StepReader::readAction(const Action &action, const YAML::Node &value, Draft *draft)
{
    cat::Command &command = draft->step.command;
    command.details = {0, action.type, action.qualifier};
    command.destination = cat::destinationOf(action.type);
    draft->mark = value.Mark();
    if (action.read) {
        (this->*action.read)(value, draft);
        return;
    }
    const std::string what = std::string("the action ") + action.name;
    if (value.IsScalar() && action.mainKey) {
        const auto key = std::find_if(action.keys.begin(), action.keys.end(), [&action](const auto &candidate) {
            return std::string_view(candidate.name) == action.mainKey;
        });
        (this->*key->read)(value, draft);
    } else {
        m_source.readMap(value, what, action.keys, this, draft);
    }
    if (action.finish)
        (this->*action.finish)(draft);
    checkTexts(*draft);
}

/// Answers that the step is bound to, each with its value.
void StepReader::readCondition(const YAML::Node &value, Draft *draft)
{
    if (!value.IsMap() || value.size() == 0)
        m_source.fail(value.Mark(), std::string("answers and their values expected, such as {sure: yes}, not ") +
                                        (value.IsMap() ? "an empty map" : kindOf(value)));
    for (const auto &pair : value) {
        const std::string name = m_source.keyOf(pair.first, "a condition");
        const auto answer = m_menus.answers().find(name);
        if (answer == m_menus.answers().end())
            m_source.fail(pair.first.Mark(), "no step before this one has an answer named " + quoted(name));
        const std::u16string wanted = m_source.text(pair.second, "a value");
        if (answer->second == AnswerKind::YesOrNo && wanted != u"yes" && wanted != u"no")
            m_source.fail(pair.second.Mark(), "yes or no expected, not " + quoted(pair.second.Scalar()));
        draft->step.when.push_back({name, wanted});
    }
}

void StepReader::readMenu(const YAML::Node &value, Draft *draft)
{
    draft->step.menu = std::make_shared<const Menu>(m_menus.subMenu(value, &draft->step.as));
}

void StepReader::readRaw(const YAML::Node &value, Draft *draft)
{
    draft->step.raw = m_menus.command(value);
}

/// What holds for every command: the coding that is asked for can be had, and FETCH has room for it.
void StepReader::checkTexts(const Draft &draft) const
{
    const Step &step = draft.step;
    for (const std::optional<cat::Text> *text : {&step.command.text, &step.command.defaultText, &step.command.ussd}) {
        if (step.coding && *text && !holds(*step.coding, expanded((*text)->value, {}, 0)))
            m_source.fail(draft.codingMark, "the text has characters that this coding cannot express; use ucs2, or "
                                            "leave coding out");
    }
    m_menus.checkSize(raised(step, {}, 1), draft.mark, "the command", "use shorter texts");
}

} // namespace card
