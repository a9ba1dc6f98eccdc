#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include "cat/Bytes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the run as a finding unless `condition` holds.
inline void expect(bool condition, const std::string &what)
{
    if (condition)
        return;
    std::fprintf(stderr, "finding: not so: %s\n", what.c_str());
    std::abort();
}

/// Takes the fuzzer's bytes apart from the front. At the end everything is 0 or empty.
class Input
{
public:
    explicit Input(cat::ByteView bytes) : m_rest(bytes) {}

    bool isEmpty() const { return m_rest.empty(); }
    std::uint8_t byte() { return m_rest.empty() ? std::uint8_t{0} : take(1)[0]; }

    /// As many bytes as there are, `count` at most.
    cat::ByteView take(std::size_t count)
    {
        const std::size_t size = std::min(count, m_rest.size);
        const cat::ByteView taken(m_rest.data, size);
        m_rest = cat::ByteView(m_rest.data + size, m_rest.size - size);
        return taken;
    }

    /// A length in one byte, and what it counts.
    cat::ByteView block() { return take(byte()); }

private:
    cat::ByteView m_rest;
};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

#endif // FUZZ_FUZZ_H
