// What results show: plots, pictures, the truth of a simulated sensor, and which of several units lie off.

#include "results/describe_results.h"

#include <cmath>

#include "base/text.h"
#include "captures/frame.h"
#include "library/thumbnail.h"
#include "results/results_file.h"
#include "results/units.h"
#include "support/program.h"

namespace cali::test {
namespace {

const host::Section& section_of(const std::vector<host::DescribedSection>& all, const std::string& key) {
    return std::ranges::find(all, key, &host::DescribedSection::key)->section;
}
template <typename Part>
const Part& part_of(const std::vector<Part>& parts, const std::string& name) {
    const auto found = std::ranges::find(parts, name, &Part::name);
    EXPECT_NE(found, parts.end()) << name;
    return *found;
}

class Described : public ::testing::Test {
protected:
    const host::Results results_ = host::read_results(simulated_session() / "results.json");
    const std::vector<host::DescribedSection> all_ = describe_all(results_);
};

TEST_F(Described, PlotsShowWhatTheFiguresSay) {
    const host::Section& black = section_of(all_, "black_level");
    for (const host::Series& series : part_of(black.plots, "histogram").series) {
        double samples = 0;
        double sum = 0;
        for (const auto& [code, count] : series.points) {
            samples += count;
            sum += code * count;
        }
        const double pixels = 640 * 480 / 4 * static_cast<double>(results_.black_level[0].frames.size());
        EXPECT_NEAR(samples, pixels, pixels * 1e-3) << series.name;
        std::string key = series.name;
        std::ranges::transform(key, key.begin(), [](unsigned char letter) { return std::tolower(letter); });
        EXPECT_NEAR(sum / samples, part_of(black.figures, "mean_" + key).value, 0.02) << series.name;
    }
    EXPECT_NEAR(part_of(black.plots, "histogram").bands.at(1).low, part_of(black.figures, "offset_gr").value, 0);

    const host::Section& shading = section_of(all_, "lens_shading");
    const double worst = part_of(shading.figures, "after_mesh_worst_luminance").value;
    double most = 0;
    for (const double value : part_of(shading.maps, "after_mesh").values) {
        most = std::max(most, std::abs(value));
    }
    EXPECT_NEAR(most, worst, 0.01);
    const host::Map& before = part_of(shading.maps, "before");
    const double corner = part_of(shading.figures, "before_corner_to_centre").value;
    EXPECT_NEAR(std::min({before.values.front(), before.values.back(), before.values[before.columns - 1],
                          before.values[before.values.size() - before.columns]}),
                100 * (corner - 1), 0.01);
    const auto& diagonal = part_of(shading.plots, "diagonal").series.at(0).points;
    EXPECT_NEAR(diagonal.front()[1], 100 + before.values.front(), 0.01);
    EXPECT_NEAR(diagonal.back()[1], 100 + before.values.back(), 0.01);

    const host::Section& matrix = section_of(all_, "colour_matrix");
    const host::Plot& patches = part_of(matrix.plots, "patches");
    double sum = 0;
    for (const auto& [patch, difference] : patches.series.at(2).points) {
        sum += difference / 24;
    }
    EXPECT_NEAR(sum, part_of(matrix.figures, "leave_one_out_mean_de_2000").value, 1e-9);
    EXPECT_EQ(part_of(patches.bands, host::text("warn %g", results_.limits[host::Check::chart_worst].warn)).low,
              results_.limits[host::Check::chart_worst].warn);
    ASSERT_EQ(matrix.pictures.size(), 1U);
    ASSERT_EQ(matrix.pictures[0].outlines.size(), 24U);
    EXPECT_LE(matrix.pictures[0].outlines[23].corners[2][0], matrix.pictures[0].width);

    const host::Section& noise = section_of(all_, "noise");
    for (const host::Series& series : part_of(noise.plots, "variance_residual").series) {
        for (const auto& [mean, off] : series.points) {
            EXPECT_LT(std::abs(off), 10) << series.name;
        }
    }
    const auto& [mean, ratio] = part_of(noise.plots, "snr").series.at(0).points.back();
    EXPECT_NEAR(ratio, 20 * std::log10(mean / static_cast<double>(results_.noise[0].levels.back().deviation[0])), 1e-6);
}

TEST_F(Described, TheTruthStandsBesideTheFigures) {
    const nlohmann::json truth = read_json(simulated_session() / "truth.json");
    const host::Section& black = section_of(all_, "black_level");
    EXPECT_EQ(part_of(black.figures, "offset_gb").truth, truth["pedestal_codes"]["gb"].get<double>());
    const host::Section& balance = section_of(all_, "white_balance");
    EXPECT_EQ(part_of(balance.figures, "grey_5000K.raw_gain_blue").truth,
              truth["illuminants"][1]["gain"]["blue"].get<double>());
    const host::Figure& electrons = part_of(section_of(all_, "noise").figures, "codes_per_electron_rr");
    EXPECT_EQ(electrons.truth, truth["conversion_gain_codes_per_electron"].get<double>());
    EXPECT_NEAR(part_of(section_of(all_, "noise").figures, "read_noise_bb").truth.value_or(0),
                truth["read_noise_codes"].get<double>(), 1e-9);
    EXPECT_FALSE(part_of(black.figures, "restoring_gain_gb").truth);
}

TEST(Thumbnail, ShowsColoursWhereTheyAre) {
    // Cells of 4 x 4 pixels: one red, one blue, the rest dark, in a GRBG mosaic above a black level of 100.
    host::Capture capture{"small", {8, 8, 1, 12, {}}, host::Samples(64, 100)};
    const auto photosite = [&](std::size_t x, std::size_t y) -> uint32_t& { return capture.samples[y * 8 + x]; };
    const Channel odd_of_even_row = bayer_channel(1, 0, 1);
    const bool red_first = odd_of_even_row == RR;
    photosite(red_first ? 3 : 2, red_first ? 0 : 1) = 1100;
    photosite(red_first ? 4 : 5, red_first ? 7 : 6) = 1100;
    host::BlackLevels black;
    black.offset.fill(100);
    const host::Thumbnail small = thumbnail(capture, black, {2048, 1024, 2048});
    ASSERT_EQ(small.pixels.size(), 4U * 4 * 3);
    EXPECT_EQ(small.photosites, 2);
    for (std::size_t i = 0; i < small.pixels.size(); ++i) {
        const bool red = i == 3 * 1;
        const bool blue = i == 3 * (3 * 4 + 2) + 2;
        EXPECT_EQ(small.pixels[i], red || blue ? 255 : 0) << i;
    }
}

host::Unit unit_of(const std::string& name, uint32_t offset) {
    host::Results results;
    results.black_level.emplace_back().values.offset = {offset, 64, 64, 64};
    return {name, std::move(results)};
}

TEST(Units, ThoseOffTheOthersAreFoundFromEightOn) {
    std::vector<host::Unit> units;
    for (int i = 0; i < 6; ++i) {
        units.push_back(unit_of("unit " + std::to_string(i), 64));
    }
    units.push_back(unit_of("far", 68));
    EXPECT_TRUE(compare_units(units).outliers.empty());  // seven
    units.push_back(unit_of("near", 67));
    // All others agree: one code, the register's step, is then the deviation.
    const host::UnitComparison comparison = compare_units(units);
    ASSERT_EQ(comparison.outliers.size(), 1U);
    const host::Outlier& outlier = comparison.outliers[0];
    EXPECT_EQ(outlier.unit + " " + outlier.section + " " + outlier.figure.name, "far black_level offset_rr");
    EXPECT_EQ(outlier.middle, 64);
    EXPECT_EQ(outlier.z, 4);
    const host::Plot& plot = part_of(comparison.sections.at(0).section.plots, "offset_rr");
    ASSERT_EQ(plot.series.size(), 2U);
    EXPECT_EQ(plot.series[1].points, (std::vector<std::array<double, 2>>{{7, 68}}));
    // The spread of the others counts where it is larger: its median is 2, and 1.4826 times that the deviation.
    for (std::size_t i = 0; i < 6; ++i) {
        units[i].results.black_level[0].values.offset[host::kRR] = static_cast<uint32_t>(60 + 2 * i);
    }
    EXPECT_TRUE(compare_units(units).outliers.empty());
    units[6].results.black_level[0].values.offset[host::kRR] = 90;
    ASSERT_EQ(compare_units(units).outliers.size(), 1U);
    EXPECT_NEAR(compare_units(units).outliers[0].z, (90 - 66.5) / (1.4826 * 3), 1e-9);
}

}  // namespace
}  // namespace cali::test
