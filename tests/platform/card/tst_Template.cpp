#include "card/Template.h"
#include "platform/cat/Hex.h"

#include <QtTest>

class tst_Template : public QObject
{
    Q_OBJECT

private slots:
    void expands_data();
    void expands();
    void cutsAnswers_data();
    void cutsAnswers();
    void answersAreNoTemplates();
    void findsNames_data();
    void findsNames();
    void knowsNames_data();
    void knowsNames();
};

void tst_Template::expands_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expanded");
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("plain") << "a b"
                           << "a b";
    QTest::newRow("a name") << "{one}"
                            << "1";
    QTest::newRow("among others") << "a{one}b{two}{one}c"
                                  << "a1bzwei1c";
    QTest::newRow("no answer") << "a{three}b"
                               << "ab";
    QTest::newRow("brace") << "a{{one}b"
                           << "a{one}b";
    QTest::newRow("two braces") << "{{{{"
                                << "{{";
    QTest::newRow("brace before a name") << "{{{one}"
                                         << "{1";
    QTest::newRow("closing brace") << "a}b}}"
                                   << "a}b}}";
    QTest::newRow("brace without an end") << "a{one"
                                          << "a{one";
    QTest::newRow("nothing in braces") << "a{}b"
                                       << "ab";
}

void tst_Template::expands()
{
    QFETCH(QString, text);
    const card::Values values{{"one", u"1"}, {"two", u"zwei"}};
    QTEST(textOf(card::expanded(text.toStdU16String(), values, 100)), "expanded");
}

void tst_Template::cutsAnswers_data()
{
    QTest::addColumn<int>("longest");
    QTest::addColumn<QString>("expanded");
    QTest::newRow("whole") << 4 << QString::fromUtf8("[a😀b]abc");
    QTest::newRow("three") << 3 << QString::fromUtf8("[a😀]abc");
    QTest::newRow("not half a pair") << 2 << "[a]ab";
    QTest::newRow("one") << 1 << "[a]a";
    QTest::newRow("none") << 0 << "[]";
}

void tst_Template::cutsAnswers()
{
    QFETCH(int, longest);
    const card::Values values{{"face", u"a😀b"}, {"word", u"abc"}};
    QTEST(textOf(card::expanded(u"[{face}]{word}", values, static_cast<std::size_t>(longest))), "expanded");
}

void tst_Template::answersAreNoTemplates()
{
    const card::Values values{{"one", u"{two}{{"}, {"two", u"never"}};
    QCOMPARE(textOf(card::expanded(u"{one}", values, 100)), QString("{two}{{"));
}

void tst_Template::findsNames_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("names");
    QTest::addColumn<bool>("good");
    QTest::newRow("none") << "a {{b}"
                          << "" << true;
    QTest::newRow("two") << "{a} and {b-2}"
                         << "a b-2" << true;
    QTest::newRow("no end") << "{a} {"
                            << "a" << false;
    QTest::newRow("no name") << "{}"
                             << "" << false;
    QTest::newRow("brace in a name") << "{a{b}"
                                     << "a{b" << false;
}

void tst_Template::findsNames()
{
    QFETCH(QString, text);
    std::string fault;
    QStringList names;
    for (const std::string &name : card::namesIn(text.toStdU16String(), &fault))
        names << QString::fromStdString(name);
    QTEST(names.join(' '), "names");
    QTEST(fault.empty(), "good");
}

void tst_Template::knowsNames_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("good");
    QTest::newRow("letter") << QByteArray("a") << true;
    QTest::newRow("all that is allowed") << QByteArray("aZ-9_") << true;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("digit first") << QByteArray("9a") << false;
    QTest::newRow("hyphen first") << QByteArray("-a") << false;
    QTest::newRow("blank") << QByteArray("a b") << false;
    QTest::newRow("other letters") << QByteArray("я") << false;
}

void tst_Template::knowsNames()
{
    QFETCH(QByteArray, name);
    QTEST(card::isAnswerName(name.toStdString()), "good");
}

QTEST_APPLESS_MAIN(tst_Template)
#include "tst_Template.moc"
