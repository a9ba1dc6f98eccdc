// Whole exchanges in one process, from the command's APDU to the response's, through library, plug-in and window. The
// card takes no time, and the user answers at once.
#include "BenchCard.h"

#include "STKPlugin/STKDialog.h"
#include "core/CoreControl.h"
#include "sdk/SdkControl.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QLoggingCategory>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMessageBox>

#include <benchmark/benchmark.h>

namespace
{

const int LIMIT_MS = 10000;

/// Clicks OK on each message box as soon as it is there.
class QuickUser : public QObject
{
public:
    QuickUser() { qApp->installEventFilter(this); }

    bool eventFilter(QObject *object, QEvent *event) override
    {
        auto *box = event->type() == QEvent::Show ? qobject_cast<QMessageBox *>(object) : nullptr;
        if (box)
            QMetaObject::invokeMethod(box->buttons().value(0), "click", Qt::QueuedConnection);
        return false;
    }
};

/// Under this name tools/bench finds what it profiles.
[[gnu::noinline]] bool waitFor(const std::atomic<long> &answered, long number)
{
    QElapsedTimer clock;
    clock.start();
    while (answered < number && !clock.hasExpired(LIMIT_MS))
        QCoreApplication::processEvents();
    return answered >= number;
}

void answer(benchmark::State &state, const cat::Bytes &command)
{
    QWidget host;
    host.resize(800, 600);
    host.show();
    core::setMainWindow(&host);
    QRect rect = host.geometry();
    STKDialog *dialog = STKDialog::Instance();
    dialog->ShowStkDlg(&host, rect);
    QuickUser user;
    std::atomic<long> answered{0};
    sdk::attachDevice(std::make_unique<BenchCard>(benchcard::menu(), command, &answered));
    if (!waitFor(answered, 2))
        state.SkipWithError("the card was not answered");
    for (auto _ : state) {
        if (!waitFor(answered, answered + 1))
            state.SkipWithError("the card was not answered");
    }
    sdk::detachDevice();
    dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    sdk::shutDown();
}

/// The window acknowledges it and shows nothing of its own.
void exchangeIdleText(benchmark::State &state)
{
    answer(state, benchcard::idleText());
}

/// A message box comes up, is painted, and goes when OK is clicked.
void exchangeText(benchmark::State &state)
{
    answer(state, benchcard::text());
}

BENCHMARK(exchangeIdleText)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(exchangeText)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QLoggingCategory::setFilterRules("*.debug=false");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
