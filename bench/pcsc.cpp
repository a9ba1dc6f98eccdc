// One APDU through a real PC/SC service to a card that takes no time, with the channel and with the bare library. Run
// by tools/with-own-pcsc.
#include "cat/Bytes.h"
#include "sdk/SdkControl.h"
#include "support/CardInReader.h"
#include "support/PcscService.h"

#include <benchmark/benchmark.h>

#include <winscard.h>

#include <cstdio>
#include <cstdlib>

namespace
{

const cat::Bytes status = {0x80, 0xF2, 0x00, 0x0C, 0x00};

void pcscFloor(benchmark::State &state)
{
    SCARDCONTEXT context = 0;
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, nullptr, nullptr, &context) != SCARD_S_SUCCESS ||
        SCardConnect(context, PcscService::readerName, SCARD_SHARE_EXCLUSIVE, SCARD_PROTOCOL_T0, &card, &protocol) !=
            SCARD_S_SUCCESS) {
        state.SkipWithError("no card");
        return;
    }
    for (auto _ : state) {
        BYTE answer[258];
        DWORD size = sizeof answer;
        if (SCardTransmit(card, SCARD_PCI_T0, status.data(), status.size(), nullptr, answer, &size) !=
                SCARD_S_SUCCESS ||
            size != 2) {
            state.SkipWithError("no answer");
            break;
        }
    }
    SCardDisconnect(card, SCARD_RESET_CARD);
    SCardReleaseContext(context);
}

void pcscChannel(benchmark::State &state)
{
    std::string error;
    const auto channel = sdk::openReader(PcscService::readerName, &error);
    if (!channel || !channel->reset(&error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    for (auto _ : state) {
        cat::Bytes answer;
        if (!channel->transmit(status, &answer) || answer.size() != 2) {
            state.SkipWithError("no answer");
            break;
        }
    }
}

BENCHMARK(pcscFloor)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(pcscChannel)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv)
{
    PcscService service;
    std::string error;
    if (!service.start(&error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return EXIT_FAILURE;
    }
    CardInReader card({[] {}, [](const cat::Bytes &) { return card::CardAnswer{{0x90, 0x00}}; }});
    card.insert();
    if (!PcscService::waitForCard(true))
        return EXIT_FAILURE;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
