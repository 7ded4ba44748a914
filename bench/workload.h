/// The frame that everything is measured on, and how a measurement is registered.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/frame.h"
#include "stages/mesh_shading.h"

namespace cali::bench {

inline constexpr int32_t kWidth = 4000;
inline constexpr int32_t kHeight = 3000;
inline constexpr int32_t kPattern = 3;
inline constexpr int32_t kGridCols = 37;
inline constexpr int32_t kGridRows = 37;

/// Shared buffers, touched before anything is measured.
struct Workload {
    std::vector<uint32_t> scene;   ///< 0..4095, a noisy gradient
    std::vector<uint32_t> dark;    ///< around 64
    std::vector<uint32_t> flat;    ///< a flat field behind a lens, 3200 at its centre, noisy
    std::vector<uint32_t> work;    ///< written to
    std::vector<uint32_t> result;  ///< written to
    std::vector<uint32_t> red_grid;
    std::vector<uint32_t> green_grid;
    std::vector<uint32_t> blue_grid;
    std::vector<int32_t> radial;

    [[nodiscard]] static Workload& get();

    [[nodiscard]] MeshGrids grids() const {
        return {kGridCols, kGridRows, red_grid.data(), green_grid.data(), blue_grid.data()};
    }
    [[nodiscard]] ConstRawFrame scene_frame() const { return {scene.data(), kWidth, kHeight, kPattern}; }
    [[nodiscard]] RawFrame work_frame() { return {work.data(), kWidth, kHeight, kPattern}; }

private:
    Workload();
};

/// The measurement that all others are compared with.
inline constexpr const char* kCopyName = "memcpy";

/// A brightness series has a copy of its own to compare with: the same samples, read from where they lie.
inline constexpr const char* kSeriesCopyName = "series: memcpy";

/// What a measurement may cost at most; 0: no limit is set.
struct Limits {
    double avx2 = 0;  ///< ratio to memcpy
    double baseline = 0;
    double memory = 0;  ///< ratio to the frame's size
};

/// Registers `body` once per instruction set that this machine runs.
void measure(const std::string& name, const Limits& limits, const std::function<void()>& body);

/// The limit of a measurement by its registered name.
[[nodiscard]] double limit_of(const std::string& registered_name);

void register_stages();
void register_exports();
void register_lens_shading();
void register_colour();
void register_noise();
void register_clut();

}  // namespace cali::bench
