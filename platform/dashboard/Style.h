#ifndef DASHBOARD_STYLE_H
#define DASHBOARD_STYLE_H

#include <QPalette>
#include <QtCore/QString>

namespace dashboard
{

/// Colours of widgets that no sheet names.
QPalette stylePalette(bool isDark);

/// The sheet of the dashboard's widgets and, by their object names, of the plug-in's, so that its windows look like a
/// part of the dashboard. Every rule that gives a text its colour gives the background behind it, too.
QString styleSheet(bool isDark);

/// Gives the application one look on every desktop, light or dark: Qt's Fusion style, palette and sheet.
void applyStyle(bool isDark);

} // namespace dashboard

#endif // DASHBOARD_STYLE_H
