// One debug line of the plug-in, switched off and on.
#include "STKPlugin/STKLog.h"

#include <benchmark/benchmark.h>

#define STK_SOURCE "STKLogic"

namespace
{

void nowhere(QtMsgType, const QMessageLogContext &, const QString &) {}

void line(benchmark::State &state, const char *rules)
{
    QLoggingCategory::setFilterRules(rules);
    for (auto _ : state)
        STK_LOG_START();
}

void logOff(benchmark::State &state)
{
    line(state, "*.debug=false");
}

/// Formatted, and then dropped by the host's message handler.
void logOn(benchmark::State &state)
{
    line(state, "*.debug=true");
}

BENCHMARK(logOff);
BENCHMARK(logOn);

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(nowhere);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
