#include "base/json.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "base/error.h"

namespace cali::host {
namespace {

using Document = nlohmann::ordered_json;

/// `not_numbers`: what is not a number keeps its bits, for which only packed documents have room.
Document to_document(const Json& json, bool not_numbers = false) {
    if (const auto* object = json.as<Json::Object>()) {
        Document document = Document::object();
        for (const auto& [key, value] : *object) {
            document[key] = to_document(value, not_numbers);
        }
        return document;
    }
    if (const auto* array = json.as<Json::Array>()) {
        Document document = Document::array();
        for (const Json& element : *array) {
            document.push_back(to_document(element, not_numbers));
        }
        return document;
    }
    if (const auto* number = json.as<double>()) {
        if (not_numbers && std::isnan(*number)) {
            std::vector<uint8_t> bits(sizeof *number);
            std::memcpy(bits.data(), number, sizeof *number);
            return Document::binary(std::move(bits));
        }
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
        std::memcpy(&not_a_number, value.data(), std::min(value.size(), sizeof not_a_number));
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
    // File names need not be UTF-8: what is not becomes a replacement mark.
    return to_document(*this).dump(indent, ' ', false, Document::error_handler_t::replace);
}

Json Json::parse(const std::string& text, const std::vector<std::string>& enough) {
    Json json;
    Builder builder(json, enough);
    (void)Document::sax_parse(text, &builder);
    return json;
}

std::string Json::pack() const {
    std::string bytes;
    Document::to_cbor(to_document(*this, true), bytes);
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
