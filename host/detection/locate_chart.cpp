#include "detection/locate_chart.h"

#include <string>

#include "base/error.h"
#include "detection/chart_finder.h"

namespace cali::host {

std::string not_found_text(const std::string& reason) {
    return "the chart is not found: " + reason +
           "; take it whole, sharp and without glare, its patches 12 photosites wide or more, or give its corners "
           "(--corners, or corners in the session; 'cali chart FRAME --page pick.html' is a page to drag them on), or "
           "--fills-frame ('cali chart FRAME --picture out.png' shows what was seen)";
}

ChartPlace locate_chart(const ChartPlace& place, const Capture& chart, const BlackLevels& black_level) {
    if (place.stated()) {
        return place;
    }
    const FoundChart found = find_chart(chart, black_level);
    if (!found.found) {
        throw CalibrationError(chart.file.string() + ": " + not_found_text(found.reason));
    }
    ChartPlace located;
    located.corners = found.corners;
    located.confidence = found.confidence;
    return located;
}

}  // namespace cali::host
