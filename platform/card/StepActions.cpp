#include "card/StepReader.h"

namespace card
{

/// What a step can do, with its keys in the order in which complaints list them.
const std::vector<StepReader::Action> &StepReader::actions()
{
    using R = StepReader;
    using K = Key<StepReader, Draft>;
    static constexpr K display[] = {
        {"text", &R::readText, true},
        {"coding", &R::readCoding, false},
        {"clear", &R::readClear, false},
        {"duration", &R::readDuration, false},
        {"high-priority", &R::readHighPriority, false},
        {"immediate-response", &R::readImmediateResponse, false},
    };
    static constexpr K key[] = {
        {"prompt", &R::readText, true}, {"coding", &R::readCoding, false},      {"digits", &R::readDigits, false},
        {"ucs2", &R::readUcs2, false},  {"duration", &R::readDuration, false},  {"help", &R::readHelp, false},
        {"as", &R::readAs, false},      {"help-text", &R::readHelpText, false},
    };
    static constexpr K yesNo[] = {
        {"prompt", &R::readText, true},         {"coding", &R::readCoding, false},
        {"duration", &R::readDuration, false},  {"on-no", &R::readOnNo, false},
        {"help", &R::readHelp, false},          {"as", &R::readYesNoAs, false},
        {"help-text", &R::readHelpText, false},
    };
    static constexpr K input[] = {
        {"prompt", &R::readText, true},    {"coding", &R::readCoding, false},
        {"min", &R::readMinimum, false},   {"max", &R::readMaximum, false},
        {"digits", &R::readDigits, false}, {"ucs2", &R::readUcs2, false},
        {"packed", &R::readPacked, false}, {"hidden", &R::readHidden, false},
        {"help", &R::readHelp, false},     {"default-text", &R::readDefaultText, false},
        {"as", &R::readAs, false},         {"help-text", &R::readHelpText, false},
    };
    static constexpr K tone[] = {
        {"tone", &R::readTone, false},
        {"duration", &R::readDuration, false},
        {"text", &R::readAlpha, false},
    };
    static constexpr K call[] = {
        {"number", &R::readNumber, true},         {"confirm", &R::readAlpha, false},
        {"text", &R::readCallText, false},        {"others", &R::readOthers, false},
        {"redial", &R::readRedial, false},        {"duration", &R::readDuration, false},
        {"on-failure", &R::readOnFailure, false},
    };
    static constexpr K sms[] = {
        {"number", &R::readRecipient, false}, {"message", &R::readMessage, false},
        {"tpdu", &R::readTpdu, false},        {"centre", &R::readNumber, false},
        {"text", &R::readAlpha, false},       {"on-failure", &R::readOnFailure, false},
    };
    static constexpr K ss[] = {
        {"code", &R::readSsCode, true},
        {"text", &R::readAlpha, false},
        {"on-failure", &R::readOnFailure, false},
    };
    static constexpr K ussd[] = {
        {"code", &R::readUssdCode, true},
        {"coding", &R::readCoding, false},
        {"text", &R::readAlpha, false},
        {"on-failure", &R::readOnFailure, false},
    };
    static constexpr K browser[] = {
        {"url", &R::readUrl, true},
        {"mode", &R::readBrowserMode, false},
        {"text", &R::readAlpha, false},
    };
    static constexpr K refresh[] = {
        {"mode", &R::readRefreshMode, true},
        {"files", &R::readFiles, false},
        {"text", &R::readAlpha, false},
    };
    static constexpr K idleText[] = {
        {"text", &R::readText, true},
        {"coding", &R::readCoding, false},
    };
    using T = cat::CommandType;
    constexpr std::uint8_t clearedByUser = 0x80, anyCharacter = 0x01, yesOrNo = 0x04;
    static const std::vector<Action> all{
        {"display", T::DisplayText, clearedByUser, "text", display, nullptr, nullptr},
        {"key", T::GetInkey, anyCharacter, "prompt", key, &R::finishKey, nullptr},
        {"yes-no", T::GetInkey, yesOrNo, "prompt", yesNo, nullptr, nullptr},
        {"input", T::GetInput, anyCharacter, "prompt", input, &R::finishInput, nullptr},
        {"menu", T::SelectItem, 0, nullptr, {}, nullptr, &R::readMenu},
        {"tone", T::PlayTone, 0, "tone", tone, nullptr, nullptr},
        {"call", T::SetUpCall, 0, "number", call, &R::finishCall, nullptr},
        {"sms", T::SendShortMessage, 0, nullptr, sms, &R::finishSms, nullptr},
        {"ss", T::SendSs, 0, "code", ss, nullptr, nullptr},
        {"ussd", T::SendUssd, 0, "code", ussd, nullptr, nullptr},
        {"browser", T::LaunchBrowser, 0, "url", browser, nullptr, nullptr},
        {"refresh", T::Refresh, 0, "mode", refresh, &R::finishRefresh, nullptr},
        {"idle-text", T::SetUpIdleModeText, 0, "text", idleText, nullptr, nullptr},
        {"command", T::SetUpMenu, 0, nullptr, {}, nullptr, &R::readRaw},
    };
    return all;
}

} // namespace card
