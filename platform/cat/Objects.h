#ifndef CAT_OBJECTS_H
#define CAT_OBJECTS_H

#include "cat/Command.h"
#include "cat/Values.h"

namespace cat
{

// Inside of the library: the data objects that commands and responses are made of (ETSI TS 102 223 clause 8).

/// What has been read of a command so far.
struct Parsing {
    Command command;
    std::size_t nullItems = 0; ///< items without any content
};

/// A data object: how it is read and written. One without functions is kept whole in Command::otherObjects.
struct DataObject {
    Tag tag;
    bool repeats; ///< every one counts, not only the first
    const char *name;
    /// False when the value is not what the object's clause says.
    bool (*parse)(ByteView value, Parsing *parsing);
    /// Appends nothing for an object that the command does not carry.
    void (*write)(const Command &command, const ObjectHead &head, Bytes *out);
};

namespace objects
{

extern const DataObject commandDetails;
extern const DataObject deviceIdentities;
extern const DataObject alphaIdentifier;
extern const DataObject confirmationAlpha; ///< SET UP CALL: takes both alpha identifiers
extern const DataObject callAlpha;
extern const DataObject icon;
extern const DataObject confirmationIcon; ///< SET UP CALL: takes both icons
extern const DataObject callIcon;
extern const DataObject textAttribute;
extern const DataObject confirmationTextAttribute; ///< SET UP CALL: takes both text attributes
extern const DataObject callTextAttribute;
extern const DataObject textString;
extern const DataObject defaultText;
extern const DataObject responseLength;
extern const DataObject duration;
extern const DataObject immediateResponse;
extern const DataObject tone;
extern const DataObject url;
extern const DataObject address;
extern const DataObject subaddress;
extern const DataObject ssString;
extern const DataObject ussdString;
extern const DataObject smsTpdu;
extern const DataObject fileList;
extern const DataObject items;
extern const DataObject itemIdentifier;
extern const DataObject itemsNextAction;
extern const DataObject itemIcons;
extern const DataObject itemTextAttributes;
extern const DataObject eventList;
extern const DataObject timerIdentifier;
extern const DataObject timerValue;
extern const DataObject language;

extern const DataObject applicationIdentifier;
extern const DataObject bearer;
extern const DataObject browserIdentity;
extern const DataObject capabilityConfiguration;
extern const DataObject frameIdentifier;
extern const DataObject gateway; ///< LAUNCH BROWSER: text strings for the proxy, the user's name and password
extern const DataObject networkAccessName;
extern const DataObject plmnList;
extern const DataObject provisioningFile;

} // namespace objects

/// True for a type that the standard names, whether it has a row here or not.
bool isNamed(CommandType type);

} // namespace cat

#endif // CAT_OBJECTS_H
