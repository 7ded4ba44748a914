/// Fields of results as a walk that serves both ways: the same lines write a section and read it back.
#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/choice.h"
#include "base/json.h"

namespace cali::host {

/// One object of the document. Reading throws InputError, which names the field, what was found and what was expected.
class Archive {
public:
    /// File names are written relative to `folder` where they lie below it; as they are where none is given.
    static Archive writer(Json& object, const std::optional<std::filesystem::path>& folder) {
        return Archive(&object, nullptr, {folder}, "");
    }
    /// Relative file names are taken to lie in `folder`, where one is given.
    static Archive reader(const Json& object, const std::optional<std::filesystem::path>& folder) {
        return Archive(nullptr, &object, {folder}, "");
    }

    /// Whether the results are of a sensor with one channel; holds for what is walked from here on.
    [[nodiscard]] bool mono() const { return context_.mono; }
    void set_mono(bool mono) { context_.mono = mono; }

    [[nodiscard]] bool reading() const { return from_ != nullptr; }
    /// Whether there is a member to read.
    [[nodiscard]] bool holds(const char* key) const { return from_->find(key) != nullptr; }

    /// Numbers, truth values, texts, and lists of them of any depth. Arrays must have their length.
    template <typename T>
    void field(const char* key, T& value) {
        if (reading()) {
            read(member(key), where(key), value);
        } else {
            (*into_)[key] = Json(value);
        }
    }

    /// A whole number within low..high.
    template <std::integral T>
    void field(const char* key, T& value, int64_t low, int64_t high) {
        if (reading()) {
            value = static_cast<T>(whole_number(member(key), where(key), low, high));
        } else {
            (*into_)[key] = Json(value);
        }
    }

    /// Absent where there is no value.
    template <typename T>
    void field(const char* key, std::optional<T>& value) {
        if (reading() ? holds(key) : value.has_value()) {
            if (reading()) {
                value.emplace();
            }
            field(key, *value);
        }
    }

    /// A choice, as text. `name_of(choice)`; `parse(text, what)` throws InputError where no choice has that name.
    template <typename Choice, typename Name, typename Parse>
    void named(const char* key, Choice& value, Name name_of, Parse parse) {
        std::string name = reading() ? "" : name_of(value);
        field(key, name);
        if (reading()) {
            value = parse(name, where(key));
        }
    }

    void file(const char* key, std::filesystem::path& value);
    /// Absent where there is none.
    void file(const char* key, std::optional<std::filesystem::path>& value);
    /// A file, or else the word for none.
    void file_or(const char* key, std::filesystem::path& value, const char* none);
    void file_or_unity(const char* key, std::filesystem::path& value) { file_or(key, value, "unity"); }

    /// Follows from other fields: written for readers, not read back.
    void derived(const char* key, Json value) {
        if (!reading()) {
            (*into_)[key] = std::move(value);
        }
    }

    /// Where Fields is called with an Archive of the member.
    template <typename Fields>
    void object(const char* key, Fields fields) {
        if (reading()) {
            fields(Archive(nullptr, &object_member(key), context_, where(key)));
        } else {
            Json& made = (*into_)[key];
            if (made.as<Json::Object>() == nullptr) {
                made = Json::object();
            }
            fields(Archive(&made, nullptr, context_, where(key)));
        }
    }

    /// Absent where there is nothing to tell, and from files of versions that did not have it.
    template <typename Fields>
    void object_if(bool present, const char* key, Fields fields) {
        if (reading() ? holds(key) : present) {
            object(key, fields);
        }
    }

    /// One object per entry; Fields is called with its Archive and the entry. An empty list is not written.
    template <typename Entry, typename Fields>
    void list(const char* key, std::vector<Entry>& entries, Fields fields) {
        if (reading()) {
            const std::size_t count = holds(key) ? elements(key).size() : 0;
            entries.resize(count);
            for (std::size_t i = 0; i < count; ++i) {
                const std::string name = where(key) + "[" + std::to_string(i) + "]";
                fields(Archive(nullptr, &require_object(elements(key)[i], name), context_, name), entries[i]);
            }
            return;
        }
        for (Entry& entry : entries) {
            Json made = Json::object();
            fields(Archive(&made, nullptr, context_, ""), entry);
            (*into_)[key].push_back(std::move(made));
        }
    }

    /// "lens_shading[0].mesh.cols", for messages.
    [[nodiscard]] std::string where(const char* key) const { return where_.empty() ? key : where_ + "." + key; }

    /// Throws InputError.
    [[noreturn]] void fail(const char* key, const std::string& found, const std::string& expected) const;

private:
    struct Context {
        std::optional<std::filesystem::path> folder;
        bool mono = false;
    };

    Archive(Json* into, const Json* from, Context context, std::string where)
        : into_(into), from_(from), context_(std::move(context)), where_(std::move(where)) {}

    [[nodiscard]] const Json& member(const char* key) const;
    [[nodiscard]] const Json& object_member(const char* key) const { return require_object(member(key), where(key)); }
    [[nodiscard]] const Json::Array& elements(const char* key) const { return list_of(member(key), where(key)); }
    static const Json& require_object(const Json& json, const std::string& where);
    static const Json::Array& list_of(const Json& json, const std::string& where);
    static int64_t whole_number(const Json& json, const std::string& where, int64_t low, int64_t high);
    static double number(const Json& json, const std::string& where);

    static void read(const Json& json, const std::string& where, bool& value);
    static void read(const Json& json, const std::string& where, std::string& value);
    template <std::integral T>
    static void read(const Json& json, const std::string& where, T& value) {
        constexpr auto kMost = std::numeric_limits<T>::max();
        constexpr bool kFits = std::in_range<int64_t>(kMost);
        value = static_cast<T>(whole_number(json, where, std::numeric_limits<T>::min(),
                                            kFits ? static_cast<int64_t>(kMost) : std::numeric_limits<int64_t>::max()));
    }
    template <std::floating_point T>
    static void read(const Json& json, const std::string& where, T& value) {
        value = static_cast<T>(number(json, where));
    }
    template <typename T>
    static void read(const Json& json, const std::string& where, std::vector<T>& values) {
        const Json::Array& found = list_of(json, where);
        values.resize(found.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            read(found[i], where, values[i]);
        }
    }
    template <typename T, std::size_t size>
    static void read(const Json& json, const std::string& where, std::array<T, size>& values) {
        const Json::Array& found = list_of(json, where);
        require_size(found.size(), size, where);
        for (std::size_t i = 0; i < size; ++i) {
            read(found[i], where, values[i]);
        }
    }
    static void require_size(std::size_t found, std::size_t expected, const std::string& where);

    Json* into_;
    const Json* from_;
    Context context_;
    std::string where_;
};

}  // namespace cali::host
