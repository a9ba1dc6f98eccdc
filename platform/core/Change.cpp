#include "core/Change.h"

#include "core/CoreControl.h"

#include <QApplication>
#include <QTranslator>
#include <QtCore/QList>
#include <QtCore/QtDebug>

#include <memory>

namespace core
{

namespace
{

/// Languages of the library's own.
const struct {
    const char *code;
    Qt::LayoutDirection direction;
} builtIn[] = {
    {"en", Qt::LeftToRight}, {"de", Qt::LeftToRight}, {"fr", Qt::LeftToRight}, {"es", Qt::LeftToRight},
    {"ru", Qt::LeftToRight}, {"zh", Qt::LeftToRight}, {"ar", Qt::RightToLeft},
};
const char *const english = builtIn[0].code;

/// Translators are kept to themselves and not installed in the application: the host's keys are no texts of Qt's,
/// and an application may have translators of its own.
struct Language {
    QString code;
    Qt::LayoutDirection direction;
    std::shared_ptr<QTranslator> texts;
};

std::shared_ptr<QTranslator> load(const QString &file)
{
    const std::shared_ptr<QTranslator> texts(new QTranslator);
    if (!texts->load(file)) {
        qWarning("Change: \"%s\" cannot be read as a compiled language file", qPrintable(file));
        return std::shared_ptr<QTranslator>();
    }
    return texts;
}

QList<Language> ownLanguages()
{
    QList<Language> list;
    for (const auto &row : builtIn) {
        const Language language = {row.code, row.direction,
                                   load(QString(":/core/translations/core_%1.qm").arg(row.code))};
        list << language;
    }
    return list;
}

QList<Language> &known()
{
    static QList<Language> list = ownLanguages();
    return list;
}

QString current = english;

const Language *find(const QString &code)
{
    const QList<Language> &list = known();
    for (int i = 0; i < list.size(); ++i) {
        if (list.at(i).code == code) {
            return &list.at(i);
        }
    }
    return 0;
}

QString translated(const QString &code, const QString &key, const QString &group)
{
    const Language *language = find(code);
    if (!language || !language->texts) {
        return QString();
    }
    return language->texts->translate(group.toUtf8().constData(), key.toUtf8().constData());
}

} // namespace

QStringList languages()
{
    QStringList list;
    foreach (const Language &language, known()) {
        list << language.code;
    }
    return list;
}

bool addLanguage(const QString &code, const QString &file, Qt::LayoutDirection direction)
{
    if (code.isEmpty() || find(code)) {
        qWarning("Change: \"%s\" is no new language", qPrintable(code));
        return false;
    }
    const Language language = {code, direction, load(file)};
    if (language.texts) {
        known() << language;
    }
    return language.texts != 0;
}

bool setLanguage(const QString &code)
{
    const Language *language = find(code);
    if (!language) {
        return false;
    }
    current = code;
    if (qobject_cast<QApplication *>(QCoreApplication::instance())) { // a program without widgets has no direction
        QApplication::setLayoutDirection(language->direction);
    }
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
