#include "base/json.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "base/error.h"

namespace cali::host {
namespace {

using Document = nlohmann::ordered_json;

/// A single value of the library's. It makes no lists and objects of its own: to destroy one takes memory, and where
/// there is none the program would end on the spot.
Document scalar(const Json& json) {
    if (const auto* number = json.as<double>()) {
        return *number;
    }
    if (const auto* integer = json.as<int64_t>()) {
        return *integer;
    }
    if (const auto* whole = json.as<uint64_t>()) {
        return *whole;
    }
    if (const auto* flag = json.as<bool>()) {
        return *flag;
    }
    if (const auto* text = json.as<std::string>()) {
        return *text;
    }
    return nullptr;
}

/// Indents by `indent` for each level, or stays on one line with -1.
class Dump {
public:
    explicit Dump(int indent) : indent_(indent) {}

    void add(const Json& json) {
        if (const auto* object = json.as<Json::Object>()) {
            list('{', *object, '}', [&](const auto& member) {
                add(Document(member.first));
                text_ += indent_ < 0 ? ":" : ": ";
                add(member.second);
            });
        } else if (const auto* array = json.as<Json::Array>()) {
            list('[', *array, ']', [&](const Json& element) { add(element); });
        } else {
            add(scalar(json));
        }
    }
    [[nodiscard]] std::string take() { return std::move(text_); }

private:
    // File names need not be UTF-8: what is not becomes a replacement mark.
    void add(const Document& value) { text_ += value.dump(-1, ' ', false, Document::error_handler_t::replace); }
    template <typename Members, typename Add>
    void list(char begin, const Members& members, char end, Add add_member) {
        text_ += begin;
        ++level_;
        for (const auto& member : members) {
            text_ += &member == members.data() ? "" : ",";
            end_line();
            add_member(member);
        }
        --level_;
        if (!members.empty()) {
            end_line();
        }
        text_ += end;
    }
    void end_line() {
        if (indent_ >= 0) {
            text_ += '\n';
            text_.append(level_ * static_cast<std::size_t>(indent_), ' ');
        }
    }

    int indent_;
    std::size_t level_ = 0;
    std::string text_;
};

/// What begins a list (4) or an object (5) of so many members in CBOR.
void pack_head(unsigned kind, uint64_t count, std::string& bytes) {
    constexpr unsigned kEightBytes = 27;
    bytes += static_cast<char>(kind << 5U | kEightBytes);
    for (unsigned shift = 64; shift > 0;) {
        shift -= 8;
        bytes += static_cast<char>(count >> shift);
    }
}

void pack_into(std::string& bytes, const Json& json) {
    const auto* const number = json.as<double>();
    if (const auto* object = json.as<Json::Object>()) {
        pack_head(5, object->size(), bytes);
        for (const auto& [key, value] : *object) {
            Document::to_cbor(key, bytes);
            pack_into(bytes, value);
        }
    } else if (const auto* array = json.as<Json::Array>()) {
        pack_head(4, array->size(), bytes);
        for (const Json& element : *array) {
            pack_into(bytes, element);
        }
    } else if (number != nullptr && std::isnan(*number)) {  // keeps its bits
        std::vector<uint8_t> bits(sizeof *number);
        std::memcpy(bits.data(), number, sizeof *number);
        Document::to_cbor(Document::binary(std::move(bits)), bytes);
    } else {
        Document::to_cbor(scalar(json), bytes);
    }
}

constexpr std::size_t kMostLevels = 100;

/// Takes what the parser meets as it goes: no document of the library's own stands between.
class Builder : public nlohmann::json_sax<Document> {
public:
    Builder(Json& root, const std::vector<std::string>& enough) : root_(root), enough_(enough) {}

    bool null() override { return add({}); }
    bool boolean(bool value) override { return add(value); }
    bool number_integer(number_integer_t value) override { return add(int64_t{value}); }
    bool number_unsigned(number_unsigned_t value) override { return add(uint64_t{value}); }
    bool number_float(number_float_t value, const string_t& /*text*/) override { return add(value); }
    bool string(string_t& value) override { return add(std::move(value)); }
    bool binary(binary_t& value) override {
        double not_a_number = 0;
        if (value.size() != sizeof not_a_number) {
            throw InputError("a number of " + std::to_string(value.size()) + " bytes, expected 8");
        }
        std::memcpy(&not_a_number, value.data(), sizeof not_a_number);
        return add(not_a_number);
    }
    bool start_object(std::size_t /*elements*/) override { return open(Json::object()); }
    bool start_array(std::size_t /*elements*/) override { return open(Json::array()); }
    bool key(string_t& name) override {
        key_ = std::move(name);
        return true;
    }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                     const Document::exception& problem) override {
        throw InputError(problem.what());
    }

private:
    Json& place(Json value) {
        if (open_.empty()) {
            return root_ = std::move(value);
        }
        Json& parent = *open_.back();
        if (parent.as<Json::Object>() != nullptr) {
            return parent[key_] = std::move(value);
        }
        return parent.push_back(std::move(value));
    }
    bool add(Json value) {
        place(std::move(value));
        return goes_on();
    }
    bool open(Json container) {
        if (open_.size() == kMostLevels) {
            throw InputError("more than " + std::to_string(kMostLevels) + " levels of lists and objects");
        }
        open_.push_back(&place(std::move(container)));
        return true;
    }
    bool close() {
        open_.pop_back();
        return goes_on();
    }
    [[nodiscard]] bool goes_on() const {
        return enough_.empty() || open_.size() != 1 ||
               !std::ranges::all_of(enough_, [&](const std::string& name) { return root_.find(name) != nullptr; });
    }

    Json& root_;
    const std::vector<std::string>& enough_;
    std::vector<Json*> open_;  ///< a list or object grows only while it is the last of them
    std::string key_;
};

}  // namespace

Json& Json::operator[](const std::string& key) {
    if (as<Object>() == nullptr) {
        value_ = Object{};
    }
    auto& members = std::get<Object>(value_);
    const auto known = std::ranges::find(members, key, &Object::value_type::first);
    return known != members.end() ? known->second : members.emplace_back(key, Json()).second;
}

Json& Json::push_back(Json element) {
    if (as<Array>() == nullptr) {
        value_ = Array{};
    }
    return std::get<Array>(value_).emplace_back(std::move(element));
}

const Json* Json::find(const std::string& key) const {
    const Object* const members = as<Object>();
    if (members == nullptr) {
        return nullptr;
    }
    const auto known = std::ranges::find(*members, key, &Object::value_type::first);
    return known != members->end() ? &known->second : nullptr;
}

std::string Json::dump(int indent) const {
    Dump dump(indent);
    dump.add(*this);
    return dump.take();
}

Json Json::parse(const std::string& text, const std::vector<std::string>& enough) {
    Json json;
    Builder builder(json, enough);
    (void)Document::sax_parse(text, &builder);
    return json;
}

std::string Json::pack() const {
    std::string bytes;
    pack_into(bytes, *this);
    return bytes;
}

Json Json::unpack(const std::string& bytes) {
    Json json;
    const std::vector<std::string> all;
    Builder builder(json, all);
    (void)Document::sax_parse(bytes, &builder, Document::input_format_t::cbor);
    return json;
}

}  // namespace cali::host
