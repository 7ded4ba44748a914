#include "stages/front_end.h"

#include <algorithm>

namespace cali {

FrontEndRows::FrontEndRows(const ConstRawFrame& frame, const FrontEnd& front_end)
    : count_(frame.columns()), gains_before_shading_(front_end.gains_before_shading) {
    if (front_end.black_level) {
        black_level_.emplace(*front_end.black_level, frame.pattern);
    }
    if (front_end.mesh) {
        mesh_.emplace(frame.width, frame.height, frame.pattern, *front_end.mesh);
    }
    if (front_end.radial) {
        radial_.emplace(pack_radial_registers(frame.width, frame.height, frame.pattern, *front_end.radial));
    }
    if (front_end.wb_gains) {
        wb_gains_.emplace(*front_end.wb_gains, frame.pattern);
    }
}

void FrontEndRows::set_columns(int32_t first_column, int32_t count) {
    first_column_ = static_cast<uint32_t>(first_column);
    count_ = static_cast<std::size_t>(count);
    if (mesh_) {
        mesh_->set_columns(first_column, count);
    }
}

void FrontEndRows::row(int32_t y, const uint32_t* source, uint32_t* destination) {
    const auto frame_row = static_cast<uint32_t>(y);
    // The first stage reads the source, those after it what it left.
    const auto run = [&](auto& stage) {
        if (stage) {
            stage->row(frame_row, first_column_, source, destination, count_);
            source = destination;
        }
    };
    run(black_level_);
    if (gains_before_shading_) {
        run(wb_gains_);
    }
    if (mesh_) {
        mesh_->row(frame_row, source, destination);
        source = destination;
    }
    run(radial_);
    if (!gains_before_shading_) {
        run(wb_gains_);
    }
    if (source != destination) {
        std::copy_n(source, count_, destination);
    }
}

void apply_front_end(const ConstRawFrame& frame, const FrontEnd& front_end, uint32_t* destination) {
    FrontEndRows rows(frame, front_end);
    const RawFrame output{destination, frame.width, frame.height, frame.pattern};
    for (int32_t y = 0; y < frame.height; ++y) {
        rows.row(y, frame.row(y), output.row(y));
    }
}

}  // namespace cali
