#ifndef TESTS_ROADSCRIPT_H
#define TESTS_ROADSCRIPT_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

/// One row of a script: an item of a card, what is seen and done when it is chosen, and what passes to the card and
/// back. The file is text in UTF-8:
///
///     # a comment
///     == Display text > Coding > Packed: OK
///     term 8014...            as in CardLog
///     card D0...
///     see  text "Hello" [OK] [Cancel*]
///     do   click OK
///
/// The name in front of the colon is the way to the item through the menus. `see` and `do` are in their order among
/// themselves, and so are `term`, `card` and `reset`; how the two sorts are mixed is for readers.
struct RoadRow {
    QString name;
    QStringList path;
    int line = 0;         ///< of the file, from 1
    QStringList user;     ///< see, do and set
    QStringList exchange; ///< term, card and reset
};

/// The rows of the file, or none and in `*error` what is wrong and where.
QList<RoadRow> readRoadScript(const QString &file, QString *error);

#endif // TESTS_ROADSCRIPT_H
