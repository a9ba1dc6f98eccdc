#include "core/ExtendLineEdit.h"

#include <QtGui/QRegExpValidator>
#include <QtTest/QtTest>

class tst_ExtendLineEdit : public QObject
{
    Q_OBJECT

private slots:
    void isALineEditOfItsParent();
    void typingObeysValidatorAndLength();
};

void tst_ExtendLineEdit::isALineEditOfItsParent()
{
    QWidget parent;
    ExtendLineEdit *field = new ExtendLineEdit(&parent);
    QCOMPARE(field->parentWidget(), &parent);
    QVERIFY(field->inherits("QLineEdit"));
    QCOMPARE(field->text(), QString());
}

void tst_ExtendLineEdit::typingObeysValidatorAndLength()
{
    ExtendLineEdit field(nullptr);
    QRegExpValidator digits(QRegExp("[0-9*+#]*"), nullptr);
    field.setValidator(&digits);
    field.setMaxLength(4);
    QSignalSpy edited(&field, SIGNAL(textEdited(QString)));
    QTest::keyClicks(&field, "1a*b#+9");
    QCOMPARE(field.text(), QString("1*#+"));
    QCOMPARE(edited.count(), 4);
}

QTEST_MAIN(tst_ExtendLineEdit)
#include "tst_ExtendLineEdit.moc"
