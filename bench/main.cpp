// Ratios within one run are what counts: everything is repeated, interleaved at random, and the fastest repetition of
// each is compared with that of a plain copy of the same frame.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>

#include "boundary/warning.h"
#include "kernels/row_kernels.h"
#include "memory.h"
#include "ratio_reporter.h"
#include "workload.h"

#ifdef _WIN32
#include <io.h>
#define dup _dup
#define fdopen _fdopen
#define fileno _fileno
constexpr const char* kNowhere = "NUL";
#else
#include <unistd.h>
constexpr const char* kNowhere = "/dev/null";
#endif

namespace cali::bench {
namespace {

constexpr int kRepetitions = 9;

struct Export {
    std::string name;
    double most;
    std::function<void()> body;
};

/// Those whose own memory is reported.
std::vector<Export>& exports() {
    static std::vector<Export> registered;
    return registered;
}

void print_memory(std::FILE* table) {
    constexpr double kFrame = double{kWidth} * kHeight * sizeof(uint32_t);
    std::fprintf(table, "\n| memory at its peak | MB | ratio to the frame | at most |\n|---|---:|---:|---:|\n");
    for (const Export& measured : exports()) {
        const auto bytes = static_cast<double>(peak_memory(measured.body));
        std::fprintf(table, "| %s | %.2f | %.2f | ", measured.name.c_str(), bytes / 1e6, bytes / kFrame);
        std::fprintf(table, measured.most > 0 ? "%.1f |\n" : "|\n", measured.most);
    }
}

std::map<std::string, double>& limits() {
    static std::map<std::string, double> by_name;
    return by_name;
}

void register_one(const std::string& name, const std::function<void()>& body) {
    benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) {
        for (auto _ : state) {
            body();
            benchmark::ClobberMemory();
        }
    })->Unit(benchmark::kMillisecond);
}

}  // namespace

Workload& Workload::get() {
    static Workload workload;
    return workload;
}

Workload::Workload() {
    constexpr std::size_t kCount = std::size_t{kWidth} * kHeight;
    std::minstd_rand random(1);
    scene.resize(kCount);
    dark.resize(kCount);
    flat.resize(kCount);
    work.resize(kCount);
    result.resize(kCount);
    for (std::size_t i = 0; i < kCount; ++i) {
        const auto noise = static_cast<uint32_t>(random() >> 8);
        scene[i] = static_cast<uint32_t>(600 + i % kWidth / 2 + noise % 61);
        dark[i] = 56 + noise % 17;
        const double x = static_cast<double>(i % kWidth) / kWidth - 0.5;
        const double y = static_cast<double>(i / kWidth) / kHeight - 0.5;
        flat[i] = static_cast<uint32_t>(3200 * (1 - 1.2 * (x * x + y * y))) + noise % 81;
    }
    for (int32_t j = 0; j < kGridRows; ++j) {
        for (int32_t i = 0; i < kGridCols; ++i) {
            const int32_t dx = i - kGridCols / 2;
            const int32_t dy = j - kGridRows / 2;
            const auto rise = static_cast<uint32_t>(dx * dx + dy * dy);
            red_grid.push_back(512 + rise / 16);
            green_grid.push_back(512 + rise);
            blue_grid.push_back(512 + rise / 12);
        }
    }
    for (int32_t k = 0; k < 128; ++k) {
        radial.push_back(512 + (k % 32) * (k % 32));
    }
}

void measure(const std::string& name, const Limits& most, const std::function<void()>& body) {
    if (name.starts_with("cali_")) {
        exports().push_back({name, most.memory, body});
    }
    for (const Isa isa : kAllIsas) {
        if (!isa_available(isa)) {
            continue;
        }
        const std::string full = name + ", " + isa_name(isa);
        limits()[full] = isa == Isa::baseline ? most.baseline : most.avx2;
        register_one(full, [isa, body] {
            force_isa(isa);
            body();
        });
    }
}

double limit_of(const std::string& registered_name) {
    const auto at = limits().find(registered_name);
    return at == limits().end() ? 0 : at->second;
}

}  // namespace cali::bench

int main(int argc, char** argv) {
    using namespace cali::bench;
    // The library prints progress on standard output; the table keeps a way out of its own.
    std::FILE* const table = fdopen(dup(fileno(stdout)), "w");
    if (table == nullptr || std::freopen(kNowhere, "w", stdout) == nullptr) {
        std::perror("cali_bench: standard output");
        return 1;
    }
    std::string repetitions = "--benchmark_repetitions=" + std::to_string(kRepetitions);
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    std::string duration = "--benchmark_min_time=0.02";
    std::vector<char*> arguments{argv[0], repetitions.data(), interleaved.data(), duration.data()};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 1;
    }

    // Some measurements end where an input is rejected.
    cali::set_warning_sink([](const char*, const char*) {});
    Workload& load = Workload::get();
    register_one(kCopyName, [&load] {
        std::memcpy(load.result.data(), load.scene.data(), load.scene.size() * sizeof(uint32_t));
        benchmark::DoNotOptimize(load.result.data());
    });
    register_stages();
    register_exports();
    register_lens_shading();
    register_colour();
    register_noise();
    register_clut();
    RatioReporter reporter(table);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    print_memory(table);
    std::fclose(table);
    return 0;
}
