// Runs every operation a few times for callgrind, which writes the counts of each into its own file, and checks
// the numbers of allocations.
//
//     valgrind --tool=callgrind --collect-atstart=no --callgrind-out-file=DIR/out counts
//
// Each file has the line "desc: Trigger: Client Request: OPERATION | PATTERN" and the costs of Runs runs.

#include <valgrind/callgrind.h>

#include <cstdio>

#include "Operations.h"

int main()
{
    constexpr int Runs = 16;
    int broken = 0;
    for (const bench::Subject& subject : bench::Subjects()) {
        for (const bench::Operation& operation : bench::OperationsOn(subject)) {
            const std::string name = operation.name + " | " + operation.subject;
            const std::unique_ptr<bench::Work> work = operation.make();
            work->Run(2);
            CALLGRIND_ZERO_STATS;
            CALLGRIND_TOGGLE_COLLECT;
            work->Run(Runs);
            CALLGRIND_TOGGLE_COLLECT;
            CALLGRIND_DUMP_STATS_AT(name.c_str());

            const long allocations = bench::AllocationsOf(operation);
            if (allocations <= operation.maxAllocations) continue;
            std::printf("%s: %ld allocations, at most %d are allowed\n", name.c_str(), allocations,
                        operation.maxAllocations);
            ++broken;
        }
    }
    std::printf("runs: %d\n", Runs);
    return broken == 0 ? 0 : 1;
}
