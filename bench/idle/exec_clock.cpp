// exec_clock PROGRAM [ARGUMENT...]: notes the time in the environment (BENCH_EXEC_NS, CLOCK_MONOTONIC)
// and becomes the program, so that it can tell how long its exec and its libraries took.

#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "bench/common/Instants.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: exec_clock PROGRAM [ARGUMENT...]\n");
        return 2;
    }
    setenv("BENCH_EXEC_NS", std::to_string(xel::bench::Instants::now()).c_str(), 1);
    execv(argv[1], argv + 1);
    std::perror(argv[1]);
    return 2;
}
