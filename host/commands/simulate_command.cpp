#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "base/error.h"
#include "base/output_file.h"
#include "commands/commands.h"
#include "simulation/sensor.h"

namespace cali::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kFlatLevel = 0.70;
constexpr double kGreyLevel = 0.50;
constexpr double kChartLevel = 0.90;
constexpr double kDarkestSeriesLevel = 0.05;
constexpr double kBrightestSeriesLevel = 0.85;
constexpr double kSeriesIlluminantK = 5000;

/// Random streams of the kinds of captures: a longer series leaves the other captures as they are.
enum Stream : uint32_t {
    kDarkStream = 0,
    kFlatStream = 1000,
    kGreyStream = 2000,
    kChartStream = 3000,
    kSeriesStream = 10000
};

struct SimulateOptions {
    std::string folder;
    std::string size = "1920x1080";
    std::string pattern = "RGGB";
    std::string format = "both";
    uint64_t seed = 1;
    int dark_frames = 3;
    int series_levels = 8;
    int series_frames = 2;
    std::vector<double> illuminants = {2850, 4000, 5000, 6500};
    std::vector<double> axis;
    SensorModel sensor;
};

/// Writes captures and keeps their names for the session file.
class CaptureWriter {
public:
    CaptureWriter(const SimulateOptions& options, const SensorModel& sensor)
        : folder_(options.folder),
          sensor_(sensor),
          seed_(options.seed),
          raw_(options.format != "pgm"),
          pgm_(options.format != "raw") {}

    /// Returns the name for the session file.
    std::string write(const std::string& stem, const Scene& scene, uint32_t stream) {
        const std::vector<uint16_t> samples = expose(sensor_, scene, seed_, stream);
        if (raw_) {
            write_raw(folder_ / (stem + ".raw"), samples);
        }
        if (pgm_) {
            write_pgm(folder_ / (stem + ".pgm"), sensor_.width, sensor_.height, sensor_.bits, samples);
        }
        ++count_;
        return stem + (raw_ ? ".raw" : ".pgm");
    }

    [[nodiscard]] int count() const { return count_; }

private:
    std::filesystem::path folder_;
    const SensorModel& sensor_;
    uint64_t seed_;
    bool raw_;
    bool pgm_;
    int count_ = 0;
};

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

std::string lit_list(const std::vector<std::pair<std::string, double>>& captures) {
    std::ostringstream text;
    text << "[\n";
    for (const auto& [file, kelvin] : captures) {
        text << "    { file = " << quoted(file) << ", illuminant_k = " << kelvin << " },\n";
    }
    text << "]\n";
    return text.str();
}

/// Takes the captures and returns the session file's text.
std::string capture_all(const SimulateOptions& options, const SensorModel& sensor, CaptureWriter& writer) {
    std::ostringstream session;
    session << "# Captures of a simulated sensor; truth.json tells what it is made of.\n"
            << "[sensor]\nwidth = " << sensor.width << "\nheight = " << sensor.height
            << "\npattern = " << quoted(kPatternNames[static_cast<std::size_t>(sensor.pattern)])
            << "\nbits = " << sensor.bits << "\n\n[captures]\n# Lens capped.\ndark = [\n";
    for (int i = 0; i < options.dark_frames; ++i) {
        session << "    "
                << quoted(writer.write("dark_" + std::to_string(i + 1), dark_scene(),
                                       kDarkStream + static_cast<uint32_t>(i)))
                << ",\n";
    }
    std::vector<std::pair<std::string, double>> flat;
    std::vector<std::pair<std::string, double>> grey;
    std::vector<std::pair<std::string, double>> chart;
    for (std::size_t i = 0; i < options.illuminants.size(); ++i) {
        const double kelvin = options.illuminants[i];
        const std::string light = "_" + std::to_string(std::lround(kelvin)) + "K";
        const auto n = static_cast<uint32_t>(i);
        flat.emplace_back(writer.write("flat" + light, uniform_scene(sensor, kelvin, kFlatLevel), kFlatStream + n),
                          kelvin);
        grey.emplace_back(writer.write("grey" + light, uniform_scene(sensor, kelvin, kGreyLevel), kGreyStream + n),
                          kelvin);
        chart.emplace_back(writer.write("chart" + light, chart_scene(sensor, kelvin, kChartLevel), kChartStream + n),
                           kelvin);
    }
    session << "]\n# An evenly lit, bright surface.\nflat = " << lit_list(flat)
            << "# A grey card.\ngrey = " << lit_list(grey)
            << "# The 24-patch chart, filling the frame.\nchart = " << lit_list(chart)
            << "# Uniform light on the sensor, without a lens, from dark to bright.\nseries = [\n";
    for (int level = 0; level < options.series_levels; ++level) {
        const double share =
            options.series_levels == 1 ? 1.0 : static_cast<double>(level) / (options.series_levels - 1);
        Scene scene = uniform_scene(sensor, kSeriesIlluminantK,
                                    kDarkestSeriesLevel + share * (kBrightestSeriesLevel - kDarkestSeriesLevel));
        scene.shaded = false;
        session << "    { files = [";
        for (int i = 0; i < options.series_frames; ++i) {
            const auto stream = static_cast<uint32_t>(level) * 1000U + static_cast<uint32_t>(i);
            const std::string stem = "series_" + std::to_string(level + 1) + "_" + std::to_string(i + 1);
            session << (i == 0 ? "" : ", ") << quoted(writer.write(stem, scene, kSeriesStream + stream));
        }
        session << "] },\n";
    }
    session << "]\n\n[black_level]\nmethod = \"median\"\n";
    return session.str();
}

