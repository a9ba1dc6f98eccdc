#include "dashboard/Languages.h"

#include "core/CoreControl.h"

#include <QtCore/QLocale>

#include <QComboBox>

namespace dashboard
{

namespace
{

struct LanguageName {
    const char *code;
    const char *name;
};

/// A locale's own name for English or Spanish is that of one country's.
const LanguageName languageNames[] = {
    {"en", "English"}, {"de", "Deutsch"},  {"fr", "Français"}, {"es", "Español"},
    {"ru", "Русский"}, {"zh", "简体中文"}, {"ar", "العربية"},
};

} // namespace

QString languageName(const QString &code)
{
    for (const LanguageName &language : languageNames) {
        if (code == language.code)
            return language.name;
    }
    const QString name = QLocale(code).nativeLanguageName();
    return name.isEmpty() ? code : name.left(1).toUpper() + name.mid(1);
}

void fillLanguages(QComboBox *box)
{
    for (const QString &code : core::languages())
        box->addItem(languageName(code), code);
    box->setCurrentIndex(box->findData(core::language()));
}

} // namespace dashboard
