// Fetching a menu, against the bare loop that builds the same list of texts.
#include "SdkStub.h"

#include "STKPlugin/STKLogic.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

#include <benchmark/benchmark.h>

namespace
{

QString textOf(const uint16_t *units)
{
    int length = 0;
    while (length < MDSV_STK_TEXT_UNITS && units[length] != 0)
        ++length;
    return QString(reinterpret_cast<const QChar *>(units), length);
}

struct Menu {
    Menu() { record.pItemList = &list; }

    QList<StkItemClass> list;
    StkMenuItems record;
};

void sizes(benchmark::internal::Benchmark *benchmark)
{
    benchmark->ArgNames({"items", "characters"});
    for (const int items : {1, 16, 64, 255})
        for (const int characters : {1, 40, 255})
            benchmark->Args({items, characters});
}

void fetch(benchmark::State &state, bool (STKLogic::*request)(StkMenuItems *))
{
    stub::setMenu(int(state.range(0)), int(state.range(1)));
    STKLogic *logic = STKLogic::CreateInstance();
    Menu menu;
    for (auto _ : state) {
        if (!(logic->*request)(&menu.record))
            state.SkipWithError("the menu was refused");
        benchmark::DoNotOptimize(menu.list);
    }
}

void menuMain(benchmark::State &state)
{
    fetch(state, &STKLogic::GetMainMenu);
}

void menuSub(benchmark::State &state)
{
    fetch(state, &STKLogic::GetSubMenu);
}

void menuFloor(benchmark::State &state)
{
    stub::setMenu(int(state.range(0)), int(state.range(1)));
    const MDSVStkMenuItem *items = stub::menuItems();
    Menu menu;
    for (auto _ : state) {
        menu.list.clear();
        menu.record.strTitle = textOf(stub::menuTitle());
        for (int i = 0; i < int(state.range(0)); ++i) {
            const StkItemClass item = {items[i].sItemId, textOf(items[i].usText)};
            menu.list.append(item);
        }
        benchmark::DoNotOptimize(menu.list);
    }
}

BENCHMARK(menuFloor)->Apply(sizes);
BENCHMARK(menuMain)->Apply(sizes);
BENCHMARK(menuSub)->Apply(sizes);

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
