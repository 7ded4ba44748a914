#include "core/histogram.h"
#include "stages/front_end.h"
#include "workload.h"

namespace cali::bench {

void register_stages() {
    Workload& load = Workload::get();
    measure("stage: black level", {2.6, 3.6}, [&load] {
        FrontEnd black;
        black.black_level = BlackLevel{{{60, 61, 62, 63}}, {{1.01F, 1.02F, 1.03F, 1.04F}}};
        apply_front_end(load.work_frame(), black, load.work.data());
    });
    FrontEnd gains;
    gains.wb_gains = WbGains{1900, 1500};
    FrontEnd mesh;
    mesh.mesh = load.grids();
    FrontEnd radial;
    radial.radial = RadialTables{kWidth / 2 + 18, kHeight / 2 - 10, load.radial.data()};
    const auto run = [&load](const FrontEnd& front_end) {
        return [&load, front_end] { apply_front_end(load.scene_frame(), front_end, load.result.data()); };
    };
    measure("stage: white-balance gains", {1.6, 2.2}, run(gains));
    measure("stage: mesh shading", {2.4, 3.7}, run(mesh));
    measure("stage: radial shading", {3.1, 6.0}, run(radial));
    measure("stage: histogram, dark frame", {4.0, 4.0}, [&load] {
        Histogram({load.dark.data(), kWidth, kHeight, kPattern});
    });
    measure("stage: histogram, scene", {4.0, 4.0}, [&load] { Histogram(load.scene_frame()); });
}

}  // namespace cali::bench
