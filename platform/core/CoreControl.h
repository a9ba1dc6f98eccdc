#ifndef CORE_CORECONTROL_H
#define CORE_CORECONTROL_H

#include <QtCore/QString>
#include <QtCore/QStringList>

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

/// Languages that Change::tr can speak, as two-letter codes, English first.
QStringList languages();

/// Chooses the language of Change::tr; a key that is missing in it falls back to English. At first English.
/// False for an unknown language, and nothing changes.
bool setLanguage(const QString &code);

QString language();

} // namespace core

#endif // CORE_CORECONTROL_H
