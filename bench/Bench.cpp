// Measures every operation and its floors in one run.
//
//     bench [BENCHMARK OPTION...] DIR INSTRUCTIONS
//
// Writes DIR/table.md, DIR/targets.md and DIR/phases.tsv. The shortest of all repetitions counts: other programs
// on the machine can only lengthen a time.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>

#include "Figures.h"
#include "Operations.h"

namespace {

void Measure(const std::string& name, const std::string& subject, const bench::MakeWork& make)
{
    benchmark::RegisterBenchmark(bench::Figures::Key(name, subject).c_str(), [make](benchmark::State& state) {
        constexpr int Batch = 64;
        const std::unique_ptr<bench::Work> work = make();
        work->Run(Batch);
        while (state.KeepRunningBatch(Batch)) work->Run(Batch);
    });
}

class Collector final : public benchmark::ConsoleReporter
{
 public:
    explicit Collector(bench::Figures& figures) : ConsoleReporter(OO_Tabular), m_figures(figures) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration)
                m_figures.Add(run.run_name.function_name, run.GetAdjustedCPUTime());
        ConsoleReporter::ReportRuns(runs);
    }

 private:
    bench::Figures& m_figures;
};

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: bench [BENCHMARK OPTION...] DIR INSTRUCTIONS\n");
        return 2;
    }
    bench::Figures figures;
    for (const bench::Subject& subject : bench::Subjects()) {
        for (const bench::FloorKind kind : bench::AllFloors)
            Measure(bench::NameOf(kind), subject.name, bench::FloorFor(kind, subject));
        for (const bench::Operation& operation : bench::OperationsOn(subject))
            Measure(operation.name, operation.subject, operation.make);
    }
    Collector collector(figures);
    benchmark::RunSpecifiedBenchmarks(&collector);
    figures.ReadInstructions(argv[2]);
    return figures.Write(argv[1]) ? 0 : 1;
}
