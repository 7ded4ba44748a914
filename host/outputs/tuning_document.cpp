#include "outputs/tuning_document.h"

#include <yaml.h>

#include <algorithm>
#include <memory>

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

constexpr int kMostLevels = 64;
constexpr std::size_t kIndent = 2;

/// The parser counts characters, files have bytes.
std::vector<std::size_t> character_starts(const std::string& text) {
    std::vector<std::size_t> starts;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) {
            starts.push_back(i);
        }
    }
    starts.push_back(text.size());
    return starts;
}

class TuningReader {
public:
    TuningReader(const std::string& text, const std::string& file)
        : text_(text), file_(file), starts_(character_starts(text)) {
        if (text.find('\0') != std::string::npos || text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE")) {
            throw InputError(file + ": no text in UTF-8");
        }
        if (yaml_parser_initialize(&parser_) == 0) {
            throw std::bad_alloc();
        }
        yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
        yaml_parser_set_input_string(&parser_, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    }
    ~TuningReader() {
        yaml_event_delete(&event_);
        yaml_parser_delete(&parser_);
    }
    TuningReader(const TuningReader&) = delete;
    TuningReader& operator=(const TuningReader&) = delete;

    TuningNode read() {
        expect(YAML_STREAM_START_EVENT);
        expect(YAML_DOCUMENT_START_EVENT);
        next();
        TuningNode root = node(1);
        expect(YAML_DOCUMENT_END_EVENT);
        next();
        if (event_.type != YAML_STREAM_END_EVENT) {
            fail(event_.start_mark, "a second document, expected one");
        }
        return root;
    }

private:
    [[noreturn]] void fail(const yaml_mark_t& mark, const std::string& what) const {
        throw InputError(file_ + text(":%zu: ", mark.line + 1) + what);
    }

    void next() {
        yaml_event_delete(&event_);
        if (yaml_parser_parse(&parser_, &event_) == 0) {
            const std::string problem = parser_.problem == nullptr ? "no text in UTF-8" : parser_.problem;
            fail(parser_.problem == nullptr ? parser_.mark : parser_.problem_mark, problem);
        }
    }

    void expect(yaml_event_type_t type) {
        next();
        if (event_.type != type) {
            fail(event_.start_mark, "no document with values");
        }
    }

    [[nodiscard]] std::size_t byte_at(const yaml_mark_t& mark) const {
        return starts_[std::min(mark.index, starts_.size() - 1)];
    }

    TuningNode placed() const {
        TuningNode made;
        made.begin = byte_at(event_.start_mark);
        made.end = byte_at(event_.end_mark);
        made.line = event_.start_mark.line + 1;
        made.column = made.begin - (text_.rfind('\n', made.begin == 0 ? 0 : made.begin - 1) + 1);
        if (made.begin == 0) {
            made.column = 0;
        }
        return made;
    }

    /// Of the event that is there; the one behind it is the next's.
    TuningNode node(int level) {
        if (level > kMostLevels) {
            fail(event_.start_mark, text("more than %d levels", kMostLevels));
        }
        TuningNode made = placed();
        const yaml_char_t* anchor = nullptr;
        if (event_.type == YAML_SCALAR_EVENT) {
            anchor = event_.data.scalar.anchor;
            made.text.assign(reinterpret_cast<const char*>(event_.data.scalar.value), event_.data.scalar.length);
            made.quoted = event_.data.scalar.style != YAML_PLAIN_SCALAR_STYLE;
        } else if (event_.type == YAML_SEQUENCE_START_EVENT) {
            anchor = event_.data.sequence_start.anchor;
            made.kind = TuningNode::Kind::list;
            made.flow = event_.data.sequence_start.style == YAML_FLOW_SEQUENCE_STYLE;
        } else if (event_.type == YAML_MAPPING_START_EVENT) {
            anchor = event_.data.mapping_start.anchor;
            made.kind = TuningNode::Kind::map;
            made.flow = event_.data.mapping_start.style == YAML_FLOW_MAPPING_STYLE;
        } else {
            fail(event_.start_mark, "an alias, which the stacks' readers do not follow");
        }
        if (anchor != nullptr) {
            fail(event_.start_mark, "an anchor, which the stacks' readers refuse");
        }
        if (made.kind == TuningNode::Kind::list) {
            for (next(); event_.type != YAML_SEQUENCE_END_EVENT; next()) {
                made.items.push_back(node(level + 1));
            }
        } else if (made.kind == TuningNode::Kind::map) {
            for (next(); event_.type != YAML_MAPPING_END_EVENT; next()) {
                TuningNode key = node(level + 1);
                if (key.kind != TuningNode::Kind::scalar) {
                    fail(event_.start_mark, "a key that is no name");
                }
                next();
                made.members.push_back({std::move(key), node(level + 1)});
            }
        }
        if (made.kind != TuningNode::Kind::scalar) {
            // A block ends where the next thing begins, behind blanks and comments: its last value ends before them.
            const bool empty = made.items.empty() && made.members.empty();
            made.end = made.flow || empty   ? byte_at(event_.end_mark)
                       : made.items.empty() ? made.members.back().value.end
                                            : made.items.back().end;
        }
        return made;
    }

    const std::string& text_;
    const std::string& file_;
    std::vector<std::size_t> starts_;
    yaml_parser_t parser_{};
    yaml_event_t event_{};
};

std::string key_text(const std::string& key, TuningForm form) {
    return form == TuningForm::json ? "\"" + key + "\": " : key + ": ";
}

std::string list_text(const TuningValue& value, std::size_t indent) {
    if (value.list.size() <= value.per_line) {
        std::string line = "[ ";
        for (std::size_t i = 0; i < value.list.size(); ++i) {
            line += (i == 0 ? "" : ", ") + value.list[i];
        }
        return line + " ]";
    }
    std::string lines = "[";
    for (std::size_t i = 0; i < value.list.size(); ++i) {
        lines += i % value.per_line == 0 ? "\n" + std::string(indent + kIndent, ' ') : " ";
        lines += value.list[i] + (i + 1 == value.list.size() ? "" : ",");
    }
    return lines + "\n" + std::string(indent, ' ') + "]";
}

/// In brackets; `indent` is that of the line it begins on.
std::string flow_text(const TuningValue& value, TuningForm form, std::size_t indent) {
    if (!value.number.empty()) {
        return value.number;
    }
    if (value.records.empty()) {
        return list_text(value, indent);
    }
    const std::string margin(indent + kIndent, ' ');
    std::string lines = "[";
    for (std::size_t i = 0; i < value.records.size(); ++i) {
        lines += "\n" + margin + "{";
        const TuningValue::Record& record = value.records[i];
        for (std::size_t k = 0; k < record.size(); ++k) {
            lines += "\n" + margin + std::string(kIndent, ' ') + key_text(record[k].first, form) +
                     flow_text(record[k].second, form, indent + 2 * kIndent) + (k + 1 == record.size() ? "" : ",");
        }
        lines += "\n" + margin + "}" + (i + 1 == value.records.size() ? "" : ",");
    }
    return lines + "\n" + std::string(indent, ' ') + "]";
}

/// Records one below the other, each behind a dash at `column`; the first line begins there.
std::string block_text(const std::vector<TuningValue::Record>& records, std::size_t column) {
    std::string lines;
    for (const TuningValue::Record& record : records) {
        for (std::size_t k = 0; k < record.size(); ++k) {
            lines += lines.empty() ? "" : "\n" + std::string(column, ' ');
            lines += (k == 0 ? "- " : "  ") + key_text(record[k].first, TuningForm::yaml) +
                     flow_text(record[k].second, TuningForm::yaml, column + kIndent);
        }
    }
    return lines;
}

std::size_t indent_of_line(const std::string& text, std::size_t at) {
    const std::size_t start = at == 0 ? 0 : text.rfind('\n', at - 1) + 1;
    return text.find_first_not_of(' ', start) - start;
}

}  // namespace

