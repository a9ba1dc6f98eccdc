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
    void missingTextFallsBackToEnglish_data();
    void missingTextFallsBackToEnglish();
    void addedLanguageIsRefused_data();
    void addedLanguageIsRefused();
};

namespace
{

const int ownLanguages = 7; // further ones are added by tests below

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
    QCOMPARE(core::languages(), QStringList({"en", "de", "fr", "es", "ru", "zh", "ar"}));
}

void tst_Change::textInEachLanguage_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QStringList>("texts"); // in the order of the languages
    const struct {
        const char *group, *key;
        QStringList texts;
    } rows[] = {
        {"STKPlugin", "IDS_STK_BTN_BACK", {"Back", "Zurück", "Retour", "Atrás", "Назад", "返回", "رجوع"}},
        {"STKPlugin", "IDS_STK_BTN_SELECT", {"Select", "Wählen", "Choisir", "Elegir", "Выбрать", "选择", "اختيار"}},
        {"STKPlugin", "IDS_STK_BTN_CLOSE", {"Close", "Schließen", "Fermer", "Cerrar", "Закрыть", "关闭", "إغلاق"}},
        {"STKPlugin", "IDS_STK_BTN_OK", {"OK", "OK", "OK", "Aceptar", "ОК", "确定", "موافق"}},
        {"STKPlugin", "IDS_STK_BTN_CANCEL", {"Cancel", "Abbrechen", "Annuler", "Cancelar", "Отмена", "取消", "إلغاء"}},
        {"STKPlugin",
         "IDS_STK_MSG_PROMPT",
         {"Information", "Hinweis", "Information", "Información", "Сообщение", "提示", "تنبيه"}},
        {"STKPlugin",
         "IDS_STK_MSG_INPUTFAILED",
         {"The SIM card did not accept your input.", "Die SIM-Karte hat Ihre Eingabe nicht angenommen.",
          "La carte SIM n’a pas accepté votre saisie.", "La tarjeta SIM no ha aceptado los datos introducidos.",
          "SIM-карта не приняла введённые данные.", "SIM 卡未接受您的输入。", "لم تقبل بطاقة SIM ما أدخلته."}},
        {"XFramePlugin", "IDS_OK", {"OK", "OK", "OK", "Aceptar", "ОК", "确定", "موافق"}},
        {"XFramePlugin", "IDS_CANCEL", {"Cancel", "Abbrechen", "Annuler", "Cancelar", "Отмена", "取消", "إلغاء"}},
        {"XFramePlugin", "IDS_YES", {"Yes", "Ja", "Oui", "Sí", "Да", "是", "نعم"}},
        {"XFramePlugin", "IDS_NO", {"No", "Nein", "Non", "No", "Нет", "否", "لا"}},
    };
    for (const auto &row : rows)
        QTest::newRow(row.key) << row.group << row.key << row.texts;
}

void tst_Change::textInEachLanguage()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    QFETCH(QStringList, texts);
    const QStringList codes = core::languages().mid(0, ownLanguages);
    for (int i = 0; i < codes.size(); ++i) {
        QVERIFY(core::setLanguage(codes.at(i)));
        QCOMPARE(core::language(), codes.at(i));
        QCOMPARE(Change::tr(key, group), texts.at(i));
    }
    QVERIFY(core::setLanguage("en"));
    QCOMPARE(Change::tr(key, group), texts.at(0));
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
    for (const QString &code : core::languages().mid(0, ownLanguages)) {
        QCOMPARE(keysIn(code), english);
    }
}

void tst_Change::missingTextFallsBackToEnglish_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("text");
    QTest::newRow("translated") << "STKPlugin"
                                << "IDS_STK_BTN_BACK"
                                << "Indietro";
    QTest::newRow("translated, other group") << "XFramePlugin"
                                             << "IDS_YES" << QString::fromUtf8("Sì");
    QTest::newRow("not translated yet") << "STKPlugin"
                                        << "IDS_STK_BTN_SELECT"
                                        << "Select";
    QTest::newRow("missing") << "STKPlugin"
                             << "IDS_STK_BTN_CLOSE"
                             << "Close";
    QTest::newRow("missing, other group") << "XFramePlugin"
                                          << "IDS_NO"
                                          << "No";
    QTest::newRow("unknown in English") << "STKPlugin"
                                        << "IDS_ONLY_HERE"
                                        << "Solo qui";
    QTest::newRow("unknown in both") << "STKPlugin"
                                     << "IDS_NOWHERE"
                                     << "IDS_NOWHERE";
}

void tst_Change::missingTextFallsBackToEnglish()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    if (!core::languages().contains("it"))
        QVERIFY(core::addLanguage("it", STK_INCOMPLETE_LANGUAGE));
    QCOMPARE(core::languages().last(), QString("it"));
    QVERIFY(core::setLanguage("it"));
    QTEST(Change::tr(key, group), "text");
}

void tst_Change::addedLanguageIsRefused_data()
{
    QTest::addColumn<QString>("code");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("warning");
    QTest::newRow("code of the library's own")
        << "de" << STK_INCOMPLETE_LANGUAGE << "Change: \"de\" is no new language";
    QTest::newRow("no code") << "" << STK_INCOMPLETE_LANGUAGE << "Change: \"\" is no new language";
    QTest::newRow("no such file") << "pt"
                                  << "no-such-file.qm"
                                  << "Change: \"no-such-file.qm\" cannot be read as a compiled language file";
    const QString source = STK_CORE_TRANSLATIONS "/core_de.ts";
    QTest::newRow("not compiled") << "pt" << source
                                  << "Change: \"" + source + "\" cannot be read as a compiled language file";
}

void tst_Change::addedLanguageIsRefused()
{
    QFETCH(QString, code);
    QFETCH(QString, file);
    QFETCH(QString, warning);
    const QStringList before = core::languages();
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!core::addLanguage(code, file));
    QCOMPARE(core::languages(), before);
    QVERIFY(core::setLanguage("de"));
    QCOMPARE(Change::tr("IDS_YES", "XFramePlugin"), QString("Ja"));
}

QTEST_GUILESS_MAIN(tst_Change)
#include "tst_Change.moc"
