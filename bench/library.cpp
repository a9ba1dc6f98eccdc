// Loading the plug-in library, up to its instance, and giving it back.
#include <QtCore/QLoggingCategory>
#include <QtCore/QPluginLoader>
#include <QtWidgets/QApplication>

#include <benchmark/benchmark.h>

namespace
{

void libraryToInstance(benchmark::State &state)
{
    for (auto _ : state) {
        QPluginLoader loader(STK_PLUGIN);
        if (!loader.instance())
            state.SkipWithError(qPrintable(loader.errorString()));
        state.PauseTiming();
        loader.unload();
        state.ResumeTiming();
    }
}

BENCHMARK(libraryToInstance)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QLoggingCategory::setFilterRules("*.debug=false");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
