/// Documents of named values, as results and truth files hold them. Keys keep their order.
#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace cali::host {

/// Read and written by a library behind this type: its header would cost every file that includes it seconds.
class Json {
public:
    using Array = std::vector<Json>;
    using Object = std::vector<std::pair<std::string, Json>>;

    Json() = default;
    Json(bool value) : value_(value) {}  // NOLINT(google-explicit-constructor): values are written as they are
    template <std::integral T>
    Json(T value) {  // NOLINT(google-explicit-constructor)
        if constexpr (std::is_signed_v<T>) {
            value_ = static_cast<int64_t>(value);
        } else {
            value_ = static_cast<uint64_t>(value);
        }
    }
    template <std::floating_point T>
    Json(T value) : value_(static_cast<double>(value)) {}    // NOLINT(google-explicit-constructor)
    Json(std::string value) : value_(std::move(value)) {}    // NOLINT(google-explicit-constructor)
    Json(const char* value) : value_(std::string(value)) {}  // NOLINT(google-explicit-constructor)
    Json(Object members) : value_(std::move(members)) {}     // NOLINT(google-explicit-constructor)
    template <typename T>
    Json(const std::vector<T>& values) : value_(Array(values.begin(), values.end())) {}  // NOLINT
    template <typename T, std::size_t size>
    Json(const std::array<T, size>& values) : value_(Array(values.begin(), values.end())) {}  // NOLINT

    [[nodiscard]] static Json array() { return Json(Array{}); }
    [[nodiscard]] static Json object() { return Json(Object{}); }

    /// The member of that name, made where there is none; what is no object becomes one.
    Json& operator[](const std::string& key);
    /// What is no list becomes one. Returns the element in it.
    Json& push_back(Json element);

    /// Null where there is none, or this is no object.
    [[nodiscard]] const Json* find(const std::string& key) const;
    template <typename T>
    [[nodiscard]] const T* as() const {
        return std::get_if<T>(&value_);
    }
    [[nodiscard]] bool is_null() const { return as<std::nullptr_t>() != nullptr; }

    /// Indented, or with -1 on one line; numbers in the fewest digits that give them back, what is not finite as null.
    [[nodiscard]] std::string dump(int indent = 2) const;
    /// Throws InputError, which tells where the text leaves the form. `enough`: members of the root behind which
    /// nothing is looked at, once all are there.
    [[nodiscard]] static Json parse(const std::string& text, const std::vector<std::string>& enough = {});

    /// As bytes for another process of the same program: quicker either way, and every number comes back.
    [[nodiscard]] std::string pack() const;
    [[nodiscard]] static Json unpack(const std::string& bytes);

private:
    explicit Json(Array elements) : value_(std::move(elements)) {}

    std::variant<std::nullptr_t, bool, int64_t, uint64_t, double, std::string, Array, Object> value_{nullptr};
};

}  // namespace cali::host
