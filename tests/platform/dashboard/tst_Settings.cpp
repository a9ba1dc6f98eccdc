#include "dashboard/Settings.h"

#include <QComboBox>
#include <QSplitter>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QVBoxLayout>
#include <QtCore/QFile>

#include <memory>

using namespace dashboard;

class tst_Settings : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void nothingIsChosenAtFirst();
    void choicesAreKept();
    void windowIsKept();
    void uselessFileLeavesTheWindowAsItIs();

private:
    static std::unique_ptr<QWidget> window();

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_file;
};

void tst_Settings::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_file = m_folder->filePath("settings.ini");
}

void tst_Settings::cleanup()
{
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

std::unique_ptr<QWidget> tst_Settings::window()
{
    auto made = std::make_unique<QWidget>();
    made->setObjectName("Window");
    auto *layout = new QVBoxLayout(made.get());
    auto *box = new QComboBox;
    box->setObjectName("box");
    box->addItems({"one", "two", "three"});
    auto *tabs = new QTabWidget;
    tabs->setObjectName("tabs");
    tabs->addTab(new QWidget, "one");
    tabs->addTab(new QWidget, "two");
    auto *splitter = new QSplitter;
    splitter->setObjectName("splitter");
    splitter->addWidget(new QWidget);
    splitter->addWidget(new QWidget);
    for (QWidget *part : {static_cast<QWidget *>(box), static_cast<QWidget *>(tabs), static_cast<QWidget *>(splitter)})
        layout->addWidget(part);
    made->resize(400, 300);
    made->show();
    return made;
}

void tst_Settings::nothingIsChosenAtFirst()
{
    const Settings settings(m_file);
    QCOMPARE(settings.language(), QString());
    QVERIFY(!settings.isDark());
    QVERIFY(!settings.isInspectorOpen());
    QVERIFY(!QFile::exists(m_file));
}

void tst_Settings::choicesAreKept()
{
    {
        Settings settings(m_file);
        settings.setCard("pcsc:My reader");
        settings.setLanguage("de");
        settings.setDark(true);
        settings.setInspectorOpen(true);
    }
    const Settings settings(m_file);
    QCOMPARE(settings.card(), QString("pcsc:My reader"));
    QCOMPARE(settings.language(), QString("de"));
    QVERIFY(settings.isDark());
    QVERIFY(settings.isInspectorOpen());
}

void tst_Settings::windowIsKept()
{
    {
        const auto before = window();
        before->resize(640, 420);
        before->findChild<QComboBox *>()->setCurrentIndex(2);
        before->findChild<QTabWidget *>()->setCurrentIndex(1);
        before->findChild<QSplitter *>("splitter")->setSizes({100, 400});
        Settings(m_file).keep(before.get(), {"box"});
    }
    const auto after = window();
    Settings(m_file).restore(after.get(), {"box"});
    QCOMPARE(after->size(), QSize(640, 420));
    QCOMPARE(after->findChild<QComboBox *>()->currentIndex(), 2);
    QCOMPARE(after->findChild<QTabWidget *>()->currentIndex(), 1);
    const QList<int> sizes = after->findChild<QSplitter *>("splitter")->sizes();
    QVERIFY2(sizes.at(0) * 3 < sizes.at(1), qPrintable(QString("%1 and %2").arg(sizes.at(0)).arg(sizes.at(1))));
}

void tst_Settings::uselessFileLeavesTheWindowAsItIs()
{
    QFile file(m_file);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Window]\ngeometry=rubbish\nsplitter=rubbish\nbox=17\ntabs=-5\n");
    file.close();
    const auto shown = window();
    Settings(m_file).restore(shown.get(), {"box", "missing"});
    QCOMPARE(shown->size(), QSize(400, 300));
    QCOMPARE(shown->findChild<QComboBox *>()->currentIndex(), 0);
    QCOMPARE(shown->findChild<QTabWidget *>()->currentIndex(), 0);
}

QTEST_MAIN(tst_Settings)
#include "tst_Settings.moc"
