#include "dashboard/Style.h"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

namespace dashboard
{

namespace
{

struct Colour {
    QPalette::ColorRole role;
    const char *name;
};

const Colour colours[] = {
    {QPalette::Window, "#f3f5f8"},        {QPalette::WindowText, "#1c2733"},  {QPalette::Base, "#ffffff"},
    {QPalette::AlternateBase, "#f6f8fb"}, {QPalette::Text, "#1c2733"},        {QPalette::Button, "#e9edf2"},
    {QPalette::ButtonText, "#1c2733"},    {QPalette::Highlight, "#1f6fb2"},   {QPalette::HighlightedText, "#ffffff"},
    {QPalette::ToolTipBase, "#fffbe6"},   {QPalette::ToolTipText, "#1c2733"}, {QPalette::Link, "#1f6fb2"},
};

const Colour disabledColours[] = {
    {QPalette::WindowText, "#8a949f"},
    {QPalette::Text, "#8a949f"},
    {QPalette::ButtonText, "#8a949f"},
};

QPalette palette()
{
    QPalette palette;
    for (const Colour &colour : colours)
        palette.setColor(colour.role, QColor(colour.name));
    for (const Colour &colour : disabledColours)
        palette.setColor(QPalette::Disabled, colour.role, QColor(colour.name));
    return palette;
}

} // namespace

void applyStyle()
{
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(palette());
}

} // namespace dashboard
