// What `cali calibrate` costs beside reading its captures once, as a whole and stage by stage, and what single captures
// cost beside a copy of one. Arguments: the program, the folder of a simulated session (raw files) and options that
// every run is given. Needs POSIX.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/error.h"
#include "captures/read_capture.h"
#include "checks/dark_checks.h"
#include "session/session.h"
#include "session/steps.h"

namespace {

using namespace cali::host;

constexpr int kRuns = 5;

struct Cost {
    double cpu = 1e9;  ///< user and system, seconds
    double wall = 1e9;
    long faults = 0;    ///< of pages
    double memory = 0;  ///< MB at its peak
};

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// Least of several runs, each in a process of its own.
Cost cost_of(const std::function<void()>& run) {
    Cost least;
    for (int i = 0; i < kRuns; ++i) {
        const auto start = std::chrono::steady_clock::now();
        std::fflush(stdout);
        const pid_t child = fork();
        if (child == 0) {
            run();
            _exit(0);
        }
        int status = 0;
        rusage usage{};
        if (child < 0 || wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            std::fprintf(stderr, "a run failed\n");
            std::exit(1);
        }
        const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
        const double cpu = seconds(usage.ru_utime) + seconds(usage.ru_stime);
        if (cpu < least.cpu) {
            least.cpu = cpu;
            least.faults = usage.ru_minflt;
            least.memory = static_cast<double>(usage.ru_maxrss) / 1024;
        }
        least.wall = std::min(least.wall, wall.count());
    }
    return least;
}

void print(const char* name, const Cost& cost, const Cost& reading) {
    std::printf("| %-23s | %6.3f | %6.3f | %6.1f | %6.1f | %7ld | %5.0f |\n", name, cost.cpu, cost.wall,
                cost.cpu / reading.cpu, cost.wall / reading.wall, cost.faults, cost.memory);
    std::fflush(stdout);
}

void read_files(const std::vector<std::filesystem::path>& files) {
    std::size_t most = 0;
    for (const std::filesystem::path& file : files) {
        most = std::max(most, static_cast<std::size_t>(std::filesystem::file_size(file)));
    }
    const std::unique_ptr<char[]> buffer(new char[most]);
    for (const std::filesystem::path& file : files) {
        const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
        while (read(descriptor, buffer.get(), most) > 0) {
        }
        close(descriptor);
    }
}

void execute(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, 1);
    dup2(nowhere, 2);
    execv(arguments[0], arguments.data());
    _exit(127);
}

double fastest(int runs, const std::function<void()>& body) {
    double least = 1e9;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        body();
        least = std::min(least, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return least;
}

/// Steps on captures of the session, behind a black level alone, as ratios to a copy of the widened frame.
void measure_steps(const std::filesystem::path& session_file) {
    const Session session = read_session(session_file);
    const LibraryOutput output;
    const Limits limits = session.limits;
    const StepRules rules{output, limits, "bench", {}, true};
    TuningValues values;
    values.black_level.offset.fill(64);
    const Capture first = read_capture(session.flat.front().file(), session.geometry);
    std::vector<uint32_t> from(first.samples.begin(), first.samples.end());
    std::vector<uint32_t> to(from.size());
    const auto copy = [&] { std::memcpy(to.data(), from.data(), from.size() * sizeof(uint32_t)); };
    copy();
    constexpr int kSteps = 9;
    const double unit = fastest(4 * kSteps, copy);
    std::printf(
        "\n| a capture | ms | ratio to memcpy |\n|---|---:|---:|\n| memcpy of the widened frame | %.2f | 1.0 |\n",
        unit * 1e3);
    const auto row = [&](const char* name, double time) {
        std::printf("| %s | %.1f | %.1f |\n", name, time * 1e3, time / unit);
        std::fflush(stdout);
    };
    const auto read = [&](const CaptureEntry& entry) { return read_capture(entry.file(), session.geometry); };
    const double reading = fastest(kSteps, [&] { (void)read(session.flat.front()); });
    row("read, digest and widening", reading);
    const auto beyond_reading = [&](const char* name, const CaptureEntry& entry, const auto& step) {
        double least = 1e9;
        for (int i = 0; i < kSteps; ++i) {
            Capture capture = read(entry);
            capture.taken = entry.taken;
            least = std::min(least, fastest(1, [&] { step(capture); }));
        }
        row(name, least);
    };
    beyond_reading("dark frame, without reading", session.dark.front(), [&](Capture& dark) {
        Judge judge(limits, {"black_level", dark.file, {}});
        const cali::Histogram histogram(dark.view());
        (void)check_dark(dark, histogram, judge);
        (void)measure_dark_frame(dark, histogram, 0, output);
    });
    beyond_reading("flat field, without reading", session.flat.front(),
                   [&](Capture& flat) { (void)flat_step(flat, values, session.shading, rules); });
    beyond_reading("grey card, without reading", session.grey.front(),
                   [&](Capture& grey) { (void)grey_step(grey, values, default_window(grey.sensor), rules); });
    beyond_reading("chart, without reading", session.chart.front(),
                   [&](Capture& chart) { (void)chart_step(chart, values, session.matrix, rules); });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "expected the program, the folder of a session, and options of cali calibrate, if any\n");
        return 2;
    }
    const std::filesystem::path folder = argv[2];
    const std::string session = (folder / "session.toml").string();
    const std::string out = (folder / "out").string();
    std::filesystem::create_directories(out);
    std::vector<std::filesystem::path> captures;
    double bytes = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".raw") {
            captures.push_back(entry.path());
            bytes += static_cast<double>(entry.file_size());
        }
    }
    const std::vector<std::string> more(argv + 3, argv + argc);
    const auto calibrate = [&](std::vector<std::string> options) {
        std::vector<std::string> words = {argv[1], "calibrate", session, "--out", out};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), more.begin(), more.end());
        return cost_of([&] { execute(words); });
    };
    std::printf("%zu captures, %.0f MB\n", captures.size(), bytes * 1e-6);
    std::printf(
        "|                         |  CPU s | wall s | CPU / reading | wall / reading | page faults | peak MB |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|\n");
    const Cost reading = cost_of([&] { read_files(captures); });
    print("reading", reading, reading);
    print("whole session", calibrate({}), reading);
    print("whole session, --jobs 2", calibrate({"--jobs", "2"}), reading);
    for (const char* const stage : {"blc", "lsc", "awb", "ccm", "clut", "noise"}) {
        print(stage, calibrate({"--only", stage}), reading);
    }
    std::vector<std::string> outputs = {"--registers", "--corrected", "--pictures", "--tables"};
    print("whole, every output", calibrate(outputs), reading);
    outputs.insert(outputs.end(), {"--jobs", "2"});
    print("the same, --jobs 2", calibrate(outputs), reading);
    try {
        measure_steps(session);
    } catch (const InputError& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 2;
    }
    return 0;
}
