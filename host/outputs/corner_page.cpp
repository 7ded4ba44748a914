#include "outputs/corner_page.h"

#include <algorithm>
#include <cmath>

#include "base/json.h"
#include "base/text.h"
#include "outputs/chart_picture.h"
#include "outputs/web_page.h"

namespace cali::host {
namespace {

/// Half the frame either way, in the chart's proportions.
Corners centred(const SensorGeometry& sensor) {
    const double cell =
        std::min(sensor.width / static_cast<double>(kChartColumns), sensor.height / static_cast<double>(kChartRows)) /
        2;
    const double width = cell * kChartColumns;
    const double height = cell * kChartRows;
    const double x = (sensor.width - width) / 2;
    const double y = (sensor.height - height) / 2;
    return {{{x, y}, {x + width, y}, {x + width, y + height}, {x, y + height}}};
}

/// A chart that is only likely may be anywhere: its corners serve where they can be seen.
Corners first_corners(const SensorGeometry& sensor, const FoundChart& chart) {
    const bool seen = std::ranges::all_of(chart.corners, [&](const Point& corner) {
        return corner.x >= 0 && corner.y >= 0 && corner.x <= sensor.width && corner.y <= sensor.height;
    });
    return chart.found || (chart.confidence > 0 && seen) ? chart.corners : centred(sensor);
}

Json colours() {
    Json colours = Json::array();
    for (const auto& srgb : kChartSrgb24) {
        const auto code = [&](std::size_t c) { return static_cast<int>(std::lround(srgb[c] * 255)); };
        colours.push_back(text("#%02x%02x%02x", code(0), code(1), code(2)));
    }
    return colours;
}

// What the script fills is empty here.
constexpr const char* kStageStart =
    R"(<p>Drag the four corners to the chart's own: half a gap outside the patches 1, 6, 24 and 19, wherever the
capture shows these. They are right when each dot lies in the middle of a patch of its colour.</p>
<p>By keyboard: <kbd>Tab</kbd> to a corner; arrow keys move it by 1 photosite, with <kbd>Shift</kbd> by 10.</p>
</header>
<main>
<section aria-label="Capture">
<svg id="stage" role="group" aria-label="The capture with the chart's corners"><g id="scene">)";
constexpr const char* kStageEnd = R"(<g id="outline"></g></g><g id="patches"></g><g id="handles"></g></svg>
</section>
<section class="side" aria-label="Corners">
<div class="aids">
<figure><svg id="lens" aria-hidden="true"></svg><figcaption id="lens_name"></figcaption></figure>
<figure><svg id="key" role="img" aria-label="The chart as printed: brown, patch 1, top left; blueish green, 6, top right;
black, 24, bottom right; white, 19, bottom left"></svg><figcaption>The chart as printed</figcaption></figure>
</div>
<div class="tools"><button type="button" id="turn">Turn by a quarter</button>
<button type="button" id="reset">Start over</button></div>
<h2>For the session file, under <code>[colour_matrix]</code></h2>
<pre id="line" tabindex="0" role="region" aria-label="Line for the session file"></pre>
<div class="tools"><button type="button" id="copy" class="first">Copy</button><p id="status" role="status"></p></div>
<noscript><p>Corners cannot be moved where scripts are off.</p></noscript>
</section>
</main>
)";

}  // namespace

std::string corner_page(const Capture& capture, const BlackLevels& black_level, const FoundChart& chart) {
    const SensorGeometry& sensor = capture.sensor;
    const SmallPicture picture = small_picture(capture, black_level);
    const std::u8string file = capture.file.filename().u8string();
    const std::string name(file.begin(), file.end());
    // Columns and rows that make no whole pixel are not in the picture.
    const int width = picture.width == 0 ? sensor.width : picture.width * picture.photosites;
    const int height = picture.width == 0 ? sensor.height : picture.height * picture.photosites;

    Json corners = Json::array();
    for (const Point& corner : first_corners(sensor, chart)) {
        corners.push_back(std::array{corner.x, corner.y});
    }
    Json data = Json::object();
    data["width"] = sensor.width;
    data["height"] = sensor.height;
    data["columns"] = kChartColumns;
    data["rows"] = kChartRows;
    data["least_cell"] = kLeastChartCell;
    data["corners"] = corners;
    data["colours"] = colours();

    const std::string found =
        chart.found ? text("The chart is found, with a confidence of %.2f; the corners are its own.", chart.confidence)
                    : "The chart is not found: " + chart.reason + ".";
    return to_text({"Chart corners: " + name,
                    kPickStyle,
                    {&kPickScript},
                    "<header>\n<h1>Chart corners: <span class=\"name\">" + html(name) +
                        "</span></h1>\n<p class=\"found\">" + html(found) + "</p>\n" + kStageStart +
                        "<image id=\"capture\" preserveAspectRatio=\"none\"" +
                        text(" width=\"%d\" height=\"%d\" href=\"", width, height) +
                        png_source(plain_picture(picture)) + "\"/>" + kStageEnd + json_block("chart", data.dump())});
}

}  // namespace cali::host
