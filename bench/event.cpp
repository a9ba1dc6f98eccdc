// One event, from the library's callback to a slot, against a bare signal of Qt.
#include "STKPlugin/STKLogic.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtCore/QObject>

#include <benchmark/benchmark.h>

namespace
{

class Source : public QObject
{
    Q_OBJECT

signals:
    void raised();
};

class Sink : public QObject
{
    Q_OBJECT

public:
    int count = 0;

public slots:
    void take() { ++count; }
};

void deliver(benchmark::State &state, Sink *sink, Qt::ConnectionType type)
{
    if (type == Qt::QueuedConnection)
        QCoreApplication::sendPostedEvents(); // those of one receiver alone would leave their places in Qt's queue
    benchmark::DoNotOptimize(sink->count);
    Q_UNUSED(state)
}

void signalBare(benchmark::State &state, Qt::ConnectionType type)
{
    Source source;
    Sink sink;
    QObject::connect(&source, SIGNAL(raised()), &sink, SLOT(take()), type);
    for (auto _ : state) {
        emit source.raised();
        deliver(state, &sink, type);
    }
}

void event(benchmark::State &state, Qt::ConnectionType type)
{
    STKLogic *logic = STKLogic::CreateInstance();
    logic->UpdateCBReturnVal(true);
    Sink sink;
    QObject::connect(logic, SIGNAL(STKDisplayText()), &sink, SLOT(take()), type);
    MDSVStkNotifyData notify = {};
    notify.enStkType = MDSV_STKTYPE_DISPLAY_TEXT;
    for (auto _ : state) {
        STKLogic::OnSTKEventCB(0, &notify);
        deliver(state, &sink, type);
    }
}

void eventFloorDirect(benchmark::State &state)
{
    signalBare(state, Qt::DirectConnection);
}

void eventDirect(benchmark::State &state)
{
    event(state, Qt::DirectConnection);
}

void eventFloorQueued(benchmark::State &state)
{
    signalBare(state, Qt::QueuedConnection);
}

void eventQueued(benchmark::State &state)
{
    event(state, Qt::QueuedConnection);
}

BENCHMARK(eventFloorDirect);
BENCHMARK(eventDirect);
BENCHMARK(eventFloorQueued);
BENCHMARK(eventQueued);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules("*.debug=false");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    STKLogic::DestroyInst();
    return 0;
}

#include "event.moc"
