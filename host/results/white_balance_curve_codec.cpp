#include "results/codecs.h"

namespace cali::host {

void fields(Archive& archive, CurveResult& curve) {
    archive.field("a", curve.fit.a);
    archive.field("b", curve.fit.b);
    archive.field("c", curve.fit.c);
    std::array<uint32_t, 3> words = std::to_array(curve.fit.pack.word);
    archive.field("pack", words);
    std::ranges::copy(words, curve.fit.pack.word);
    archive.field("reference_k", curve.reference_k);
    archive.list("lights", curve.points, [](Archive entry, CurvePoint& point) {
        entry.field("illuminant_k", point.illuminant_k);
        entry.field("x", point.x);
        entry.field("y", point.y);
        entry.field("fitted_y", point.fitted_y);
    });
    archive.field("table", curve.table);
    record_fields(archive, curve.record);
}

}  // namespace cali::host
