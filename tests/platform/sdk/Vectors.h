#ifndef TESTS_SDK_VECTORS_H
#define TESTS_SDK_VECTORS_H

#include "platform/sdk/Events.h"
#include "platform/sdk/Script.h"

#include <QTest>

/// Two commands of a card, what the terminal sends about them, and the ways to get them open (ETSI TS 102 223 clauses
/// 6.6 and 6.8).
namespace vectors
{

/// SET UP MENU "Menu": 01 "News", 80 "Odd".
constexpr const char *setUpMenu = "D01C 8103012500 82028182 85044D656E75 8F05014E657773 8F04804F6464";
/// One empty item: the menu is to go.
constexpr const char *removeMenu = "D011 8103012500 82028182 85044D656E75 8F00";
/// SELECT ITEM "Where": 11 "Here", 12 "There"; begins with 12.
constexpr const char *selectItem = "D022 8103022400 82028182 85055768657265 8F051148657265 8F06125468657265 900112";

constexpr const char *terminalProfile = "801000001229E1FF2F0000001F69000000000000000009";
constexpr const char *fetchSetUpMenu = "801200001E";
constexpr const char *fetchSelectItem = "8012000024";
constexpr const char *setUpMenuDone = "801400000C810301250082028281830100";
constexpr const char *chooseNews = "80C2000009D30782020181900101";
constexpr const char *chooseOdd = "80C2000009D30782020181900180";
constexpr const char *choseThere = "801400000F810302240082028281830100900112";
constexpr const char *wentBack = "801400000C810302240082028281830111";
constexpr const char *endedSession = "801400000C810302240082028281830110";
constexpr const char *noResponse = "801400000C810302240082028281830112";
constexpr const char *unable = "801400000D81030224008202828183022000";

constexpr int limit = 5000; ///< milliseconds: longer than anything here takes

template <typename Condition>
bool waitFor(Condition condition)
{
    return QTest::qWaitFor(condition, limit);
}

inline bool waitForEvent(const char *text)
{
    return waitFor([text] { return events::has(text); });
}

/// A card that has installed its menu and is at rest; the events and commands of that are forgotten.
inline std::shared_ptr<Script> attachWithMenu()
{
    auto script = std::make_shared<Script>();
    script->proposes(setUpMenu).answers("9000");
    sdk::attachDevice(Script::channel(script));
    if (!waitForEvent("DEVICE 6602"))
        return nullptr;
    events::forget();
    script->forgetSent();
    return script;
}

} // namespace vectors

#endif // TESTS_SDK_VECTORS_H
