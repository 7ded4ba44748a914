/// Tuning files of camera stacks, made of results: whole ones with our algorithms alone, and values in a file that
/// stands.
#pragma once

#include <string>
#include <vector>

#include "outputs/tuning_document.h"
#include "results/camera_values.h"

namespace cali::host {

/// Codes of these files have 16 bits, ours 12.
inline constexpr double kStackCode = 16;

/// What is written, and what could not be.
struct ExportText {
    std::string text;
    std::vector<std::string> notes;
};

/// The stack's algorithms that the values are enough for. `notes` receives what they are not enough for.
struct StackValues {
    std::vector<TuningSection> sections;
    std::vector<std::string> notes;
};

/// "a fragment: ...": that the file is not all a stack needs, and what it was made of.
[[nodiscard]] std::string fragment_note(const CameraValues& values);

/// Values of `made` put in the place of those of `base`, in sections that it has; `also` puts what else has to follow.
/// Throws InputError where `base` is none of the stack's files; `file` names it.
template <typename Also>
[[nodiscard]] ExportText update_tuning(const std::string& base, const std::string& file, const StackValues& made,
                                       Also also);

/// The section of that name in a tuning file, with its key; nulls where there is none.
struct FoundSection {
    const TuningNode* name = nullptr;
    const TuningNode* keys = nullptr;
};
[[nodiscard]] FoundSection find_section(const TuningNode& root, const std::string& name);

/// Low and high ends of every mode of white balance, moved within those of the curve.
void clip_modes(const TuningNode& modes, int low, int high, TuningEdits& edits);

template <typename Also>
ExportText update_tuning(const std::string& base, const std::string& file, const StackValues& made, Also also) {
    const TuningNode root = parse_tuning(base, file);
    const std::size_t first = base.find_first_not_of(" \t\r\n");
    TuningEdits edits(base, first != std::string::npos && base[first] == '{' ? TuningForm::json : TuningForm::yaml);
    ExportText updated{"", made.notes};
    for (const TuningSection& section : made.sections) {
        const FoundSection found = find_section(root, section.name);
        if (found.keys == nullptr) {
            updated.notes.push_back(file + ": has no " + section.name + ", whose values are left out");
            continue;
        }
        for (const auto& [key, value] : section.keys) {
            edits.set(*found.name, *found.keys, key, value);
        }
    }
    also(root, edits);
    updated.text = edits.apply();
    return updated;
}

}  // namespace cali::host
