#include "sdk/Outside.h"

#include <cstdio>

namespace sdk
{

void log(const std::string &text)
{
    std::fprintf(stderr, "libsdk: %s\n", text.c_str());
}

} // namespace sdk
