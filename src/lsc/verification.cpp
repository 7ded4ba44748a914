#include "lsc/verification.h"

#include "boundary/module_state.h"
#include "lsc/uniformity.h"

namespace cali::lsc {

void verify(const RawFrame& frame, const Parameters& parameters, const Outputs& outputs) {
    const BlackLevelStage black_level(parameters.black_level, frame.pattern);
    std::optional<MeshShading> mesh;
    if (parameters.mesh) {
        mesh.emplace(frame.width, frame.height, frame.pattern, *parameters.mesh);
    }
    std::optional<RadialShading> radial;
    if (parameters.radial) {
        radial.emplace(pack_radial_registers(frame.width, frame.height, frame.pattern, *parameters.radial));
    }
    std::optional<UniformityReport> report;
    if (module_state().debug.lsc_dump) {
        report.emplace(frame.width, frame.height);
    }
    const RawFrame mesh_output{outputs.mesh, frame.width, frame.height, frame.pattern};
    const RawFrame radial_output{outputs.radial, frame.width, frame.height, frame.pattern};
    for (int32_t y = 0; y < frame.height; ++y) {
        const auto row = static_cast<uint32_t>(y);
        uint32_t* const samples = frame.row(y);
        black_level.row(row, 0, samples, samples, frame.columns());
        if (mesh) {
            print_shading_progress(y, frame.height);
            mesh->row(row, samples, mesh_output.row(y));
        }
        if (radial) {
            radial->row(row, 0, samples, radial_output.row(y), frame.columns());
        }
    }
    if (mesh) {
        end_shading_progress();
    }
    if (report) {
        report->run(frame, mesh_output, radial_output);
    }
}

}  // namespace cali::lsc
