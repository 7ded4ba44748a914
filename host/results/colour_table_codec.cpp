#include "results/codecs.h"

namespace cali::host {

void fields(Archive& archive, ColourTable& table) {
    ColourTableSettings& settings = table.settings;
    archive.file("file", table.input.file);
    condition_fields(archive, table.input.taken);
    reference_field(archive, table.input.reference_file);
    archive.named("domain", settings.domain, table_domain_name, parse_table_domain);
    archive.field("nodes", settings.nodes, 2, 65);
    archive.field("strength", settings.strength);
    archive.field("radius", settings.radius);
    archive.field("chosen", table.chosen);
    archive.field("needed", table.needed);
    archive.field("limited_components", table.input.limited);
    archive.object("de_2000", [&](Archive figures) {
        figures.field("before_mean", table.before.mean);
        figures.field("before_worst", table.before.worst);
        figures.field("after_mean", table.after.mean);
        figures.field("after_worst", table.after.worst);
        figures.field("leave_one_out_mean", table.leave_one_out);
        figures.field("grey_movement", table.grey_movement);
        figures.derived("gain", table.gain());
    });
    archive.object_if(!table.input.corrected.empty(), "patches", [&](Archive patches) {
        patch_colours(patches, "corrected", table.input.corrected);
        patch_colours(patches, "behind_table", table.result);
        patch_colours(patches, "reference", table.input.reference);
        patches.field("de_2000_before", table.before.per_patch);
        patches.field("de_2000_after", table.after.per_patch);
    });
    archive.field("table", table.value);
    const auto nodes = static_cast<std::size_t>(settings.nodes);
    if (table.value.size() != nodes * nodes * nodes * 3) {
        archive.fail("table", std::to_string(table.value.size()) + " values",
                     std::to_string(nodes * nodes * nodes * 3));
    }
    record_fields(archive, table.record);
}

}  // namespace cali::host
