// Aborts where an instruction set gives other bits than the plain versions.

#include "draw.h"
#include "kernels/row_kernels.h"
#include "lsc/channel_planes.h"
#include "lsc/denoise.h"
#include "lsc/low_pass.h"
#include "reference/channel_planes.h"
#include "reference/raw_stages.h"
#include "stages/front_end.h"

namespace {

using namespace cali;
using fuzz::Draw;

struct Frame {
    int32_t width, height, pattern;
    std::vector<uint32_t> samples;

    explicit Frame(Draw& draw)
        : width(draw.within(1, draw.one_in(8) ? 340 : 70)),
          height(draw.within(1, draw.one_in(8) ? 40 : 10)),
          pattern(draw.within(0, 3)),
          samples(draw.codes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height))) {}
};

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

template <typename Work>
void on_every_set(Work work) {
    for (const Isa isa : kAllIsas) {
        if (isa_available(isa)) {
            force_isa(isa);
            work();
        }
    }
}

void expect_front_end(const Frame& frame, const FrontEnd& front_end, const reference::Samples& expected) {
    on_every_set([&] {
        std::vector<uint32_t> made(frame.samples.size());
        apply_front_end({frame.samples.data(), frame.width, frame.height, frame.pattern}, front_end, made.data());
        require(made == expected);
        std::vector<uint32_t> in_place = frame.samples;
        apply_front_end({in_place.data(), frame.width, frame.height, frame.pattern}, front_end, in_place.data());
        require(in_place == expected);
    });
}

void pointwise_stages(Draw& draw) {
    const Frame frame(draw);
    const auto [width, height, pattern, samples] = frame;
    FrontEnd front_end;
    reference::Samples expected = samples;
    if (draw.one_in(2)) {
        reference::BlackLevelArguments black{};
        for (std::size_t i = 0; i < 4; ++i) {
            black.offset[i] = draw.code();
            black.gain[i] = draw.real(0, 2);
        }
        front_end.black_level = BlackLevel::from_red_first(black.offset, black.gain);
        expected = reference::black_level(expected, width, height, pattern, black);
    }
    if (draw.one_in(2)) {
        const uint32_t red = draw.any<uint16_t>();
        const uint32_t blue = draw.any<uint16_t>();
        front_end.wb_gains = WbGains{red, blue};
        expected = reference::wb_gains(expected, width, height, pattern, red, blue);
    }
    expect_front_end(frame, front_end, expected);
}

void mesh(Draw& draw) {
    const Frame frame(draw);
    reference::Grids grids{draw.within(3, 20), draw.within(3, 20), {}, {}, {}};
    const auto nodes = static_cast<std::size_t>(grids.cols) * static_cast<std::size_t>(grids.rows);
    grids.red = draw.codes(nodes);
    grids.green = draw.codes(nodes);
    grids.blue = draw.codes(nodes);
    FrontEnd front_end;
    front_end.mesh = MeshGrids{grids.cols, grids.rows, grids.red.data(), grids.green.data(), grids.blue.data()};
    std::string printed;
    expect_front_end(frame, front_end,
                     reference::mesh_shading(frame.samples, frame.width, frame.height, frame.pattern, grids, printed));
}

void radial(Draw& draw) {
    const Frame frame(draw);
    const std::vector<uint32_t> codes = draw.codes(kRadialTableSize);
    const std::vector<int32_t> tables(codes.begin(), codes.end());
    const auto centre = [&] { return draw.one_in(8) ? draw.any<int16_t>() : draw.within(-20, 600); };
    const int32_t x = centre();
    const int32_t y = centre();
    FrontEnd front_end;
    front_end.radial = RadialTables{x, y, tables.data()};
    expect_front_end(
        frame, front_end,
        reference::radial_block(reference::radial_registers(frame.width, frame.height, frame.pattern, x, y, tables),
                                frame.samples));
}

void subtraction(Draw& draw) {
    const std::vector<uint32_t> row = draw.codes(draw.within<std::size_t>(0, 200));
    const Alternating<uint32_t> offset = {draw.code(), draw.code()};
    const std::vector<uint32_t> expected = reference::subtract_limited(row, offset);
    on_every_set([&] {
        std::vector<uint32_t> made(row.size());
        row_kernels().subtract_limited(row.data(), made.data(), row.size(), offset);
        require(made == expected);
    });
}

void planes(Draw& draw) {
    const Frame frame(draw);
    const auto expected = reference::split(frame.samples, frame.width, frame.height, frame.pattern);
    const reference::Plane filtered = reference::low_pass(expected[GR], frame.width / 2, frame.height / 2);
    on_every_set([&] {
        lsc::ChannelPlanes made(frame.width, frame.height);
        lsc::split_frame({frame.samples.data(), frame.width, frame.height, frame.pattern}, made);
        for (std::size_t code = 0; code < expected.size(); ++code) {
            require(std::ranges::equal(made.samples[code].span(), expected[code]));
        }
        lsc::low_pass(made, lsc::low_pass_taps());
        require(std::ranges::equal(made.samples[GR].span(), filtered));
    });
}

void cleaning(Draw& draw) {
    const Frame frame(draw);
    const reference::Plane plane(frame.samples.begin(), frame.samples.end());
    const int32_t threshold = draw.one_in(4) ? draw.within(0, 65536) : draw.within(0, 4095);
    const reference::Plane smooth = reference::masked_gaussian(plane, frame.width, frame.height, threshold);
    const reference::Plane filled = reference::fill_dark(plane, frame.width, frame.height, threshold);
    on_every_set([&] {
        reference::Plane made = plane;
        lsc::lsc_masked_gaussian({made.data(), frame.width, frame.height}, threshold, 4.0F);
        require(made == smooth);
        made = plane;
        lsc::lsc_fill_dark({made.data(), frame.width, frame.height}, threshold);
        require(made == filled);
    });
}

void spreading(Draw& draw) {
    const auto count = draw.within<std::size_t>(1, 40);
    const std::size_t padded = (count + kSpreadPadding - 1) / kSpreadPadding * kSpreadPadding;
    const auto value = [&] { return static_cast<double>(draw.within(-1000, 1000)) / 7; };
    const auto values = [&] {
        std::vector<double> made(padded);  // 0 beyond the list
        for (std::size_t i = 0; i < count; ++i) {
            made[i] = std::abs(value());
        }
        return made;
    };
    const std::array<double, 3> shift = {value(), value(), value()};
    const double own = value();
    const std::vector<double> nearness = values();
    const std::vector<double> squared = values();
    const reference::SpreadSums before{{values(), values(), values()}, values(), values()};
    reference::SpreadSums expected = before;
    reference::spread(shift, own, nearness, squared, expected, count);
    on_every_set([&] {
        reference::SpreadSums made = before;
        row_kernels().spread({shift, own, nearness.data(), squared.data()},
                             {{made.shift[0].data(), made.shift[1].data(), made.shift[2].data()},
                              made.weight.data(),
                              made.nearest.data()},
                             count);
        require(made == expected);
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    Draw draw(data, size);
    constexpr std::array kWork = {pointwise_stages, mesh, radial, subtraction, planes, cleaning, spreading};
    kWork[draw.within<std::size_t>(0, kWork.size() - 1)](draw);
    return 0;
}
