#ifndef TESTS_SDK_COMMANDS_H
#define TESTS_SDK_COMMANDS_H

#include "platform/sdk/Vectors.h"

#include "sdk/MDSVStk.h"

/// One command of each type, as a card sends it, and the way to get it open (ETSI TS 102 223 clause 6.6).
namespace commands
{

/// DISPLAY TEXT "Hello", cleared by the user.
constexpr const char *displayText = "D011 8103032180820281028D060448656C6C6F";
/// The same, within 10 seconds.
constexpr const char *displayTextFor10s = "D015 8103032180820281028D060448656C6C6F8402010A";
/// The same, within a tenth of a second.
constexpr const char *displayTextShort = "D015 8103032180820281028D060448656C6C6F84020201";
/// DISPLAY TEXT "Hello", high priority, clears itself after 2.5 seconds.
constexpr const char *selfClearing = "D015 8103032101820281028D060448656C6C6F84020219";
/// DISPLAY TEXT "Hello" with immediate response, cleared by the user.
constexpr const char *sustained = "D013 8103042180820281028D060448656C6C6FAB00";
/// GET INKEY "Key?": one character of the default alphabet.
constexpr const char *getKey = "D010 8103052201820281828D05044B65793F";
/// GET INKEY "Digit?": one digit, with help, within 90 seconds.
constexpr const char *getDigit = "D016 8103052280820281828D070444696769743F8402015A";
/// GET INKEY "Digit?": one digit within a tenth of a second.
constexpr const char *getDigitShort = "D016 8103052200820281828D070444696769743F84020201";
/// GET INKEY "Key?": any character.
constexpr const char *getUcs2Key = "D010 8103052203820281828D05044B65793F";
/// GET INKEY "Sure?": yes or no.
constexpr const char *getYesNo = "D011 8103052204820281828D0604537572653F";
/// The same within 10 seconds.
constexpr const char *getYesNoFor10s = "D015 8103052204820281828D0604537572653F8402010A";
/// The same within a tenth of a second.
constexpr const char *getYesNoShort = "D015 8103052204820281828D0604537572653F84020201";
/// GET INPUT "Name?": 2 to 5 characters of the default alphabet, "Bob" to begin with, with help.
constexpr const char *getText = "D01B 8103062381820281828D06044E616D653F91020205970404426F62";
/// GET INPUT "Name?": 1 to 20 characters, packed.
constexpr const char *getPackedText = "D015 8103062309820281828D06044E616D653F91020114";
/// GET INPUT "Name?": up to 255 characters of any script.
constexpr const char *getUcs2Text = "D015 8103062303820281828D06044E616D653F910200FF";
/// GET INPUT "PIN?": 4 digits, hidden.
constexpr const char *getPin = "D014 8103062304820281828D050450494E3F91020404";
/// SET UP CALL +4930123, "Call?", "Help line".
constexpr const char *setUpCall = "D022 810307100082028183850543616C6C3F860591940321F3850948656C70206C696E65";
/// PLAY TONE: busy, "Beep", 2.5 seconds.
constexpr const char *playTone = "D016 8103082000820281038504426565708E010284020219";
/// PLAY TONE: nothing said.
constexpr const char *playSomething = "D009 810308200082028103";
/// REFRESH: initialization.
constexpr const char *refresh = "D009 810309010382028182";
/// REFRESH: file change notification, one file.
constexpr const char *refreshFiles = "D010 8103090101820281829205013F002FE2";
/// REFRESH: card reset.
constexpr const char *refreshReset = "D009 810309010482028182";
/// SEND SS **21#, "Divert".
constexpr const char *sendSs = "D017 81030A11008202818385064469766572748904FFAA12FB";
/// SEND SHORT MESSAGE "Sending".
constexpr const char *sendSms = "D01D 81030B130082028183850753656E64696E678B09010002812100F40141";
/// SEND USSD "*100#".
constexpr const char *sendUssd = "D011 81030C1200820281838A06F42A31303023";
/// LAUNCH BROWSER "http://x.org/", "Open?", in a new session.
constexpr const char *launchBrowser = "D01F 81030D150382028182310D687474703A2F2F782E6F72672F05054F70656E3F";
/// SET UP IDLE MODE TEXT "Idle".
constexpr const char *idleText = "D010 81030E2800820281828D050449646C65";

/// A card that has got its command `pdu` fetched in answer to a choice from its menu, and has answered nothing since.
/// What was sent before is forgotten. Null: the event of the type `stkType` has not come.
inline std::shared_ptr<Script> open(const char *pdu, int stkType)
{
    const auto script = vectors::attachWithMenu();
    if (!script)
        return nullptr;
    script->proposes(pdu);
    const QString event = "STK " + QString::number(stkType);
    if (MDSV_STKSrv_SelectMenuItem(1, 1) != 0 || !vectors::waitForEvent(qPrintable(event)))
        return nullptr;
    script->forgetSent();
    return script;
}

/// What has been sent, without the header and the length of TERMINAL RESPONSE; anything else as it is.
inline QStringList responses(const std::shared_ptr<Script> &script)
{
    QStringList sent = script->sent();
    for (QString &apdu : sent) {
        if (apdu.startsWith("80140000"))
            apdu = apdu.mid(10);
    }
    return sent;
}

} // namespace commands

#endif // TESTS_SDK_COMMANDS_H
