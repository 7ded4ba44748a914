#include "base/json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/error.h"

namespace cali::host {
namespace {

using Document = nlohmann::ordered_json;

Document to_document(const Json& json) {
    if (const auto* object = json.as<Json::Object>()) {
        Document document = Document::object();
        for (const auto& [key, value] : *object) {
            document[key] = to_document(value);
        }
        return document;
    }
    if (const auto* array = json.as<Json::Array>()) {
        Document document = Document::array();
        for (const Json& element : *array) {
            document.push_back(to_document(element));
        }
        return document;
    }
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

constexpr int kMostLevels = 100;

Json from_document(const Document& document, int levels = kMostLevels) {
    if (levels == 0) {
        throw InputError("more than " + std::to_string(kMostLevels) + " levels of lists and objects");
    }
    switch (document.type()) {
        case Document::value_t::object: {
            Json json = Json::object();
            for (const auto& [key, value] : document.items()) {
                json[key] = from_document(value, levels - 1);
            }
            return json;
        }
        case Document::value_t::array: {
            Json json = Json::array();
            for (const Document& element : document) {
                json.push_back(from_document(element, levels - 1));
            }
            return json;
        }
        case Document::value_t::boolean: return document.get<bool>();
        case Document::value_t::number_integer: return document.get<int64_t>();
        case Document::value_t::number_unsigned: return document.get<uint64_t>();
        case Document::value_t::number_float: return document.get<double>();
        case Document::value_t::string: return document.get<std::string>();
        default: return {};
    }
}

}  // namespace

Json& Json::operator[](const std::string& key) {
    if (as<Object>() == nullptr) {
        value_ = Object{};
    }
    auto& members = std::get<Object>(value_);
    const auto known = std::ranges::find(members, key, &Object::value_type::first);
    return known != members.end() ? known->second : members.emplace_back(key, Json()).second;
}

void Json::push_back(Json element) {
    if (as<Array>() == nullptr) {
        value_ = Array{};
    }
    std::get<Array>(value_).push_back(std::move(element));
}

const Json* Json::find(const std::string& key) const {
    const Object* const members = as<Object>();
    if (members == nullptr) {
        return nullptr;
    }
    const auto known = std::ranges::find(*members, key, &Object::value_type::first);
    return known != members->end() ? &known->second : nullptr;
}

std::string Json::dump() const {
    // File names need not be UTF-8: what is not becomes a replacement mark.
    return to_document(*this).dump(2, ' ', false, Document::error_handler_t::replace);
}

Json Json::parse(const std::string& text) {
    try {
        return from_document(Document::parse(text));
    } catch (const Document::exception& problem) {
        throw InputError(problem.what());
    }
}

}  // namespace cali::host
