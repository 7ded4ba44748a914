#include "calibrations/colour_matrix_settings.h"

#include "base/choice.h"
#include "base/text.h"

namespace cali::host {
namespace {

constexpr std::array<const char*, 4> kMatrixMethods = {"lsq", "optimised", "joint", "measured"};
constexpr std::array<int, 2> kWhitePoints = {65, 50};

}  // namespace

const char* matrix_method_name(MatrixMethod method) { return kMatrixMethods[static_cast<std::size_t>(method)]; }

MatrixMethod parse_matrix_method(const std::string& text, const std::string& where) {
    return parse_choice<MatrixMethod>(kMatrixMethods, text, where);
}

int parse_white_point(const std::string& text, const std::string& where) {
    constexpr std::array<const char*, 2> kWhitePointNames = {"D65", "D50"};
    return kWhitePoints[parse_choice<std::size_t>(kWhitePointNames, text, where)];
}

std::string white_point_name(int white_point) { return text("D%d", white_point); }

void require_reference(const MatrixSettings& settings) {
    if (settings.method == MatrixMethod::measured && settings.reference.empty()) {
        throw InputError(
            "method measured: the chart's measured colours are not known, expected --reference FILE, or reference in "
            "[colour_matrix] of the session");
    }
}

const char* place_name(const ChartPlace& place) {
    return place.windows                       ? "windows"
           : place.corners && place.confidence ? "found"
           : place.corners                     ? "corners"
                                               : "fills_frame";
}

}  // namespace cali::host
