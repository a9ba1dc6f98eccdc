#include "dashboard/GlobalKeys.h"

#include <QDialog>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>
#include <QWindow>

#include <memory>

using dashboard::GlobalKeys;

class tst_GlobalKeys : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void keysAreRelayed_data();
    void keysAreRelayed();
    void modalWindowDoesNotBlockThem();
    void grabbedKeyboardDoesNotBlockThem();
    void heldKeyCountsOnce();
    void nothingIsHeardAfterwards();

private:
    std::unique_ptr<QWidget> m_window;
    QLineEdit *m_edit = nullptr;
};

void tst_GlobalKeys::init()
{
    m_window.reset(new QWidget);
    m_edit = new QLineEdit(m_window.get());
    m_window->resize(200, 60);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
    m_edit->setFocus();
}

void tst_GlobalKeys::cleanup()
{
    m_window.reset();
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void tst_GlobalKeys::keysAreRelayed_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("modifiers");
    QTest::addColumn<int>("languages");
    QTest::addColumn<int>("devices");
    QTest::addColumn<int>("inspectors");
    QTest::addColumn<QString>("typed");

    QTest::newRow("F8") << int(Qt::Key_F8) << int(Qt::NoModifier) << 1 << 0 << 0 << "";
    QTest::newRow("F9") << int(Qt::Key_F9) << int(Qt::NoModifier) << 0 << 1 << 0 << "";
    QTest::newRow("F12") << int(Qt::Key_F12) << int(Qt::NoModifier) << 0 << 0 << 1 << "";
    QTest::newRow("another one") << int(Qt::Key_F7) << int(Qt::NoModifier) << 0 << 0 << 0 << "";
    QTest::newRow("with a modifier") << int(Qt::Key_F8) << int(Qt::AltModifier) << 0 << 0 << 0 << "";
    QTest::newRow("letter") << int(Qt::Key_A) << int(Qt::NoModifier) << 0 << 0 << 0 << "a";
}

void tst_GlobalKeys::keysAreRelayed()
{
    QFETCH(int, key);
    QFETCH(int, modifiers);
    GlobalKeys keys;
    QSignalSpy languages(&keys, &GlobalKeys::languageAsked);
    QSignalSpy devices(&keys, &GlobalKeys::deviceAsked);
    QSignalSpy inspectors(&keys, &GlobalKeys::inspectorAsked);
    QTest::keyClick(m_window->windowHandle(), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
    QTEST(languages.count(), "languages");
    QTEST(devices.count(), "devices");
    QTEST(inspectors.count(), "inspectors");
    QTEST(m_edit->text(), "typed");
}

void tst_GlobalKeys::modalWindowDoesNotBlockThem()
{
    GlobalKeys keys;
    QSignalSpy languages(&keys, &GlobalKeys::languageAsked);
    QDialog dialog(m_window.get());
    dialog.open();
    QVERIFY(QTest::qWaitForWindowActive(&dialog));
    QTest::keyClick(dialog.windowHandle(), Qt::Key_F8);
    QCOMPARE(languages.count(), 1);
}

void tst_GlobalKeys::grabbedKeyboardDoesNotBlockThem()
{
    GlobalKeys keys;
    QSignalSpy devices(&keys, &GlobalKeys::deviceAsked);
    m_edit->grabKeyboard();
    QTest::keyClick(m_window->windowHandle(), Qt::Key_F9);
    m_edit->releaseKeyboard();
    QCOMPARE(devices.count(), 1);
}

void tst_GlobalKeys::heldKeyCountsOnce()
{
    GlobalKeys keys;
    QSignalSpy languages(&keys, &GlobalKeys::languageAsked);
    QKeyEvent press(QEvent::KeyPress, Qt::Key_F8, Qt::NoModifier);
    QKeyEvent repeat(QEvent::KeyPress, Qt::Key_F8, Qt::NoModifier, QString(), true);
    QCoreApplication::sendEvent(m_edit, &press);
    QCoreApplication::sendEvent(m_edit, &repeat);
    QCOMPARE(languages.count(), 1);
}

void tst_GlobalKeys::nothingIsHeardAfterwards()
{
    std::unique_ptr<GlobalKeys> keys(new GlobalKeys);
    int count = 0;
    connect(keys.get(), &GlobalKeys::languageAsked, [&count] { ++count; });
    QTest::keyClick(m_window->windowHandle(), Qt::Key_F8);
    keys.reset();
    QTest::keyClick(m_window->windowHandle(), Qt::Key_F8);
    QCOMPARE(count, 1);
}

QTEST_MAIN(tst_GlobalKeys)
#include "tst_GlobalKeys.moc"
