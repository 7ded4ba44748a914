#include "results/archive.h"

#include "base/error.h"
#include "base/text.h"

namespace cali::host {
namespace {

[[noreturn]] void refuse(const std::string& where, const std::string& found, const std::string& expected) {
    throw InputError(where + " is " + found + ", expected " + expected);
}

std::string relative_name(const std::filesystem::path& file, const std::filesystem::path& folder) {
    const std::filesystem::path relative = std::filesystem::absolute(file).lexically_normal().lexically_relative(
        std::filesystem::absolute(folder).lexically_normal());
    const bool below = !relative.empty() && *relative.begin() != "..";
    if (below) {
        return relative.generic_string();
    }
    // Never where on this machine it lies: the same inputs give the same bytes anywhere.
    return file.is_absolute() ? file.filename().generic_string() : file.generic_string();
}

std::filesystem::path named_file(const std::string& name, const std::filesystem::path& folder) {
    const std::filesystem::path file = path_of(name);
    const bool in_folder = !file.empty() && file.is_relative() && *file.begin() != "..";
    return in_folder ? folder / file : file;
}

/// Long enough to be recognised.
std::string excerpt(const Json& json) {
    constexpr std::size_t kMost = 60;
    if (json.as<Json::Object>() != nullptr) {
        return "an object";
    }
    if (json.as<Json::Array>() != nullptr) {
        return "a list";
    }
    std::string text = json.dump();
    return text.size() > kMost ? text.substr(0, kMost) + "..." : text;
}

}  // namespace

void Archive::file(const char* key, std::filesystem::path& value) {
    std::string name;
    if (!reading()) {
        name = context_.folder ? relative_name(value, *context_.folder) : value.string();
    }
    field(key, name);
    if (reading()) {
        value = context_.folder ? named_file(name, *context_.folder) : path_of(name);
    }
}

void Archive::file(const char* key, std::optional<std::filesystem::path>& value) {
    if (reading() ? holds(key) : value.has_value()) {
        std::filesystem::path name = value.value_or("");
        file(key, name);
        value = name;
    }
}

void Archive::file_or(const char* key, std::filesystem::path& value, const char* none) {
    if (!reading() && value.empty()) {
        (*into_)[key] = none;
        return;
    }
    if (reading() && holds(key)) {
        const auto* const name = member(key).as<std::string>();
        if (name != nullptr && *name == none) {
            value.clear();
            return;
        }
    }
    file(key, value);
}

void Archive::fail(const char* key, const std::string& found, const std::string& expected) const {
    refuse(where(key), found, expected);
}

const Json& Archive::member(const char* key) const {
    const Json* const found = from_->find(key);
    if (found == nullptr) {
        throw InputError(where(key) + " is missing");
    }
    return *found;
}

const Json& Archive::require_object(const Json& json, const std::string& where) {
    if (json.as<Json::Object>() == nullptr) {
        refuse(where, excerpt(json), "an object");
    }
    return json;
}

const Json::Array& Archive::list_of(const Json& json, const std::string& where) {
    const auto* const list = json.as<Json::Array>();
    if (list == nullptr) {
        refuse(where, excerpt(json), "a list");
    }
    return *list;
}

int64_t Archive::whole_number(const Json& json, const std::string& where, int64_t low, int64_t high) {
    const auto* const whole = json.as<uint64_t>();
    const auto* const integer = json.as<int64_t>();
    const bool inside = integer != nullptr
                            ? *integer >= low && *integer <= high
                            : whole != nullptr && std::in_range<int64_t>(*whole) &&
                                  std::cmp_greater_equal(*whole, low) && std::cmp_less_equal(*whole, high);
    if (!inside) {
        refuse(where, excerpt(json), "a whole number within " + std::to_string(low) + ".." + std::to_string(high));
    }
    return integer != nullptr ? *integer : static_cast<int64_t>(*whole);
}

double Archive::number(const Json& json, const std::string& where) {
    if (const auto* const value = json.as<double>()) {
        return *value;
    }
    if (const auto* const whole = json.as<uint64_t>()) {
        return static_cast<double>(*whole);
    }
    if (const auto* const integer = json.as<int64_t>()) {
        return static_cast<double>(*integer);
    }
    if (json.is_null()) {
        return std::numeric_limits<double>::quiet_NaN();  // what is not finite is written as null
    }
    refuse(where, excerpt(json), "a number");
}

void Archive::read(const Json& json, const std::string& where, bool& value) {
    const bool* const found = json.as<bool>();
    if (found == nullptr) {
        refuse(where, excerpt(json), "true or false");
    }
    value = *found;
}

void Archive::read(const Json& json, const std::string& where, std::string& value) {
    const auto* const found = json.as<std::string>();
    if (found == nullptr) {
        refuse(where, excerpt(json), "a text");
    }
    value = *found;
}

void Archive::require_size(std::size_t found, std::size_t expected, const std::string& where) {
    if (found != expected) {
        refuse(where, "a list of " + std::to_string(found), std::to_string(expected) + " elements");
    }
}

}  // namespace cali::host
