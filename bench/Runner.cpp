#include "Runner.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace qsn::bench {
namespace {

constexpr int kSeriesRounds = 3;

struct Row {
    const char* id;
    std::function<RowResult()> measure;
};

struct Registry {
    std::vector<Row> rows;
    std::vector<Series> series;
    Options options;
};

Registry& TheRegistry() {
    static Registry registry;
    return registry;
}

// Keeps the seconds of each repetition instead of printing them.
class Collector final : public benchmark::BenchmarkReporter {
public:
    explicit Collector(RowResult* row) : m_row(row) {}

    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
            std::vector<double>& list = run.run_name.function_name == "ours" ? m_row->ours : m_row->beside;
            list.push_back(run.real_accumulated_time / static_cast<double>(run.iterations));
        }
    }

private:
    RowResult* m_row;
};

void Loop(benchmark::State& state, const Step& step) {
    step();  // what only the first call costs is a row of its own
    for ([[maybe_unused]] auto _ : state) step();
}

void Loop(benchmark::State& state, const TimedStep& step) {
    for ([[maybe_unused]] auto _ : state) state.SetIterationTime(step());
}

template <class Body>
void Register(const char* name, const Body& body, const Effort& effort) {
    const bool quick = RunOptions().quick;
    auto* const entry = benchmark::RegisterBenchmark(name, [body](benchmark::State& state) { Loop(state, body); });
    entry->Repetitions(quick ? 2 : effort.repetitions);
    if (effort.iterations != 0) {
        entry->Iterations(effort.iterations);
    } else {
        entry->MinTime(quick ? 0.002 : effort.seconds);
    }
    if constexpr (std::is_same_v<Body, TimedStep>) {
        entry->UseManualTime();
    } else {
        entry->UseRealTime();
    }
}

template <class Body>
RowResult MeasurePair(const RowText& text, const Effort& effort, const std::function<Pair<Body>()>& make) {
    RowResult row{text, Unit::kSeconds, {}, {}};
    const Pair<Body> pair = make();
    Register("ours", pair.ours, effort);
    Register("beside", pair.beside, effort);
    Collector collector(&row);
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::ClearRegisteredBenchmarks();
    return row;
}

template <class Body>
void Add(const RowText& text, const Effort& effort, std::function<Pair<Body>()> make) {
    TheRegistry().rows.push_back(
        {text.id, [text, effort, make = std::move(make)] { return MeasurePair<Body>(text, effort, make); }});
}

SeriesResult Measure(const Series& series) {
    SeriesResult result{series.id, series.what, {}};
    const bool quick = RunOptions().quick;
    for (int size : series.sizes) {
        if (quick && size > 1000) break;
        std::vector<double> seconds(quick ? 1 : kSeriesRounds);
        for (double& round : seconds) round = series.seconds(size);
        result.points.push_back({size, MedianOf(seconds)});
    }
    return result;
}

bool IsWanted(const char* id) { return std::string_view(id).find(RunOptions().filter) != std::string_view::npos; }

void WriteFile(const std::string& name, const std::string& text) {
    std::ofstream(RunOptions().folder + "/" + name, std::ios::binary) << text;
}

// The library alternates them at random, so that what else the machine does affects both.
void InitialiseBenchmark() {
    char program[] = "qsn_bench";
    char interleave[] = "--benchmark_enable_random_interleaving=true";
    char* arguments[] = {program, interleave, nullptr};
    int count = 2;
    benchmark::Initialize(&count, arguments);
}

}  // namespace

void AddPair(const RowText& text, const Effort& effort, std::function<Pair<Step>()> make) {
    Add<Step>(text, effort, std::move(make));
}

void AddTimedPair(const RowText& text, const Effort& effort, std::function<Pair<TimedStep>()> make) {
    Add<TimedStep>(text, effort, std::move(make));
}

void AddFigures(const RowText& text, Unit unit, std::function<Figures()> measure) {
    TheRegistry().rows.push_back({text.id, [text, unit, measure = std::move(measure)] {
                                      const Figures figures = measure();
                                      return RowResult{text, unit, {figures.ours}, {figures.beside}};
                                  }});
}

void AddSeries(Series series) { TheRegistry().series.push_back(std::move(series)); }

const Options& RunOptions() { return TheRegistry().options; }

void Run(const Options& options) {
    TheRegistry().options = options;
    InitialiseBenchmark();
    std::vector<RowResult> rows;
    std::printf("%s", TableHead().c_str());
    for (const Row& row : TheRegistry().rows) {
        if (!IsWanted(row.id)) continue;
        rows.push_back(row.measure());
        std::printf("%s", TableLine(rows.back()).c_str());
    }
    std::vector<SeriesResult> growth;
    for (const Series& series : TheRegistry().series) {
        if (IsWanted(series.id)) growth.push_back(Measure(series));
    }
    WriteFile("bench.json", ToJson(rows, growth));
    if (growth.empty()) return;
    std::printf("\n%s", GrowthTable(growth).c_str());
    WriteFile("growth.svg", GrowthPlot(growth));
}

double MedianOf(std::vector<double> values) {
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

void Require(bool succeeded, const char* what) {
    if (!succeeded) throw std::runtime_error(what);
}

double TimeOf(const Step& step) {
    const auto start = std::chrono::steady_clock::now();
    step();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace qsn::bench
