/// Tuning files of camera stacks (JSON, YAML), read with the place of every value, so that single ones can be replaced
/// and the rest of the file stays as it is.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace cali::host {

struct TuningMember;

/// A value of the file; bytes `begin` to `end` of its text are the value itself.
struct TuningNode {
    enum class Kind { scalar, list, map };

    Kind kind = Kind::scalar;
    std::string text;     ///< of a scalar
    bool quoted = false;  ///< likewise
    bool flow = false;    ///< of a list or map: in brackets, as JSON has them
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t line = 0;               ///< from 1
    std::size_t column = 0;             ///< from 0, in bytes
    std::vector<TuningNode> items;      ///< of a list
    std::vector<TuningMember> members;  ///< of a map, as they follow each other

    /// The first member of that name; null where there is none.
    [[nodiscard]] const TuningNode* find(const std::string& name) const;
    /// A scalar without content, as a key without a value has it.
    [[nodiscard]] bool is_empty() const { return kind == Kind::scalar && !quoted && text.empty(); }
};

struct TuningMember {
    TuningNode key;
    TuningNode value;
};

/// The file's one document, comments passed over. Throws InputError, which names `file` and the line, for what is no
/// YAML, for anchors and aliases, which the stacks' readers refuse, and for more than 64 levels.
[[nodiscard]] TuningNode parse_tuning(const std::string& text, const std::string& file);

/// A value to be written, its numbers as text: whole ones stay whole.
struct TuningValue {
    using Record = std::vector<std::pair<std::string, TuningValue>>;

    std::string number;             ///< or empty, and then
    std::vector<std::string> list;  ///< numbers; empty: records
    std::size_t per_line = 0;       ///< of the list
    std::vector<Record> records;

    [[nodiscard]] static TuningValue of(std::string number) { return {std::move(number), {}, 0, {}}; }
    [[nodiscard]] static TuningValue of(std::vector<std::string> list, std::size_t per_line) {
        return {"", std::move(list), per_line, {}};
    }
    [[nodiscard]] static TuningValue of(std::vector<Record> records) { return {"", {}, 0, std::move(records)}; }
};

/// An algorithm of the stack with the keys that results have values for.
struct TuningSection {
    std::string name;
    TuningValue::Record keys;
};

enum class TuningForm { json, yaml };

/// Whole files with these sections alone; `head` is the root's own members, texts as they are to stand in the file.
[[nodiscard]] std::string json_tuning(const std::vector<std::pair<std::string, std::string>>& head,
                                      const std::vector<TuningSection>& sections);
[[nodiscard]] std::string yaml_tuning(const std::string& comment, const std::string& version,
                                      const std::vector<TuningSection>& sections);

/// Replaces values in a text, each in its place.
class TuningEdits {
public:
    TuningEdits(const std::string& text, TuningForm form) : text_(text), form_(form) {}

    /// The value of a key of `map`, whose own key is `name`; a key that is not there comes before the first.
    void set(const TuningNode& name, const TuningNode& map, const std::string& key, const TuningValue& value);
    /// A scalar alone.
    void replace(const TuningNode& node, const std::string& text);

    [[nodiscard]] std::string apply() const;

private:
    struct Edit {
        std::size_t begin;
        std::size_t end;
        std::string text;
    };
    const std::string& text_;
    TuningForm form_;
    std::vector<Edit> edits_;
};

}  // namespace cali::host
