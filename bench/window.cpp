// From opening the window to its first paint, against a bare dialog with a table of the same rows.
#include "SdkStub.h"

#include "STKPlugin/STKDialog.h"
#include "core/CoreControl.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QLoggingCategory>
#include <QtWidgets/QApplication>
#include <QtWidgets/QTableWidget>

#include <benchmark/benchmark.h>

namespace
{

const int LIMIT_MS = 5000;

/// Sees the first paint of a table's rows.
class FirstPaint : public QObject
{
public:
    FirstPaint() { qApp->installEventFilter(this); }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && object->parent() && qobject_cast<QTableWidget *>(object->parent()) &&
            object->objectName() == QLatin1String("qt_scrollarea_viewport"))
            m_seen = true;
        return false;
    }

    bool wait()
    {
        QElapsedTimer clock;
        clock.start();
        while (!m_seen && !clock.hasExpired(LIMIT_MS))
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return m_seen;
    }

private:
    bool m_seen = false;
};

void endAll(QDialog *dialog)
{
    dialog->close();
    delete dialog;
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
}

QDialog *openPlugin(QWidget *host)
{
    QRect rect = host->geometry();
    STKDialog::Instance()->ShowStkDlg(host, rect);
    return host->findChild<QDialog *>("STKPlugin_Stkdialog");
}

QDialog *openBare(QWidget *host)
{
    auto *dialog = new QDialog(host);
    dialog->setFixedSize(345, 400);
    auto *table = new QTableWidget(dialog);
    table->setFixedSize(320, 300);
    table->setColumnCount(1);
    const MDSVStkMenuItem *items = stub::menuItems();
    const int rows = stub::menuSize();
    table->setRowCount(rows);
    for (int i = 0; i < rows; ++i)
        table->setItem(i, 0, new QTableWidgetItem(QString::fromUtf16(items[i].usText)));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setVisible(true);
    return dialog;
}

void show(benchmark::State &state, QDialog *(*open)(QWidget *))
{
    stub::setMenu(int(state.range(0)), 20);
    QWidget host;
    host.resize(800, 600);
    host.show();
    core::setMainWindow(&host);
    QCoreApplication::processEvents();
    for (auto _ : state) {
        FirstPaint paint;
        QElapsedTimer clock;
        clock.start();
        QDialog *dialog = open(&host);
        if (!paint.wait())
            state.SkipWithError("the window was not painted");
        state.SetIterationTime(double(clock.nsecsElapsed()) / 1e9);
        endAll(dialog);
    }
}

void windowFloor(benchmark::State &state)
{
    show(state, openBare);
}

void windowOpen(benchmark::State &state)
{
    show(state, openPlugin);
}

BENCHMARK(windowFloor)->ArgName("items")->Arg(16)->Arg(255)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(windowOpen)->ArgName("items")->Arg(16)->Arg(255)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QLoggingCategory::setFilterRules("*.debug=false");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    STKDialog::Destroy();
    return 0;
}
