#include "dashboard/Style.h"

#include <QApplication>
#include <QStyleFactory>
#include <QtCore/QRegularExpression>

namespace dashboard
{

namespace
{

struct Colour {
    QPalette::ColorRole role;
    const char *light;
    const char *dark;
};

const Colour colours[] = {
    {QPalette::Window, "#f3f5f8", "#1b2127"},
    {QPalette::WindowText, "#1c2733", "#e6eaef"},
    {QPalette::Base, "#ffffff", "#12171c"},
    {QPalette::AlternateBase, "#f0f3f7", "#1a2027"},
    {QPalette::Text, "#1c2733", "#e6eaef"},
    {QPalette::Button, "#e9edf2", "#2b343d"},
    {QPalette::ButtonText, "#1c2733", "#e6eaef"},
    {QPalette::Highlight, "#1f6fb2", "#2a6da6"},
    {QPalette::HighlightedText, "#ffffff", "#ffffff"},
    {QPalette::ToolTipBase, "#fffbe6", "#2b343d"},
    {QPalette::ToolTipText, "#1c2733", "#e6eaef"},
    {QPalette::Link, "#1a62a0", "#7db8ea"},
    {QPalette::PlaceholderText, "#5c6874", "#98a4b0"},
    {QPalette::BrightText, "#a31515", "#ff9a9a"},
};

const Colour disabledColours[] = {
    {QPalette::WindowText, "#7c8691", "#78838e"},
    {QPalette::Text, "#7c8691", "#78838e"},
    {QPalette::ButtonText, "#7c8691", "#78838e"},
};

/// Words of the sheet below and what they stand for.
struct Named {
    const char *name;
    const char *light;
    const char *dark;
};

const Named names[] = {
    {"@band", "#14324a", "#0c1a26"},     {"@onBand", "#ffffff", "#f2f6fa"},      {"@softOnBand", "#c9dcec", "#a9c3d8"},
    {"@panel", "#ffffff", "#232b33"},    {"@onPanel", "#1c2733", "#e6eaef"},     {"@softOnPanel", "#55616d", "#a3afba"},
    {"@idle", "#14324a", "#f2d48a"},     {"@edge", "#7f8994", "#76838f"},        {"@line", "#c3ccd5", "#3d4853"},
    {"@action", "#1f6fb2", "#2a6da6"},   {"@actionHover", "#1a619d", "#2f78b6"}, {"@actionDown", "#17588f", "#225a89"},
    {"@off", "#dde3e9", "#2a323a"},      {"@onOff", "#525c66", "#98a4b0"},       {"@focus", "#b26a00", "#f2b632"},
    {"@button", "#e9edf2", "#2b343d"},   {"@buttonHover", "#dfe6ee", "#35404b"}, {"@buttonDown", "#cfd8e2", "#20272e"},
    {"@field", "#ffffff", "#12171c"},    {"@danger", "#b3261e", "#b3261e"},      {"@window", "#f3f5f8", "#1b2127"},
    {"@idleBand", "#4f5d69", "#39434d"},
};

const char sheet[] =
    // The dashboard
    "#headerFrame { background: @band; }"
    "#operatorLabel { background: @band; color: @onBand; font-size: 22px; font-weight: bold; }"
    "#deviceLabel { background: @band; color: @softOnBand; font-size: 13px; }"
    "#idleFrame { background: @panel; border: 1px solid @line; border-radius: 8px; }"
    "#idleCaptionLabel { background: @panel; color: @softOnPanel; font-size: 13px; }"
    "#idleLabel { background: @panel; color: @idle; font-size: 28px; }"
    "#simToolkitButton { background: @action; color: #ffffff; border: 3px solid @action; border-radius: 8px;"
    "  font-size: 17px; font-weight: bold; padding: 12px 24px; }"
    "#simToolkitButton:hover { background: @actionHover; color: #ffffff; }"
    "#simToolkitButton:pressed { background: @actionDown; color: #ffffff; }"
    "#simToolkitButton:focus { border-color: @focus; }"
    "#simToolkitButton:disabled { background: @off; border-color: @off; color: @onOff; }"
    "#reportLabel, #commandWordsLabel { background: @window; color: @onPanel; }"
    // Edges that Fusion draws too faint on dark
    "#InspectorWindow QLineEdit, #InspectorWindow QPlainTextEdit { border: 1px solid @edge; border-radius: 3px;"
    "  padding: 1px 3px; }"
    "#InspectorWindow QLineEdit:focus, #InspectorWindow QPlainTextEdit:focus { border-color: @focus; }"
    "#InspectorWindow QAbstractSpinBox QLineEdit { border: none; padding: 0px; }"
    "#InspectorWindow QCheckBox::indicator:unchecked { width: 11px; height: 11px; background: @field;"
    "  border: 1px solid @edge; border-radius: 2px; }"
    // Frames of the core library
    "#ExtendDialog_TitleBar { background: @idleBand; }"
    "#ExtendDialog_TitleBar:active { background: @band; }"
    "#ExtendDialog_Title { background: transparent; color: #ffffff; font-weight: bold; }"
    "#ExtendDialog_BtnClose { background: transparent; border: none; min-width: 0px; padding: 0px; }"
    "#ExtendDialog_BtnClose:hover, #ExtendDialog_BtnClose:pressed { background: @danger; }"
    // The plug-in's window and dialogs. A name with a blank can stand in quotes only.
    "#STKPlugin_StkWidget, QWidget[objectName=\"STKPlugin _StkInputWidget\"] { background: @window; }"
    "#STKPlugin_TableWidgetMenu { background: @field; color: @onPanel; border: 1px solid @line;"
    "  selection-background-color: @action; selection-color: #ffffff; outline: none; }"
    "#STKPlugin_LabelText { background: @window; color: @onPanel; }"
    "#STKPlugin_LineEditInput { background: @field; color: @onPanel; border: 1px solid @line; border-radius: 3px;"
    "  padding: 0px 3px; selection-background-color: @action; selection-color: #ffffff; }"
    "#STKPlugin_LineEditInput:focus { border-color: @action; }"
    "@pushes { background: @button; color: @onPanel; border: 1px solid @line; border-radius: 4px; padding: 3px 8px;"
    "  min-width: 62px; outline: none; }"
    "@pushes:hover { background: @buttonHover; color: @onPanel; }"
    "@pushes:pressed { background: @buttonDown; color: @onPanel; }"
    "@pushes:default { border-color: @action; }"
    "@pushes:focus { border: 2px solid @action; padding: 2px 7px; }"
    "@pushes:disabled { background: @off; color: @onOff; }";

const char *const pushButtons[] = {
    "#STKPlugin_PushBtnBack",
    "#STKPlugin_PushBtnSelect",
    "#STKPlugin_PushBtnClose",
    "QPushButton[objectName=\"STKPlugin _PushBtnOk\"]",
    "QPushButton[objectName=\"STKPlugin _PushBtnCancel\"]",
    "WsMessageBox QPushButton",
};

/// A rule of "@pushes:state { ... }" for each of the plug-in's buttons.
QString withButtons(QString text)
{
    const QString word = "@pushes";
    for (int at = text.indexOf(word); at >= 0; at = text.indexOf(word)) {
        const int open = text.indexOf('{', at);
        const QString state = text.mid(at + word.size(), open - at - word.size()).trimmed();
        QStringList selectors;
        for (const char *button : pushButtons)
            selectors << button + state;
        text.replace(at, open - at, selectors.join(", ") + ' ');
    }
    return text;
}

} // namespace

QPalette stylePalette(bool isDark)
{
    QPalette palette;
    for (const Colour &colour : colours)
        palette.setColor(colour.role, QColor(isDark ? colour.dark : colour.light));
    for (const Colour &colour : disabledColours)
        palette.setColor(QPalette::Disabled, colour.role, QColor(isDark ? colour.dark : colour.light));
    return palette;
}

QString styleSheet(bool isDark)
{
    QString text = withButtons(sheet);
    for (const Named &colour : names)
        text.replace(QRegularExpression(QString(colour.name) + "\\b"), isDark ? colour.dark : colour.light);
    return text;
}

void applyStyle(bool isDark)
{
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(stylePalette(isDark));
    qApp->setStyleSheet(styleSheet(isDark));
}

} // namespace dashboard
