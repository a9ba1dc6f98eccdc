#include "stkcard/Program.h"

#include <iostream>

int main(int argc, char *argv[])
{
    stkcard::Streams streams{std::cin, std::cout, std::cerr};
    return stkcard::run({argv + (argc > 0 ? 1 : 0), argv + argc}, streams);
}
