// The toolkit codec on recorded commands and responses, against a plain walk over the same objects.
#include "cat/Command.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <new>
#include <vector>

namespace
{

std::size_t allocations = 0;

std::vector<cat::Bytes> bytesIn(const char *list, const char *key)
{
    QFile file(STK_VECTORS);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s cannot be read", STK_VECTORS);
    std::vector<cat::Bytes> all;
    for (const QJsonValue &row : QJsonDocument::fromJson(file.readAll()).object().value(list).toArray()) {
        const QByteArray bytes = QByteArray::fromHex(row.toObject().value(key).toString().toLatin1());
        all.emplace_back(bytes.begin(), bytes.end());
    }
    return all;
}

const std::vector<cat::Bytes> &commands()
{
    static const std::vector<cat::Bytes> all = bytesIn("proactive", "pdu_hex");
    return all;
}

const std::vector<cat::Bytes> &responses()
{
    static const std::vector<cat::Bytes> all = bytesIn("terminal_responses", "response_hex");
    return all;
}

/// One length of a TLV object; the step behind it.
const std::uint8_t *readLength(const std::uint8_t *at, const std::uint8_t *end, std::size_t *length)
{
    *length = 0;
    if (at == end)
        return end;
    int more = *at < 0x80 ? 0 : *at - 0x80;
    if (more == 0)
        *length = *at;
    for (++at; more > 0 && at != end; --more)
        *length = *length << 8 | *at++;
    return at;
}

/// What any decoder must do at the least: step from object to object, and look at each byte.
unsigned walk(const cat::Bytes &bytes, bool isWrapped)
{
    const std::uint8_t *at = bytes.data(), *end = at + bytes.size();
    std::size_t length = 0;
    unsigned sum = 0;
    if (isWrapped && at != end)
        at = readLength(at + 1, end, &length);
    while (at != end) {
        sum += *at++;
        at = readLength(at, end, &length);
        for (; length > 0 && at != end; --length)
            sum += *at++;
    }
    return sum;
}

/// Nanoseconds and allocations for one piece, bytes for each second.
template <class Pieces>
void count(benchmark::State &state, const Pieces &pieces, std::size_t bytes, std::size_t made)
{
    const auto rounds = static_cast<double>(state.iterations());
    const auto number = static_cast<double>(pieces.size());
    state.SetItemsProcessed(static_cast<std::int64_t>(rounds * number));
    state.SetBytesProcessed(static_cast<std::int64_t>(rounds * double(bytes)));
    state.counters["allocations"] = double(made) / (rounds * number);
}

std::size_t sizeOf(const std::vector<cat::Bytes> &pieces)
{
    std::size_t size = 0;
    for (const cat::Bytes &piece : pieces)
        size += piece.size();
    return size;
}

template <class Pieces, class Work>
void run(benchmark::State &state, const Pieces &pieces, std::size_t bytes, Work work)
{
    const std::size_t before = allocations;
    for (auto _ : state)
        for (const auto &piece : pieces)
            benchmark::DoNotOptimize(work(piece));
    count(state, pieces, bytes, allocations - before);
}

void codecFloorCommands(benchmark::State &state)
{
    run(state, commands(), sizeOf(commands()), [](const cat::Bytes &bytes) { return walk(bytes, true); });
}

void codecDecodeCommands(benchmark::State &state)
{
    run(state, commands(), sizeOf(commands()), [](const cat::Bytes &bytes) { return cat::decodeCommand(bytes); });
}

void codecEncodeCommands(benchmark::State &state)
{
    std::vector<cat::Command> decoded;
    for (const cat::Bytes &bytes : commands())
        decoded.push_back(cat::decodeCommand(bytes).command);
    run(state, decoded, sizeOf(commands()), [](const cat::Command &command) { return cat::encodeCommand(command); });
}

void codecFloorResponses(benchmark::State &state)
{
    run(state, responses(), sizeOf(responses()), [](const cat::Bytes &bytes) { return walk(bytes, false); });
}

void codecDecodeResponses(benchmark::State &state)
{
    run(state, responses(), sizeOf(responses()), [](const cat::Bytes &bytes) { return cat::decodeResponse(bytes); });
}

void codecEncodeResponses(benchmark::State &state)
{
    std::vector<cat::Response> decoded;
    for (const cat::Bytes &bytes : responses())
        decoded.push_back(cat::decodeResponse(bytes).value());
    run(state, decoded, sizeOf(responses()),
        [](const cat::Response &response) { return cat::encodeResponse(response); });
}

BENCHMARK(codecFloorCommands);
BENCHMARK(codecDecodeCommands);
BENCHMARK(codecEncodeCommands);
BENCHMARK(codecFloorResponses);
BENCHMARK(codecDecodeResponses);
BENCHMARK(codecEncodeResponses);

} // namespace

void *operator new(std::size_t size)
{
    ++allocations;
    if (void *memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept
{
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

BENCHMARK_MAIN();
