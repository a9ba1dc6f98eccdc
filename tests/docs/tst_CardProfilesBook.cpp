#include "card/Profile.h"

#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QFile>
#include <QtCore/QMap>
#include <QtCore/QRegularExpression>

namespace
{

const char *const actions[] = {"display", "key", "yes-no", "input",   "tone",    "call",
                               "sms",     "ss",  "ussd",   "browser", "refresh", "idle-text"};

} // namespace

/// docs/card-profiles.md held against the reader: every key that it knows is in the book, and no other; every example
/// can be read.
class tst_CardProfilesBook : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void namesTheKeysOfTheReader_data();
    void namesTheKeysOfTheReader();
    void namesTheActionsOfTheReader();
    void examplesCanBeRead();

private:
    QString complaint(const QString &yaml) const;
    QStringList knownKeys(const QString &yaml) const;

    QTemporaryDir m_folder;
    QString m_book;
    QMap<QString, QStringList> m_tables; ///< the keys of each table, by the nearest words that name it
};

/// What the reader says of a profile; empty when it can be used.
QString tst_CardProfilesBook::complaint(const QString &yaml) const
{
    QFile file(m_folder.filePath("profile.yaml"));
    if (!file.open(QIODevice::WriteOnly) || file.write(yaml.toUtf8()) < 0)
        return file.errorString();
    file.close();
    try {
        card::loadProfile(file.fileName().toStdString());
    } catch (const card::ProfileError &error) {
        return QString::fromStdString(error.what());
    }
    return QString();
}

/// A key that the reader does not know makes it tell those that it knows.
QStringList tst_CardProfilesBook::knownKeys(const QString &yaml) const
{
    QStringList keys = complaint(yaml).section("Known keys: ", 1).split(", ", Qt::SkipEmptyParts);
    keys.sort();
    return keys;
}

/// Reads the tables. One is named by its first heading cell ("Key of a menu"), or where that is just "Key" by the
/// heading of the section.
void tst_CardProfilesBook::initTestCase()
{
    QFile file(BOOK);
    QVERIFY(file.open(QIODevice::ReadOnly));
    m_book = QString::fromUtf8(file.readAll());

    const QRegularExpression code("`([^`]+)`");
    QString section;
    QString table;
    for (const QString &line : m_book.split('\n')) {
        const QString cell = line.section('|', 1, 1).trimmed();
        if (line.startsWith('#')) {
            section = line.section(' ', 1).section(':', 0, 0);
            table.clear();
        } else if (cell.startsWith("Key")) {
            table = cell == "Key" ? section : cell.mid(int(qstrlen("Key of ")));
        }
        for (auto match = code.globalMatch(cell); match.hasNext();)
            m_tables[table] << match.next().captured(1);
    }
    for (QStringList &keys : m_tables)
        keys.sort();
}

void tst_CardProfilesBook::namesTheKeysOfTheReader_data()
{
    QTest::addColumn<QString>("profile");
    QTest::addColumn<QString>("table");

    QTest::newRow("profile") << "no-such-key: 1"
                             << "The profile";
    QTest::newRow("menu") << "name: X\nmenu: {no-such-key: 1}"
                          << "a menu";
    QTest::newRow("item") << "name: X\nmenu: {items: [{no-such-key: 1}]}"
                          << "an item";
    for (const char *action : actions)
        QTest::newRow(action) << QString("name: X\nat-start: [{%1: {no-such-key: 1}}]").arg(action) << action;
}

void tst_CardProfilesBook::namesTheKeysOfTheReader()
{
    QFETCH(QString, profile);
    QFETCH(QString, table);
    const QStringList known = knownKeys(profile);
    QVERIFY(!known.isEmpty());
    QCOMPARE(m_tables.value(table), known);
}

/// Each has a section, and stands in the table of a step.
void tst_CardProfilesBook::namesTheActionsOfTheReader()
{
    QStringList known = knownKeys("name: X\nat-start: [{no-such-key: 1}]");
    QVERIFY(known.removeOne("when"));
    QVERIFY(m_tables.value("a step").contains("when"));
    const QString row = m_book.section("| an action |", 1).section('\n', 0, 0);
    for (const QString &action : known) {
        QVERIFY2(m_book.contains("\n### " + action + ": "), qPrintable(action));
        QVERIFY2(row.contains("`" + action + "`"), qPrintable(action));
    }
    QCOMPARE(m_book.count("\n### "), known.size());
}

/// An example is a profile, or steps.
void tst_CardProfilesBook::examplesCanBeRead()
{
    const QRegularExpression example("```yaml\n(.*?)```", QRegularExpression::DotMatchesEverythingOption);
    int count = 0;
    for (auto match = example.globalMatch(m_book); match.hasNext(); ++count) {
        QString yaml = match.next().captured(1);
        if (yaml.startsWith('-'))
            yaml = "name: X\nmenu:\n  items:\n  - text: T\n    steps:\n" +
                   yaml.replace(QRegularExpression("^", QRegularExpression::MultilineOption), "    ");
        const QString reason = complaint(yaml);
        QVERIFY2(reason.isEmpty(), qPrintable(yaml + reason));
    }
    QVERIFY(count > 15);
}

QTEST_GUILESS_MAIN(tst_CardProfilesBook)
#include "tst_CardProfilesBook.moc"