Json truth_json(const SimulateOptions& options, const SensorModel& sensor) {
    Json json = {{"seed", options.seed},    {"width", sensor.width},
                 {"height", sensor.height}, {"pattern", kPatternNames[static_cast<std::size_t>(sensor.pattern)]},
                 {"bits", sensor.bits},     {"scale_bits", kLibraryBits}};
    for (std::size_t c = 0; c < kChannelKeys.size(); ++c) {
        json["pedestal_codes"][kChannelKeys[c]] = sensor.pedestal[c];
        json["falloff_k2"][kChannelKeys[c]] = sensor.falloff_k2[c];
    }
    json["falloff_k4"] = sensor.falloff_k4;
    json["axis_x"] = (sensor.width - 1) / 2.0 + sensor.axis_x;
    json["axis_y"] = (sensor.height - 1) / 2.0 + sensor.axis_y;
    json["bend"] = sensor.bend;
    json["read_noise_codes"] = sensor.read_noise;
    json["conversion_gain_codes_per_electron"] = sensor.conversion_gain;
    json["camera_of_xyz"] = sensor.camera_of_xyz;
    json["illuminants"] = Json::array();
    for (const double kelvin : options.illuminants) {
        const Vector3 white = camera_white(sensor, kelvin);
        json["illuminants"].push_back(
            {{"illuminant_k", kelvin},
             {"white_xyz", illuminant_white(kelvin)},
             {"camera_white", white},
             {"gain", {{"red", white[1] / white[0]}, {"green", 1.0}, {"blue", white[1] / white[2]}}},
             {"chart_camera", chart_scene(sensor, kelvin, kChartLevel).colours}});
    }
    return json;
}

void run(SimulateOptions options) {
    SensorModel& sensor = options.sensor;
    Geometry geometry;
    set_size(geometry, options.size);
    sensor.width = check_number(*geometry.width, 24, 8192, "width");
    sensor.height = check_number(*geometry.height, 16, 8192, "height");
    sensor.pattern = parse_pattern(options.pattern, "--pattern");
    sensor.axis_x = options.axis.empty() ? 0.008 * sensor.width : options.axis[0];
    sensor.axis_y = options.axis.empty() ? -0.006 * sensor.width : options.axis[1];
    sensor.round_pedestals();

    make_folder(options.folder);
    const std::filesystem::path folder = options.folder;
    CaptureWriter writer(options, sensor);
    const std::string session = capture_all(options, sensor, writer);
    write_text_file(folder / "truth.json", truth_json(options, sensor).dump(2) + "\n");
    write_text_file(folder / "session.toml", session);
    std::printf("written: %d captures of %d x %d, %s, %d bits; %s; %s\n", writer.count(), sensor.width, sensor.height,
                kPatternNames[static_cast<std::size_t>(sensor.pattern)], sensor.bits,
                (folder / "session.toml").string().c_str(), (folder / "truth.json").string().c_str());
}

}  // namespace

void add_simulate_command(CLI::App& app) {
    auto options = std::make_shared<SimulateOptions>();
    CLI::App* command = app.add_subcommand("simulate", "Captures of a simulated sensor with known truth");
    command->add_option("DIR", options->folder, "folder for captures, session.toml and truth.json")->required();
    command->add_option("--size", options->size, "frame size, up to 8192x8192")
        ->type_name("WxH")
        ->capture_default_str();
    command->add_option("--pattern", options->pattern, "BGGR, GBRG, GRBG or RGGB")->capture_default_str();
    command->add_option("--bits", options->sensor.bits, "bit depth of the files")
        ->check(CLI::Range(kMinBits, kMaxBits))
        ->capture_default_str();
    command->add_option("--seed", options->seed, "the same seed gives the same files")->capture_default_str();
    command->add_option("--format", options->format, "raw (16-bit little-endian), pgm, or both")
        ->check(CLI::IsMember({"raw", "pgm", "both"}))
        ->capture_default_str();
    command->add_option("--illuminants", options->illuminants, "colour temperatures in kelvin")
        ->check(NumberRange(kMinIlluminantK, kMaxIlluminantK))
        ->capture_default_str();
    command->add_option("--axis", options->axis, "optical axis, photosites right of and below the centre")->expected(2);
    command
        ->add_option("--bend", options->sensor.bend,
                     "how far chart colours leave a linear response; 0: a matrix can mend them all")
        ->check(NumberRange(-1.0, 1.0))
        ->capture_default_str();
    command->add_option("--read-noise", options->sensor.read_noise, "standard deviation in 12-bit codes")
        ->check(NumberRange(0.0, 200.0))
        ->capture_default_str();
    command->add_option("--conversion-gain", options->sensor.conversion_gain, "12-bit codes per electron")
        ->check(NumberRange(0.0, 100.0))
        ->capture_default_str();
    command->add_option("--dark-frames", options->dark_frames, "how many")
        ->check(CLI::Range(1, 999))
        ->capture_default_str();
    command->add_option("--series-levels", options->series_levels, "brightness levels")
        ->check(CLI::Range(0, 99))
        ->capture_default_str();
    command->add_option("--series-frames", options->series_frames, "frames per brightness level")
        ->check(CLI::Range(1, 999))
        ->capture_default_str();
    command->footer(
        "Examples:\n"
        "  cali simulate shots\n"
        "  cali simulate shots --size 640x480 --pattern GRBG --bits 10 --format pgm --seed 7");
    command->callback([options] { run(*options); });
}

}  // namespace cali::host
