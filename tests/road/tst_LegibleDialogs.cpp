#include "RoadWorld.h"
#include "ScriptedUser.h"

#include "core/CoreControl.h"
#include "dashboard/Style.h"
#include "support/Legible.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

/// Whether every text of the plug-in's windows has room in every language, at the scale of the program's share: 100,
/// 150 or 200 %.
class tst_LegibleDialogs : public QObject
{
    Q_OBJECT

private slots:
    void dialogs_data();
    void dialogs();
};

void tst_LegibleDialogs::dialogs_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<bool>("isDark");
    for (const QString &code : core::languages())
        QTest::addRow("%s", qPrintable(code)) << code << (code == "en" || code == "ar");
}

/// The languages in turn, and a card whose own texts are in one of them.
void tst_LegibleDialogs::dialogs()
{
    QFETCH(QString, language);
    QFETCH(bool, isDark);
    dashboard::applyStyle(isDark);
    RoadWorld world(true);
    core::setLanguage(language);
    QVERIFY(world.attach("dialogs.yaml"));
    QVERIFY(QTest::qWaitFor([&] { return world.exchanges().size() >= 2; }));
    QVERIFY(world.show(4));

    const QList<QStringList> dialogs = {
        {"do select Text", "do await text", "do look", "do key Escape"},
        {"do select Timed text", "do await count-down", "do look", "do key Escape"},
        {"do select Digits", "do await input", "do type 25", "do look", "do key Escape"},
        {"do select Question", "do await text", "do look", "do key Escape"},
        {"do select Refused", "do await input", "do type \u2192", "do key Return", "do await text", "do look",
         "do key Escape", "do await input", "do key Escape"},
    };
    QStringList script = {"do look"};
    for (const QStringList &dialog : dialogs)
        script << "do select English"
               << "do await 10 rows"
               << "do look" << dialog << "do await 4 rows";
    ScriptedUser user(&world, script);
    int windows = 0;
    QStringList cutOff;
    user.teach("look", [&] {
        const QWidget *const window = QApplication::activeModalWidget();
        if (!window)
            return false;
        const Legible legible(window);
        cutOff += legible.cutOff;
        windows += legible.texts >= 2 ? 1 : 0;
        return true;
    });
    user.teach("await text", [&] { return user.view().startsWith("text "); });
    user.teach("await count-down", [&] { return user.view().contains(" = 9]"); });
    user.teach("await input", [&] { return user.view().startsWith("input "); });
    for (int rows : {4, 10}) {
        user.teach(QString("await %1 rows").arg(rows),
                   [&, rows] { return world.table()->rowCount() == rows && user.view().startsWith("menu "); });
    }
    QVERIFY(QTest::qWaitFor([&] { return user.isOver(); }, 60000));
    QCOMPARE(user.record(), script);
    QCOMPARE(windows, script.count("do look"));
    QVERIFY2(cutOff.isEmpty(), qPrintable(cutOff.join('\n')));
    QCOMPARE(world.end(), QStringList());
    core::setLanguage("en");
}

int main(int argc, char **argv)
{
    setScaleOfShard();
    QApplication application(argc, argv);
    tst_LegibleDialogs test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_LegibleDialogs.moc"