const TuningNode* TuningNode::find(const std::string& name) const {
    const auto found = std::ranges::find_if(members, [&](const auto& member) { return member.key.text == name; });
    return found == members.end() ? nullptr : &found->value;
}

TuningNode parse_tuning(const std::string& text, const std::string& file) { return TuningReader(text, file).read(); }

std::string json_tuning(const std::vector<std::pair<std::string, std::string>>& head,
                        const std::vector<TuningSection>& sections) {
    constexpr std::size_t kKeys = 16;
    std::string file = "{\n";
    for (const auto& [key, value] : head) {
        file += "    " + key_text(key, TuningForm::json) + value + ",\n";
    }
    file += "    \"algorithms\": [";
    for (const TuningSection& section : sections) {
        file += std::string(&section == sections.data() ? "" : ",") + "\n        {\n            " +
                key_text(section.name, TuningForm::json) + "{";
        for (const auto& [key, value] : section.keys) {
            file += std::string(&key == &section.keys.front().first ? "" : ",") + "\n" + std::string(kKeys, ' ') +
                    key_text(key, TuningForm::json) + flow_text(value, TuningForm::json, kKeys);
        }
        file += "\n            }\n        }";
    }
    return file + "\n    ]\n}\n";
}

std::string yaml_tuning(const std::string& comment, const std::string& version,
                        const std::vector<TuningSection>& sections) {
    constexpr std::size_t kKeys = 6;
    std::string file = comment + "%YAML 1.1\n---\nversion: " + version + "\nalgorithms:\n";
    for (const TuningSection& section : sections) {
        file += "  - " + section.name + ":\n";
        for (const auto& [key, value] : section.keys) {
            file += std::string(kKeys, ' ') + key + ":" +
                    (value.records.empty()
                         ? " " + flow_text(value, TuningForm::yaml, kKeys)
                         : "\n" + std::string(kKeys + kIndent, ' ') + block_text(value.records, kKeys + kIndent)) +
                    "\n";
        }
    }
    return file + "...\n";
}

