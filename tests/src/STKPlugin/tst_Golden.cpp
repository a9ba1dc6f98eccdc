// What every operation logs, calls, emits and returns, word for word and in order, and the meta-objects of all classes:
// compared with the files in tests/data/golden.
#include "Scenes.h"

#include "support/Golden.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>

using Play = std::function<QStringList()>;
Q_DECLARE_METATYPE(Play)

class tst_Golden : public QObject
{
    Q_OBJECT

private slots:
    void traces_data();
    void traces();
};

void tst_Golden::traces_data()
{
    const QList<QPair<const char *, Play>> files = {
        {"STKLogic.txt", logicTraces},          {"STKThread.txt", threadTraces},
        {"STKDialog.txt", dialogTraces},        {"STKDialogCommands.txt", commandTraces},
        {"STKInputDlg.txt", inputDialogTraces}, {"STKPlugin.txt", pluginTraces},
        {"Session.txt", sessionTrace},          {"MetaObjects.txt", metaObjects},
    };
    QTest::addColumn<Play>("play");
    for (const auto &file : files)
        QTest::newRow(file.first) << file.second;
}

void tst_Golden::traces()
{
    QFETCH(Play, play);
    support::Golden golden(QTest::currentDataTag());
    golden.add(play());
    const QString difference = golden.difference();
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
}

QTEST_MAIN(tst_Golden)
#include "tst_Golden.moc"
