#include "dashboard/Style.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QtCore/QRegularExpression>

#include <cmath>

using namespace dashboard;

namespace
{

const double enough = 4.5; // AA for text of normal size (WCAG 2.1, 1.4.3)

double linear(double part)
{
    return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &colour)
{
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

double contrast(const QColor &one, const QColor &other)
{
    const double a = luminance(one), b = luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

/// The value of a property in a rule, if it has it by this very name.
QString valueOf(const QString &rule, const QString &name)
{
    return QRegularExpression("(?:^|[;{ ])" + name + ":\\s*([^;]+);").match(rule).captured(1).trimmed();
}

} // namespace

class tst_Style : public QObject
{
    Q_OBJECT

private slots:
    void contrastIsComputedRight();
    void textOfTheSheetIsLegible_data();
    void textOfTheSheetIsLegible();
    void textOfThePaletteIsLegible_data();
    void textOfThePaletteIsLegible();
    void sheetNamesThePluginsWidgets_data();
    void sheetNamesThePluginsWidgets();
    void nameWithABlankIsFound();
    void cleanup();
};

void tst_Style::cleanup()
{
    qApp->setStyleSheet(QString());
}

void tst_Style::contrastIsComputedRight()
{
    QCOMPARE(contrast(Qt::white, Qt::black), 21.0);
    QCOMPARE(contrast(Qt::white, Qt::white), 1.0);
    QVERIFY(contrast(QColor("#777777"), Qt::white) < enough);
    QVERIFY(contrast(QColor("#767676"), Qt::white) >= enough);
}

void tst_Style::textOfTheSheetIsLegible_data()
{
    QTest::addColumn<QString>("rule");

    for (const bool isDark : {false, true}) {
        const QStringList rules = styleSheet(isDark).split('}', Qt::SkipEmptyParts);
        QVERIFY(rules.size() > 20);
        for (const QString &rule : rules)
            QTest::newRow(qPrintable((isDark ? "dark: " : "light: ") + rule.section('{', 0, 0).trimmed())) << rule;
    }
}

/// Every colour of a text stands beside that of its background; the bar's title lies on the bar.
void tst_Style::textOfTheSheetIsLegible()
{
    QFETCH(QString, rule);
    QVERIFY2(!rule.contains('@'), qPrintable(rule));
    const QString body = rule.section('{', 1);
    const QString colour = valueOf(body, "color");
    const QString selected = valueOf(body, "selection-color");
    if (!selected.isEmpty())
        QVERIFY2(contrast(selected, valueOf(body, "selection-background-color")) >= enough, qPrintable(rule));
    if (colour.isEmpty())
        return;
    const QString background = valueOf(body, "background");
    QVERIFY2(!background.isEmpty(), qPrintable(rule));
    if (background != "transparent") {
        QVERIFY2(contrast(colour, background) >= enough,
                 qPrintable(QString::number(contrast(colour, background)) + rule));
        return;
    }
    for (const bool isDark : {false, true}) {
        for (const QString &bar : styleSheet(isDark).split('}')) {
            if (bar.contains("#ExtendDialog_TitleBar"))
                QVERIFY2(contrast(colour, valueOf(bar.section('{', 1), "background")) >= enough, qPrintable(bar));
        }
    }
}

void tst_Style::textOfThePaletteIsLegible_data()
{
    QTest::addColumn<int>("text");
    QTest::addColumn<int>("behind");

    const auto row = [](const char *name, QPalette::ColorRole text, QPalette::ColorRole behind) {
        QTest::newRow(name) << int(text) << int(behind);
    };
    row("window", QPalette::WindowText, QPalette::Window);
    row("field", QPalette::Text, QPalette::Base);
    row("every other row", QPalette::Text, QPalette::AlternateBase);
    row("button", QPalette::ButtonText, QPalette::Button);
    row("selection", QPalette::HighlightedText, QPalette::Highlight);
    row("tool tip", QPalette::ToolTipText, QPalette::ToolTipBase);
    row("link", QPalette::Link, QPalette::Window);
    row("place holder", QPalette::PlaceholderText, QPalette::Base);
    row("text of a tab", QPalette::WindowText, QPalette::Button);
}

void tst_Style::textOfThePaletteIsLegible()
{
    QFETCH(int, text);
    QFETCH(int, behind);
    for (const bool isDark : {false, true}) {
        const QPalette palette = stylePalette(isDark);
        const double ratio = contrast(palette.color(static_cast<QPalette::ColorRole>(text)),
                                      palette.color(static_cast<QPalette::ColorRole>(behind)));
        QVERIFY2(ratio >= enough, qPrintable(QString("%1 in the %2 style").arg(ratio).arg(isDark ? "dark" : "light")));
    }
}

void tst_Style::sheetNamesThePluginsWidgets_data()
{
    QTest::addColumn<QString>("selector");
    for (const char *name :
         {"STKPlugin_StkWidget", "STKPlugin_PushBtnBack", "STKPlugin_PushBtnSelect", "STKPlugin_PushBtnClose",
          "STKPlugin_TableWidgetMenu", "STKPlugin_LabelText", "STKPlugin_LineEditInput"})
        QTest::newRow(name) << QString("#") + name;
    for (const char *name : {"STKPlugin _StkInputWidget", "STKPlugin _PushBtnOk", "STKPlugin _PushBtnCancel"})
        QTest::newRow(name) << QString("[objectName=\"%1\"]").arg(name);
}

void tst_Style::sheetNamesThePluginsWidgets()
{
    QFETCH(QString, selector);
    QVERIFY(styleSheet(false).contains(selector));
    QVERIFY(styleSheet(true).contains(selector));
}

void tst_Style::nameWithABlankIsFound()
{
    applyStyle(true);
    QWidget window;
    auto *button = new QPushButton("OK", &window);
    button->setObjectName("STKPlugin _PushBtnOk");
    auto *other = new QPushButton("OK", &window);
    button->resize(90, 30);
    other->resize(90, 30);
    window.show();
    const QColor seen = button->grab().toImage().pixelColor(8, 15);
    QCOMPARE(seen.name(), QString("#2b343d"));
    QVERIFY(other->grab().toImage() != button->grab().toImage());
}

QTEST_MAIN(tst_Style)
#include "tst_Style.moc"
