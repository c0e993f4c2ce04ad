#include "process/lastresort.h"

#include <chrono>
#include <cstdlib>
#include <thread>

/// Blocks for a minute, and is to be ended after the seconds of its argument.
int main(int argc, char *argv[])
{
    endProcessAfter(unsigned(argc > 1 ? std::atoi(argv[1]) : 0));
    std::this_thread::sleep_for(std::chrono::minutes(1));
    return 1;
}
