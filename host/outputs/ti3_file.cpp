#include "outputs/ti3_file.h"

#include "base/text.h"
#include "cali/cali.h"
#include "calibrations/chart_reference.h"

namespace cali::host {

std::string ti3_text(const MatrixCalibration& matrix) {
    const Colour d50 = *named_white("D50", 2);
    const Colour balance = {matrix.gains.red / 1024.0, matrix.gains.green / 1024.0, matrix.gains.blue / 1024.0};
    std::string made = "CTI3\n\nDESCRIPTOR \"24-patch chart\"\nORIGINATOR \"cali " CALI_VERSION_STRING
                       "\"\nDEVICE_CLASS \"INPUT\"\nCOLOR_REP \"XYZ_RGB\"\n\nNUMBER_OF_FIELDS 7\nBEGIN_DATA_FORMAT\n"
                       "SAMPLE_ID XYZ_X XYZ_Y XYZ_Z RGB_R RGB_G RGB_B\nEND_DATA_FORMAT\n\n" +
                       text("NUMBER_OF_SETS %zu\nBEGIN_DATA\n", matrix.measured.size());
    for (std::size_t i = 0; i < matrix.measured.size(); ++i) {
        const Colour xyz = xyz_of_linear(matrix.reference[i], matrix.settings.white_point, d50);
        made += text("%zu", i + 1);
        for (const double value : xyz) {
            made += text(" %.5f", 100 * value);
        }
        for (std::size_t c = 0; c < 3; ++c) {
            made += text(" %.5f", 100 * matrix.measured[i][c] / (balance[c] * matrix.exposure));
        }
        made += "\n";
    }
    return made + "END_DATA\n";
}

}  // namespace cali::host
