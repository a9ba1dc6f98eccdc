#ifndef DASHBOARD_LANGUAGES_H
#define DASHBOARD_LANGUAGES_H

#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QComboBox;
QT_END_NAMESPACE

namespace dashboard
{

/// A language's name in that language, with its first letter as at the head of a line.
QString languageName(const QString &code);

/// Fills the box with the core library's languages, their codes as data, and chooses the present one.
void fillLanguages(QComboBox *box);

} // namespace dashboard

#endif // DASHBOARD_LANGUAGES_H
