#include "sdk/PcscNews.h"

#include <QString>
#include <QTest>

/// What of the things that happen to a reader and its card is news, and when.
class tst_PcscNews : public QObject
{
    Q_OBJECT

private slots:
    void news_data();
    void news();
    void dueIsTheNextTry();
};

namespace
{

using sdk::PcscNews;
using std::chrono::milliseconds;

constexpr milliseconds retry{1000};

/// Plays a story word by word, and gives it back with the news in it:
///     card N, empty      what the reader shows
///     up, refused, mute  a reset() succeeds, fails for now, fails for good
///     try                a reset() begins
///     lost               a transmit() has failed
///     begin, end         a call to the card
///     later              the time for another try has come
QString told(const QString &story)
{
    PcscNews news{retry};
    PcscNews::Clock::time_point now{};
    QStringList result;
    for (const QString &word : story.split(", ", Qt::SkipEmptyParts)) {
        if (word.startsWith("card "))
            news.see(true, word.mid(5).toUInt());
        else if (word == "empty")
            news.see(false, 0);
        else if (word == "try")
            news.resetBegins();
        else if (word == "up")
            news.resetDone(true, false, now);
        else if (word == "refused")
            news.resetDone(false, true, now);
        else if (word == "mute")
            news.resetDone(false, false, now);
        else if (word == "lost")
            news.lose(now);
        else if (word == "begin")
            news.begin();
        else if (word == "end")
            news.end();
        else if (word == "later")
            now += retry;
        else
            return "not known: " + word;
        while (const auto one = news.next(now))
            result << (*one == PcscNews::News::Gone ? "GONE" : "THERE");
    }
    return result.join(' ');
}

} // namespace

void tst_PcscNews::news_data()
{
    QTest::addColumn<QString>("story");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const char *story, const char *expected) {
        QTest::newRow(name) << QString(story) << QString(expected);
    };
    row("nobody has asked yet", "empty, card 1, empty, card 3, later", "");
    row("card of before the reset", "card 1, try, up, later", "");
    row("reset before the first look", "try, up, card 1, later", "");
    row("reset during the first look", "try, card 1, up, later", "");
    row("card comes", "empty, try, mute, card 1", "THERE");
    row("card comes before the first look", "try, mute, card 1", "THERE");
    row("card comes once", "empty, try, mute, card 1, card 1, later", "THERE");
    row("card goes", "card 1, try, up, empty, later", "GONE");
    row("card goes and comes", "card 1, try, up, empty, card 3", "GONE THERE");
    row("quicker than looks", "card 1, try, up, card 3", "GONE THERE");
    row("goes again before it is asked", "card 1, try, up, empty, card 3, empty, card 5", "GONE THERE THERE");
    row("every card", "card 1, try, up, empty, card 3, try, up, empty, card 5", "GONE THERE GONE THERE");
    row("goes in the reset", "card 1, try, empty, up", "GONE");
    row("another one in the reset", "card 1, try, card 3, up", "GONE THERE");
    row("goes in a reset that fails", "card 1, try, empty, mute, card 3", "THERE");
    row("mute card", "empty, try, mute, card 1, try, mute, later, later", "THERE");
    row("mute card taken out", "card 1, try, mute, empty, card 3", "THERE");
    row("held by another program", "card 1, try, refused", "");
    row("held, and tried again", "card 1, try, refused, later, try, refused, later", "THERE THERE");
    row("nothing to try without a card", "card 1, try, refused, empty, later", "");
    row("lost", "card 1, try, up, lost", "GONE");
    row("lost, and tried again", "card 1, try, up, lost, later", "GONE THERE");
    row("lost twice is gone once", "card 1, try, up, lost, lost", "GONE");
    row("lost since it was taken out", "card 1, try, up, lost, empty, card 3", "GONE THERE");
    row("taken out, which a call notices later", "card 1, try, up, empty, lost, card 3", "GONE THERE");
    row("hangs", "card 1, try, up, begin, lost, later, later", "GONE");
    row("hangs no more", "card 1, try, up, begin, lost, later, end", "GONE THERE");
    row("hangs and is taken out", "card 1, try, up, begin, lost, empty, card 3, later", "GONE");
    row("reset takes the news away", "card 1, try, up, lost, try, up, later", "GONE");
}

void tst_PcscNews::news()
{
    QFETCH(QString, story);
    QTEST(told(story), "expected");
}

void tst_PcscNews::dueIsTheNextTry()
{
    const PcscNews::Clock::time_point start{};
    PcscNews news{retry};
    QVERIFY(!news.due());
    news.see(true, 1);
    news.resetBegins();
    news.resetDone(true, false, start);
    QVERIFY(!news.due());
    news.lose(start);
    QVERIFY(news.due() == start + retry);
    QVERIFY(news.next(start) == PcscNews::News::Gone);
    QVERIFY(!news.next(start + retry - milliseconds(1)));
    news.begin();
    QVERIFY(!news.due());
    news.end();
    QVERIFY(news.due() == start + retry);
    QVERIFY(news.next(start + retry) == PcscNews::News::There);
    QVERIFY(!news.due());
}

QTEST_GUILESS_MAIN(tst_PcscNews)
#include "tst_PcscNews.moc"
