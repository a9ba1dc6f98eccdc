#include "dashboard/SessionModel.h"

#include <QAbstractItemModelTester>
#include <QTest>

using namespace dashboard;

namespace
{

SessionEntry entry(EntryKind kind, const QString &text, const cat::Bytes &bytes = {}, const cat::Bytes &answer = {})
{
    return {kind, QDateTime(QDate(2024, 2, 3), QTime(4, 5, 6, 789)), text, bytes, answer};
}

} // namespace

class tst_SessionModel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void entryBecomesARow();
    void cardTextIsNoMarkup();
    void oldestEntriesGo();
    void clearedModelIsEmpty();
    void cellThatIsNotThereIsEmpty();
    void apdusShowOnlyWhenAskedFor();
    void kindsNarrowTheRows();
    void searchNarrowsTheRows_data();
    void searchNarrowsTheRows();

private:
    QStringList shown() const;

    std::unique_ptr<SessionModel> m_model;
    std::unique_ptr<SessionFilter> m_filter;
};

void tst_SessionModel::init()
{
    m_filter = std::make_unique<SessionFilter>();
    m_model = std::make_unique<SessionModel>();
    m_filter->setSourceModel(m_model.get());
    new QAbstractItemModelTester(m_model.get(), QAbstractItemModelTester::FailureReportingMode::QtTest, m_model.get());
}

QStringList tst_SessionModel::shown() const
{
    QStringList texts;
    for (int row = 0; row < m_filter->rowCount(); ++row)
        texts << m_filter->index(row, SessionModel::TextColumn).data().toString();
    return texts;
}

void tst_SessionModel::entryBecomesARow()
{
    m_model->add(entry(EntryKind::Command, "SELECT ITEM", {0xD0, 0x1A}));
    m_model->add(entry(EntryKind::Apdu, "FETCH", {0x80, 0x12}, {0x90, 0x00}));
    QStringList cells, titles;
    for (int column = 0; column < m_model->columnCount(); ++column) {
        cells << m_model->index(0, column).data().toString();
        titles << m_model->headerData(column, Qt::Horizontal).toString();
    }
    QCOMPARE(titles, QStringList({"Time", "Who", "What", "Bytes"}));
    QCOMPARE(cells, QStringList({"04:05:06.789", "card asks", "SELECT ITEM", "D0 1A"}));
    QCOMPARE(m_model->index(1, SessionModel::BytesColumn).data().toString(), QString("80 12 \u2192 90 00"));
    QCOMPARE(m_model->index(0, 1).data(Qt::AccessibleTextRole).toString(), QString("Who: card asks"));
}

void tst_SessionModel::cardTextIsNoMarkup()
{
    m_model->add(entry(EntryKind::Command, "<b>Bold</b>"));
    const QModelIndex cell = m_model->index(0, SessionModel::TextColumn);
    QCOMPARE(cell.data().toString(), QString("<b>Bold</b>"));
    QCOMPARE(cell.data(Qt::ToolTipRole).toString(), QString("<p>&lt;b&gt;Bold&lt;/b&gt;</p>"));
}

void tst_SessionModel::oldestEntriesGo()
{
    m_model = std::make_unique<SessionModel>(); // without the tester, which looks at every row again and again
    for (int i = 0; i < SessionModel::limit + 2; ++i)
        m_model->add(entry(EntryKind::Host, QString::number(i)));
    QCOMPARE(m_model->rowCount(), SessionModel::limit);
    QCOMPARE(m_model->entry(0).text, QString("2"));
    QCOMPARE(m_model->entry(SessionModel::limit - 1).text, QString::number(SessionModel::limit + 1));
}

void tst_SessionModel::clearedModelIsEmpty()
{
    m_model->add(entry(EntryKind::Host, "ready"));
    m_model->clear();
    QCOMPARE(m_model->rowCount(), 0);
    m_model->add(entry(EntryKind::Host, "again"));
    QCOMPARE(shown(), QStringList("again"));
}

void tst_SessionModel::cellThatIsNotThereIsEmpty()
{
    m_model->add(entry(EntryKind::Host, "ready"));
    const QModelIndex cell = m_model->index(0, SessionModel::TextColumn);
    m_model->clear();
    QCOMPARE(m_model->data(cell), QVariant());
    QCOMPARE(m_model->data(QModelIndex()), QVariant());
}

void tst_SessionModel::apdusShowOnlyWhenAskedFor()
{
    m_model->add(entry(EntryKind::Host, "ready"));
    m_model->add(entry(EntryKind::Apdu, "FETCH"));
    QCOMPARE(shown(), QStringList("ready"));
    m_filter->setKinds({EntryKind::Apdu, EntryKind::Host});
    QCOMPARE(shown(), QStringList({"ready", "FETCH"}));
}

void tst_SessionModel::kindsNarrowTheRows()
{
    m_model->add(entry(EntryKind::Command, "asks"));
    m_model->add(entry(EntryKind::Response, "answers"));
    m_model->add(entry(EntryKind::Note, "notes"));
    m_filter->setKinds({EntryKind::Response});
    QCOMPARE(shown(), QStringList("answers"));
    m_model->add(entry(EntryKind::Response, "more"));
    QCOMPARE(shown(), QStringList({"answers", "more"}));
    m_filter->setKinds({});
    QCOMPARE(shown().size(), 4);
}

void tst_SessionModel::searchNarrowsTheRows_data()
{
    QTest::addColumn<QString>("search");
    QTest::addColumn<QStringList>("texts");

    const QString menu = "SET UP MENU \"Aurora\"";
    const QString text = "DISPLAY TEXT (a.b)";
    QTest::newRow("nothing") << "" << QStringList({menu, text});
    QTest::newRow("word") << "MENU" << QStringList(menu);
    QTest::newRow("in small letters") << "aurora" << QStringList(menu);
    QTest::newRow("with blanks around it") << " aurora " << QStringList(menu);
    QTest::newRow("who") << "answer" << QStringList(text);
    QTest::newRow("bytes") << "d0 1a" << QStringList(menu);
    QTest::newRow("bytes without blanks") << "D01A" << QStringList(menu);
    QTest::newRow("no pattern") << "(a.b)" << QStringList(text);
    QTest::newRow("no pattern either") << "a?b" << QStringList();
}

void tst_SessionModel::searchNarrowsTheRows()
{
    QFETCH(QString, search);
    m_model->add(entry(EntryKind::Command, "SET UP MENU \"Aurora\"", {0xD0, 0x1A}));
    m_model->add(entry(EntryKind::Response, "DISPLAY TEXT (a.b)", {0x81, 0x03}));
    m_filter->setSearch(search);
    QTEST(shown(), "texts");
}

QTEST_GUILESS_MAIN(tst_SessionModel)
#include "tst_SessionModel.moc"
