#ifndef DASHBOARD_STYLE_H
#define DASHBOARD_STYLE_H

namespace dashboard
{

/// Gives the application one look on every desktop: Qt's Fusion style, a light palette and the sheet of the dashboard's
/// own widgets. The windows of plug-ins take the palette over.
void applyStyle();

} // namespace dashboard

#endif // DASHBOARD_STYLE_H
