#ifndef TESTS_CAT_TOOLKITROWS_H
#define TESTS_CAT_TOOLKITROWS_H

#include "cat/Command.h"

#include <QJsonObject>

/// What the codec has decoded, in the words of tests/data/toolkit.json. An object that is not there gives no key, so
/// that a comparison of whole rows finds what is missing, what is too much, and every key that is not known here.
namespace toolkit
{

/// Row of a proactive command, without its name and its bytes: details, devices, flags and values.
QJsonObject commandRow(const cat::Command &command);

/// Row of a terminal response, without its name.
QJsonObject responseRow(const cat::Response &response);

/// Row of a menu selection, without its name.
QJsonObject selectionRow(const cat::MenuSelection &selection);

/// Empty when both are the same; otherwise the keys that differ, each with both values.
QString difference(const QJsonObject &actual, const QJsonObject &expected);

/// A keyword of those that "flags" or "expected" of a command may have.
bool isKnownKey(const QString &key);

} // namespace toolkit

#endif // TESTS_CAT_TOOLKITROWS_H
