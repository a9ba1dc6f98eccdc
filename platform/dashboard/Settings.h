#ifndef DASHBOARD_SETTINGS_H
#define DASHBOARD_SETTINGS_H

#include <QtCore/QSettings>

QT_BEGIN_NAMESPACE
class QWidget;
QT_END_NAMESPACE

namespace dashboard
{

/// What the user has chosen the last time: card, language and style, where the windows were and how they were divided.
/// What is there to disturb card and terminal is not kept.
class Settings
{
public:
    /// The user's own.
    Settings();
    /// Those of a file.
    explicit Settings(const QString &file);

    /// Empty: never chosen.
    QString language() const;
    void setLanguage(const QString &code);

    /// Address of the card; empty: never chosen.
    QString card() const;
    void setCard(const QString &address);

    bool isDark() const;
    void setDark(bool isDark);

    bool isInspectorOpen() const;
    void setInspectorOpen(bool isOpen);

    /// Place and size of the window, and what its splitters, tables, tabs and the boxes of `boxes` show, each by its
    /// object name. What was never kept, or cannot be read, leaves the window as it is.
    void restore(QWidget *window, const QStringList &boxes) const;
    void keep(const QWidget *window, const QStringList &boxes);

private:
    QSettings m_settings;
};

} // namespace dashboard

#endif // DASHBOARD_SETTINGS_H
