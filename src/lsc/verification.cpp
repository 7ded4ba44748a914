#include "lsc/verification.h"

namespace cali::lsc {

void verify(const RawFrame& frame, const Parameters& parameters, const Outputs& outputs, RowObserver& observer) {
    FrontEnd black_level;
    black_level.black_level = parameters.black_level;
    FrontEndRows black_rows(frame, black_level);
    // The one shading stage is no input of the other.
    std::optional<FrontEndRows> mesh_rows;
    if (parameters.mesh) {
        FrontEnd mesh;
        mesh.mesh = parameters.mesh;
        mesh_rows.emplace(frame, mesh);
    }
    std::optional<FrontEndRows> radial_rows;
    if (parameters.radial) {
        FrontEnd radial;
        radial.radial = parameters.radial;
        radial_rows.emplace(frame, radial);
    }
    const RawFrame mesh_output{outputs.mesh, frame.width, frame.height, frame.pattern};
    const RawFrame radial_output{outputs.radial, frame.width, frame.height, frame.pattern};
    for (int32_t y = 0; y < frame.height; ++y) {
        black_rows.row(y, frame.row(y), frame.row(y));
        if (mesh_rows) {
            observer.row_begins(y);
            mesh_rows->row(y, frame.row(y), mesh_output.row(y));
        }
        if (radial_rows) {
            radial_rows->row(y, frame.row(y), radial_output.row(y));
        }
    }
    if (mesh_rows) {
        observer.rows_end();
    }
}

}  // namespace cali::lsc