void TuningEdits::set(const TuningNode& name, const TuningNode& map, const std::string& key, const TuningValue& value) {
    if (const TuningNode* const found = map.find(key)) {
        const bool below = found->kind == TuningNode::Kind::list && !found->flow && !value.records.empty();
        edits_.push_back(
            {found->begin, found->end,
             below ? block_text(value.records, found->column)
                   : (found->is_empty() ? " " : "") + flow_text(value, form_, indent_of_line(text_, found->begin))});
        return;
    }
    const std::string entry = key_text(key, form_);
    if (map.members.empty()) {
        // "{ }", or nothing at all: all that comes to it shares the brackets.
        const bool first = edits_.empty() || edits_.back().begin != map.begin;
        if (first) {
            edits_.push_back({map.begin, map.end, map.is_empty() ? " { }" : "{ }"});
        }
        std::string& made = edits_.back().text;
        const std::size_t margin = indent_of_line(text_, name.begin) + 2 * kIndent;
        made.insert(made.size() - 2, std::string(first ? "" : ",") + "\n" + std::string(margin, ' ') + entry +
                                         flow_text(value, form_, margin));
        return;
    }
    const std::size_t at = map.members.front().key.begin;
    const std::size_t margin = map.members.front().key.column;
    const bool own_line = indent_of_line(text_, at) == margin;
    edits_.push_back({at, at,
                      entry + flow_text(value, form_, own_line ? margin : indent_of_line(text_, at)) +
                          (map.flow ? own_line ? ",\n" : ", " : "\n") +
                          (own_line || !map.flow ? std::string(margin, ' ') : "")});
}

void TuningEdits::replace(const TuningNode& node, const std::string& text) {
    edits_.push_back({node.begin, node.end, text});
}

std::string TuningEdits::apply() const {
    std::vector<Edit> ordered = edits_;
    std::ranges::stable_sort(ordered, {}, &Edit::begin);
    std::string made;
    std::size_t at = 0;
    for (const Edit& edit : ordered) {
        made.append(text_, at, edit.begin - at);
        made += edit.text;
        at = edit.end;
    }
    return made.append(text_, at);
}

}  // namespace cali::host
