#ifndef CORE_CORECONTROL_H
#define CORE_CORECONTROL_H

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/Qt>

#include <functional>

QT_BEGIN_NAMESPACE
class QWidget;
QT_END_NAMESPACE

/// What the dashboard or a test tells the open core library beside the contract in include/core. User-interface thread.
namespace core
{

/// The window that CommonUtils::GetMainWindow answers; null for none. A window that is deleted reads as none.
void setMainWindow(QWidget *window);

/// What CommonUtils::GetPluginLibraryPath answers, without a slash at its end. At first the application's folder,
/// and again after an empty path.
void setPluginLibraryPath(const QString &path);

/// Opens a web address that CommonUtils::OpenUrl has let through; true when it was handed on.
typedef std::function<bool(const QString &url)> UrlOpener;

/// Puts `opener` in the place of the desktop's browser; an empty one brings the browser back.
void setUrlOpener(const UrlOpener &opener);

/// Languages that Change::tr can speak, as codes such as "en", English first: those of the library, then added ones.
QStringList languages();

/// Adds a language under a new code, from the compiled Qt language file (.qm) `file`. What it lacks falls back to
/// English. False with a warning when the code is known already or the file cannot be read, and nothing changes.
bool addLanguage(const QString &code, const QString &file, Qt::LayoutDirection direction = Qt::LeftToRight);

/// Chooses the language of Change::tr; a key that is missing in it falls back to English. At first English.
///
/// The application's layout direction becomes that of the language, so that windows which are open are mirrored at
/// once for Arabic. Texts that stand in windows already are their owners' to renew.
/// False for an unknown language, and nothing changes.
bool setLanguage(const QString &code);

QString language();

} // namespace core

#endif // CORE_CORECONTROL_H
