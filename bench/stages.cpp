#include "blc/histogram.h"
#include "stages/black_level.h"
#include "stages/mesh_shading.h"
#include "stages/radial_shading.h"
#include "stages/wb_gains.h"
#include "workload.h"

namespace cali::bench {

void register_stages() {
    Workload& load = Workload::get();
    measure("stage: black level", {2.6, 3.6}, [&load] {
        const BlackLevel parameters{{{60, 61, 62, 63}}, {{1.01F, 1.02F, 1.03F, 1.04F}}};
        apply_black_level(load.work_frame(), parameters);
    });
    measure("stage: white-balance gains", {1.6, 2.2}, [&load] {
        apply_wb_gains(load.scene_frame(), {1900, 1500}, load.result.data());
    });
    measure("stage: mesh shading", {2.4, 3.7},
            [&load] { apply_lens_shading(load.scene_frame(), load.grids(), load.result.data()); });
    measure("stage: radial shading", {3.1, 6.0}, [&load] {
        apply_radial_shading(load.scene_frame(), {kWidth / 2 + 18, kHeight / 2 - 10, load.radial.data()},
                             load.result.data());
    });
    measure("stage: histogram, dark frame", {4.0, 4.0}, [&load] {
        blc::Histogram({load.dark.data(), kWidth, kHeight, kPattern});
    });
    measure("stage: histogram, scene", {4.0, 4.0}, [&load] { blc::Histogram(load.scene_frame()); });
}

}  // namespace cali::bench
