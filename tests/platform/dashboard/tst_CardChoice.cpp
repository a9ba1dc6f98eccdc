#include "dashboard/CardChoice.h"

#include <QTest>

using namespace dashboard;

class tst_CardChoice : public QObject
{
    Q_OBJECT

private slots:
    void addressesAreUnderstood_data();
    void addressesAreUnderstood();
    void profileIsAProfileWhateverItIsCalled_data();
    void profileIsAProfileWhateverItIsCalled();
    void placesHaveWords();
    void everyTurnHasWords();
};

void tst_CardChoice::addressesAreUnderstood_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("isReal");
    QTest::addColumn<QString>("words");

    QTest::newRow("only reader") << "pcsc" << true << "the card in the reader";
    QTest::newRow("reader") << "pcsc:My: reader" << true << "the card in the reader \"My: reader\"";
    QTest::newRow("line") << "modem:/dev/ttyUSB2" << true << "the card in the modem at /dev/ttyUSB2";
    QTest::newRow("port") << "modem:localhost:7000" << true << "the card in the modem at localhost:7000";
    QTest::newRow("profile") << "profiles/demo.yaml" << false << "the card of demo.yaml";
    QTest::newRow("profile that begins like a reader") << "pcscd.yaml" << false << "the card of pcscd.yaml";
    QTest::newRow("profile in a folder") << "./pcsc" << false << "the card of pcsc";
}

void tst_CardChoice::addressesAreUnderstood()
{
    QFETCH(QString, address);
    QTEST(isRealCard(address), "isReal");
    QTEST(cardWords(address), "words");
}

void tst_CardChoice::profileIsAProfileWhateverItIsCalled_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("address");
    QTest::newRow("usual") << "a/b.yaml"
                           << "a/b.yaml";
    QTest::newRow("like the only reader") << "pcsc"
                                          << "./pcsc";
    QTest::newRow("like a modem") << "modem:x"
                                  << "./modem:x";
}

void tst_CardChoice::profileIsAProfileWhateverItIsCalled()
{
    QFETCH(QString, file);
    QTEST(addressOfProfile(file), "address");
}

void tst_CardChoice::placesHaveWords()
{
    QCOMPARE(placeWords("pcsc:My reader"), QString("Card in a reader"));
    QCOMPARE(placeWords("modem:/dev/ttyUSB2"), QString("Card in a modem"));
    QCOMPARE(placeWords("profiles/demo.yaml"), QString());
    QCOMPARE(missingCardWords("pcsc"), QString("Insert a card"));
    QCOMPARE(missingCardWords("modem:/dev/ttyUSB2"), QString("Plug the modem in"));
    QCOMPARE(missingCardWords("profiles/demo.yaml"), QString("Insert a card"));
}

void tst_CardChoice::everyTurnHasWords()
{
    QCOMPARE(turnWords(sdk::Turn::NoCard), QString("no card"));
    QCOMPARE(turnWords(sdk::Turn::Rest), QString("at rest"));
    QCOMPARE(turnWords(sdk::Turn::Card), QString("waiting for the card"));
    QCOMPARE(turnWords(sdk::Turn::User), QString("waiting for the user"));
    QCOMPARE(turnWords(sdk::Turn::Network), QString("waiting for the network"));
    QCOMPARE(turnWords(static_cast<sdk::Turn>(77)), QString("77"));
}

QTEST_GUILESS_MAIN(tst_CardChoice)
#include "tst_CardChoice.moc"
