#include "core/Change.h"
#include "core/CoreControl.h"

#include <QtCore/QFile>
#include <QtCore/QXmlStreamReader>
#include <QtTest/QtTest>

class tst_Change : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void speaksEnglishAtFirst();
    void textInEachLanguage_data();
    void textInEachLanguage();
    void unknownKeyComesBack_data();
    void unknownKeyComesBack();
    void unknownLanguageChangesNothing_data();
    void unknownLanguageChangesNothing();
    void everyLanguageHasEveryKey();
};

namespace
{

/// "group/key" of each message of a language file, in order; a message without a text is left out.
QStringList keysIn(const QString &code)
{
    QFile file(QString("%1/core_%2.ts").arg(STK_CORE_TRANSLATIONS, code));
    QStringList keys;
    if (!file.open(QIODevice::ReadOnly)) {
        return keys;
    }
    QXmlStreamReader xml(&file);
    QString group, key;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement) {
            continue;
        }
        if (xml.name() == QLatin1String("name")) {
            group = xml.readElementText();
        } else if (xml.name() == QLatin1String("source")) {
            key = xml.readElementText();
        } else if (xml.name() == QLatin1String("translation") && !xml.readElementText().isEmpty()) {
            keys << group + "/" + key;
        }
    }
    return xml.hasError() ? QStringList() : keys;
}

} // namespace

void tst_Change::cleanup()
{
    QVERIFY(core::setLanguage("en"));
}

void tst_Change::speaksEnglishAtFirst()
{
    QCOMPARE(core::language(), QString("en"));
    QCOMPARE(core::languages(), QStringList() << "en"
                                              << "de"
                                              << "ru");
}

void tst_Change::textInEachLanguage_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("english");
    QTest::addColumn<QString>("german");
    QTest::addColumn<QString>("russian");
    const struct {
        const char *group, *key, *english, *german, *russian;
    } rows[] = {
        {"STKPlugin", "IDS_STK_BTN_BACK", "Back", "Zurück", "Назад"},
        {"STKPlugin", "IDS_STK_BTN_SELECT", "Select", "Wählen", "Выбрать"},
        {"STKPlugin", "IDS_STK_BTN_CLOSE", "Close", "Schließen", "Закрыть"},
        {"STKPlugin", "IDS_STK_BTN_OK", "OK", "OK", "ОК"},
        {"STKPlugin", "IDS_STK_BTN_CANCEL", "Cancel", "Abbrechen", "Отмена"},
        {"STKPlugin", "IDS_STK_MSG_PROMPT", "Information", "Hinweis", "Сообщение"},
        {"STKPlugin", "IDS_STK_MSG_INPUTFAILED", "The SIM card did not accept your input.",
         "Die SIM-Karte hat Ihre Eingabe nicht angenommen.", "SIM-карта не приняла введённые данные."},
        {"XFramePlugin", "IDS_OK", "OK", "OK", "ОК"},
        {"XFramePlugin", "IDS_CANCEL", "Cancel", "Abbrechen", "Отмена"},
        {"XFramePlugin", "IDS_YES", "Yes", "Ja", "Да"},
        {"XFramePlugin", "IDS_NO", "No", "Nein", "Нет"},
    };
    for (const auto &row : rows) {
        QTest::newRow(row.key) << row.group << row.key << row.english << row.german << row.russian;
    }
}

void tst_Change::textInEachLanguage()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QTEST(Change::tr(key, group), "english");
    QVERIFY(core::setLanguage("de"));
    QTEST(Change::tr(key, group), "german");
    QVERIFY(core::setLanguage("ru"));
    QTEST(Change::tr(key, group), "russian");
    QVERIFY(core::setLanguage("en"));
    QTEST(Change::tr(key, group), "english");
}

void tst_Change::unknownKeyComesBack_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("group");
    QTest::newRow("no such key") << "IDS_NOWHERE"
                                 << "STKPlugin";
    QTest::newRow("no such group") << "IDS_OK"
                                   << "NoPlugin";
    QTest::newRow("key of another group") << "IDS_YES"
                                          << "STKPlugin";
    QTest::newRow("group first by mistake") << "XFramePlugin"
                                            << "IDS_OK";
    QTest::newRow("no group") << "IDS_OK"
                              << "";
    QTest::newRow("not ASCII") << QString::fromUtf8("ключ") << "STKPlugin";
}

void tst_Change::unknownKeyComesBack()
{
    QFETCH(QString, key);
    QFETCH(QString, group);
    for (const QString &code : core::languages()) {
        QVERIFY(core::setLanguage(code));
        QCOMPARE(Change::tr(key, group), key);
    }
}

void tst_Change::unknownLanguageChangesNothing_data()
{
    QTest::addColumn<QString>("code");
    QTest::newRow("no such language") << "xx";
    QTest::newRow("empty") << "";
    QTest::newRow("with country") << "de_DE";
    QTest::newRow("path") << "../core_de";
}

void tst_Change::unknownLanguageChangesNothing()
{
    QFETCH(QString, code);
    QVERIFY(core::setLanguage("de"));
    QVERIFY(!core::setLanguage(code));
    QCOMPARE(core::language(), QString("de"));
    QCOMPARE(Change::tr("IDS_YES", "XFramePlugin"), QString("Ja"));
}

void tst_Change::everyLanguageHasEveryKey()
{
    const QStringList english = keysIn("en");
    QCOMPARE(english.size(), 11);
    for (const QString &code : core::languages()) {
        QCOMPARE(keysIn(code), english);
    }
}

QTEST_GUILESS_MAIN(tst_Change)
#include "tst_Change.moc"
