#include "support/LogCapture.h"
#include "support/ModalDriver.h"
#include "support/World.h"

#include <QtTest/QtTest>
#include <QtWidgets/QDialog>
#include <QtWidgets/QMessageBox>

using support::ModalDriver;

/// The helpers that drive modal windows and catch messages.
class tst_ModalDriver : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void stepsAreTakenInOrder();
    void stepMayOpenAModalWindowItself();
    void stepWaitsForItsClass();
    void endOfTheBudgetHidesEveryModalWindow();
    void stepThatNeverCameIsNotDone();
    void leftoversNameAForgottenWidget();
    void messagesAreCapturedAndTheHandlerComesBack();
    void debugOutputCanBeSwitchedOff();
};

void tst_ModalDriver::cleanup()
{
    QCOMPARE(support::leftovers(), QStringList());
}

void tst_ModalDriver::stepsAreTakenInOrder()
{
    ModalDriver driver;
    driver.on<QDialog>([](QDialog *dialog) { dialog->done(7); });
    driver.on<QDialog>([](QDialog *dialog) { dialog->done(8); });
    QDialog first, second;
    QCOMPARE(first.exec(), 7);
    QVERIFY(!driver.isDone());
    QCOMPARE(second.exec(), 8);
    QVERIFY(driver.isDone());
    QVERIFY(!driver.timedOut());
}

void tst_ModalDriver::stepMayOpenAModalWindowItself()
{
    ModalDriver driver;
    int inner = 0;
    driver.on<QDialog>([&](QDialog *dialog) {
        QMessageBox box(dialog);
        inner = box.exec();
        dialog->done(1);
    });
    driver.on<QMessageBox>([](QMessageBox *box) { box->done(5); });
    QDialog outer;
    QCOMPARE(outer.exec(), 1);
    QCOMPARE(inner, 5);
    QVERIFY(driver.isDone());
}

void tst_ModalDriver::stepWaitsForItsClass()
{
    ModalDriver driver(300);
    bool taken = false;
    driver.on<QMessageBox>([&](QMessageBox *) { taken = true; });
    QDialog dialog;
    dialog.exec(); // the budget ends it
    QVERIFY(!taken);
    QVERIFY(driver.timedOut());
    QVERIFY(!driver.isDone());
}

void tst_ModalDriver::endOfTheBudgetHidesEveryModalWindow()
{
    ModalDriver driver(200);
    int returned = 0;
    QTimer::singleShot(20, [&] {
        QDialog inner;
        inner.exec();
        ++returned;
    });
    QDialog outer;
    outer.exec();
    ++returned;
    QCOMPARE(returned, 2);
    QVERIFY(driver.timedOut());
}

void tst_ModalDriver::stepThatNeverCameIsNotDone()
{
    ModalDriver driver(50);
    driver.on<QDialog>([](QDialog *) {});
    QTRY_VERIFY(driver.timedOut());
    QVERIFY(!driver.isDone());
}

void tst_ModalDriver::leftoversNameAForgottenWidget()
{
    QWidget forgotten;
    forgotten.setObjectName("forgotten");
    QCOMPARE(support::leftovers(), QStringList("top-level widget QWidget 'forgotten'"));
}

void tst_ModalDriver::messagesAreCapturedAndTheHandlerComesBack()
{
    const QtMessageHandler before = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(before);
    {
        support::LogCapture log;
        qDebug("at 01:02:03:004: done");
        qWarning("careful");
        QCOMPARE(log.debug(), QStringList("at <time>: done"));
        QCOMPARE(log.warnings(), QStringList("careful"));
        QCOMPARE(log.lines().size(), 2);
        QCOMPARE(log.lines().first().text, QString("at 01:02:03:004: done"));
    }
    const QtMessageHandler after = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(after);
    QVERIFY(before == after);
}

void tst_ModalDriver::debugOutputCanBeSwitchedOff()
{
    support::LogCapture log;
    log.setDebugOutput(false);
    qDebug("unseen");
    QCOMPARE(log.lines().size(), 0);
    log.setDebugOutput(true);
    qDebug("seen");
    QCOMPARE(log.debug(), QStringList("seen"));
}

QTEST_MAIN(tst_ModalDriver)
#include "tst_ModalDriver.moc"
