#include "dashboard/Settings.h"

#include <QComboBox>
#include <QHeaderView>
#include <QSplitter>
#include <QTabWidget>
#include <QTableView>

namespace dashboard
{

namespace
{

const char languageKey[] = "language";
const char cardKey[] = "card";
const char darkKey[] = "dark";
const char inspectorKey[] = "inspector-open";

QString key(const QWidget *window, const QString &part)
{
    return window->objectName() + '/' + part;
}

} // namespace

Settings::Settings() : m_settings(QSettings::IniFormat, QSettings::UserScope, "stk-dashboard", "stk-dashboard") {}

Settings::Settings(const QString &file) : m_settings(file, QSettings::IniFormat) {}

QString Settings::language() const
{
    return m_settings.value(languageKey).toString();
}

void Settings::setLanguage(const QString &code)
{
    m_settings.setValue(languageKey, code);
}

QString Settings::card() const
{
    return m_settings.value(cardKey).toString();
}

void Settings::setCard(const QString &address)
{
    m_settings.setValue(cardKey, address);
}

bool Settings::isDark() const
{
    return m_settings.value(darkKey, false).toBool();
}

void Settings::setDark(bool isDark)
{
    m_settings.setValue(darkKey, isDark);
}

bool Settings::isInspectorOpen() const
{
    return m_settings.value(inspectorKey, false).toBool();
}

void Settings::setInspectorOpen(bool isOpen)
{
    m_settings.setValue(inspectorKey, isOpen);
}

void Settings::restore(QWidget *window, const QStringList &boxes) const
{
    const auto value = [&](const QString &part) { return m_settings.value(key(window, part)); };
    window->restoreGeometry(value("geometry").toByteArray());
    for (QSplitter *splitter : window->findChildren<QSplitter *>())
        splitter->restoreState(value(splitter->objectName()).toByteArray());
    for (QTableView *table : window->findChildren<QTableView *>())
        table->horizontalHeader()->restoreState(value(table->objectName()).toByteArray());
    for (QTabWidget *tabs : window->findChildren<QTabWidget *>())
        tabs->setCurrentIndex(value(tabs->objectName()).toInt());
    for (const QString &name : boxes) {
        auto *box = window->findChild<QComboBox *>(name);
        const int index = value(name).toInt();
        if (box && index >= 0 && index < box->count())
            box->setCurrentIndex(index);
    }
}

void Settings::keep(const QWidget *window, const QStringList &boxes)
{
    const auto set = [&](const QString &part, const QVariant &value) { m_settings.setValue(key(window, part), value); };
    set("geometry", window->saveGeometry());
    for (const QSplitter *splitter : window->findChildren<QSplitter *>())
        set(splitter->objectName(), splitter->saveState());
    for (const QTableView *table : window->findChildren<QTableView *>())
        set(table->objectName(), table->horizontalHeader()->saveState());
    for (const QTabWidget *tabs : window->findChildren<QTabWidget *>())
        set(tabs->objectName(), tabs->currentIndex());
    for (const QString &name : boxes) {
        if (const auto *box = window->findChild<QComboBox *>(name))
            set(name, box->currentIndex());
    }
}

} // namespace dashboard
