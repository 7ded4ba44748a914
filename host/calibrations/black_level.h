/// The calibrations as the program runs them: captures in, typed values out, each through the exports.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "cali/cali.h"
#include "captures/capture.h"
#include "library/library_call.h"
#include "session/session.h"

namespace cali::host {

/// Per-channel values in the exports' order.
enum ChannelIndex : std::size_t { kRR, kGR, kGB, kBB };
inline constexpr std::array<const char*, 4> kChannelKeys = {"rr", "gr", "gb", "bb"};

template <typename T>
using Channels = std::array<T, 4>;

/// Offsets in 12-bit codes, gains with 1.0 = unity.
struct BlackLevels {
    Channels<uint32_t> offset{};
    Channels<float> gain{1.0F, 1.0F, 1.0F, 1.0F};
};

/// All global methods on one dark frame.
struct DarkFrameLevels {
    std::filesystem::path file;
    std::array<BlackLevels, 3> by_method;  ///< indexed by BlackLevelMethod
    bool median_in_bounds = true;
    std::vector<Channels<uint32_t>> blocks;  ///< local means, where asked for
};

[[nodiscard]] DarkFrameLevels measure_dark_frame(Capture& dark, uint32_t blocks, const LibraryOutput& output);

/// One method over several frames: offsets are the rounded means over the frames.
[[nodiscard]] BlackLevels combine(const std::vector<DarkFrameLevels>& frames, BlackLevelMethod method);

/// Lens-shading grids, unity by default.
struct ShadingGrids {
    int cols = 3;
    int rows = 3;
    std::vector<uint32_t> red = std::vector<uint32_t>(9, 512);
    std::vector<uint32_t> green = std::vector<uint32_t>(9, 512);
    std::vector<uint32_t> blue = std::vector<uint32_t>(9, 512);
};

/// Register gains, 1024 = 1.0.
struct WhiteBalance {
    std::filesystem::path file;
    std::optional<double> illuminant_k;
    std::filesystem::path flat_field;  ///< whose mesh was applied; empty: unity grids
    Window window;
    uint16_t red = 1024;
    uint16_t green = 1024;
    uint16_t blue = 1024;
};

/// Throws CalibrationError for a status below 0: the library has already said why.
void require_accepted(int status, const char* name, const std::filesystem::path& file);

/// Throws InputError where the frame is larger than the shading blocks take.
void require_shadeable(const Capture& frame);

/// Centred, even-aligned, at most 256 x 256: larger sums lose precision. Throws InputError for frames below 4 x 4.
[[nodiscard]] Window default_window(int width, int height);

[[nodiscard]] WhiteBalance measure_grey_card(Capture& grey, const BlackLevels& black_level, const ShadingGrids& grids,
                                             const Window& window, const LibraryOutput& output);

/// The frame after black level alone, or after black level, lens shading and white balance. Corrected samples may
/// exceed 4095 where no stage limits them.
[[nodiscard]] std::vector<uint32_t> apply_black_level(Capture& frame, const BlackLevels& black_level,
                                                      const LibraryOutput& output);
[[nodiscard]] std::vector<uint32_t> apply_front_end(Capture& frame, const BlackLevels& black_level,
                                                    const ShadingGrids& grids, const WhiteBalance& white_balance,
                                                    const LibraryOutput& output);

}  // namespace cali::host
