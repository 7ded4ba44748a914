#ifdef CALI_BENCH_OPENCV
#include <opencv2/imgproc.hpp>
#endif

#include "cali/cali.h"
#include "lsc/channel_planes.h"
#include "lsc/low_pass.h"
#include "workload.h"

namespace cali::bench {
namespace {

struct LensShadingResult {
    int32_t center_x = 0;
    int32_t center_y = 0;
    int32_t norm = 0;
    std::array<std::vector<int32_t>, 3> mesh;
    std::vector<int32_t> radial = std::vector<int32_t>(128);

    LensShadingResult() { mesh.fill(std::vector<int32_t>(std::size_t{kGridCols} * kGridRows)); }

    void calibrate(uint32_t* frame, bool denoise) {
        cali_lsc_calc(&frame, kWidth, kHeight, kPattern, kGridCols, kGridRows, 0, denoise ? 1 : 0, 64, 64, 64, 64,
                      &center_x, &center_y, nullptr, &norm, mesh[0].data(), mesh[1].data(), mesh[2].data(),
                      radial.data());
    }
};

#ifdef CALI_BENCH_OPENCV
/// The same filter on the same planes, as floats.
void measure_opencv(const lsc::ChannelPlanes& planes) {
    cv::setNumThreads(1);
    static std::array<cv::Mat, kChannels> sources;
    for (std::size_t code = 0; code < kChannels; ++code) {
        cv::Mat(planes.height, planes.width, CV_32S, planes.samples[code].data()).convertTo(sources[code], CV_32F);
    }
    static const lsc::LowPassTaps taps = lsc::low_pass_taps();
    measure("OpenCV sepFilter2D, four planes", {}, [] {
        static const cv::Mat kernel(1, static_cast<int>(taps.size()), CV_32F, const_cast<float*>(taps.data()));
        static std::array<cv::Mat, kChannels> results;
        for (std::size_t code = 0; code < kChannels; ++code) {
            cv::sepFilter2D(sources[code], results[code], CV_32F, kernel, kernel, {-1, -1}, 0, cv::BORDER_REFLECT_101);
        }
    });
}
#endif

}  // namespace

void register_lens_shading() {
    Workload& load = Workload::get();
    static const lsc::ChannelPlanes planes(kWidth, kHeight);
    static const ConstRawFrame frame{load.flat.data(), kWidth, kHeight, kPattern};
    static LensShadingResult result;
    lsc::split_frame(frame, planes);
#ifdef CALI_BENCH_OPENCV
    measure_opencv(planes);
#endif
    measure("stage: channel planes", {1.3, 1.3}, [] { lsc::split_frame(frame, planes); });
    measure("stage: 21-tap filter, four planes", {9.5, 15.0}, [] { lsc::low_pass(planes, lsc::low_pass_taps()); });
    measure("cali_lsc_calc", {20.0, 0, 2.5}, [&load] { result.calibrate(load.flat.data(), false); });
    measure("cali_lsc_calc, denoise", {0, 0, 2.5}, [&load] { result.calibrate(load.flat.data(), true); });
    result.calibrate(load.flat.data(), false);
    static std::vector<uint32_t> radial_frame(load.result.size());
    measure("cali_lsc_verify", {7.0, 0}, [&load] {
        static uint32_t* work = load.work.data();
        static uint32_t* outputs[] = {load.result.data(), radial_frame.data()};
        cali_lsc_verify(&work, kWidth, kHeight, kPattern, kGridCols, kGridRows, 0, 60, 60, 60, 60, 1.01F, 1.01F, 1.01F,
                        1.01F, result.center_x, result.center_y, 0, 0, result.mesh[0].data(), result.mesh[1].data(),
                        result.mesh[2].data(), result.radial.data(), &outputs[0], &outputs[1]);
    });
}

}  // namespace cali::bench
