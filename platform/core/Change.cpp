#include "core/Change.h"

#include "core/CoreControl.h"

#include <QTranslator>
#include <QtCore/QtDebug>

#include <map>
#include <memory>

namespace core
{

namespace
{

const char *const codes[] = {"en", "de", "ru"};
const char *const english = codes[0];

QString current = english;

/// Translators are kept to themselves and not installed in the application: the host's keys are no texts of Qt's,
/// and an application may have translators of its own.
const QTranslator &translator(const QString &code)
{
    static std::map<QString, std::unique_ptr<QTranslator>> loaded;
    std::unique_ptr<QTranslator> &entry = loaded[code];
    if (!entry) {
        entry.reset(new QTranslator);
        if (!entry->load(":/core/translations/core_" + code + ".qm")) {
            qWarning("Change: the texts of language \"%s\" cannot be read", qPrintable(code));
        }
    }
    return *entry;
}

QString translated(const QString &code, const QString &key, const QString &group)
{
    return translator(code).translate(group.toUtf8().constData(), key.toUtf8().constData());
}

} // namespace

QStringList languages()
{
    QStringList list;
    for (const char *code : codes) {
        list << code;
    }
    return list;
}

bool setLanguage(const QString &code)
{
    if (!languages().contains(code)) {
        return false;
    }
    current = code;
    return true;
}

QString language()
{
    return current;
}

} // namespace core

QString Change::tr(const QString &key, const QString &group)
{
    QString text = core::translated(core::language(), key, group);
    if (text.isEmpty()) {
        text = core::translated(core::english, key, group);
    }
    return text.isEmpty() ? key : text;
}
