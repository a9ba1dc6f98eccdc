#ifndef CHANGE_H
#define CHANGE_H

#include <QtCore/QString>

/// The host's translation of string keys.
class Change
{
public:
    /// Text of `key` in the group `group` (such as "STKPlugin") in the host's present language.
    /// Mind the order: key first. An unknown key comes back as the key. User-interface thread.
    static QString tr(const QString &key, const QString &group);
};

#endif // CHANGE_H
