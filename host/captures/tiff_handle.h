/// libtiff on memory, without its printing.
#pragma once

#include <tiffio.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace cali::host {

/// Whether the content starts as TIFF files do.
[[nodiscard]] bool has_tiff_magic(std::span<const uint8_t> content);

/// A TIFF in memory: of a file's content, which must live as long, or one that is being made.
class TiffHandle {
public:
    /// Throws InputError where no directory can be read.
    TiffHandle(const std::filesystem::path& file, std::span<const uint8_t> content);
    /// For writing.
    explicit TiffHandle(const std::filesystem::path& file);
    ~TiffHandle();
    TiffHandle(const TiffHandle&) = delete;
    TiffHandle& operator=(const TiffHandle&) = delete;

    [[nodiscard]] TIFF* get() const { return tiff_; }

    /// Of a tag with one value, or its default.
    template <typename T>
    [[nodiscard]] T value(uint32_t tag, T otherwise) const {
        T found = otherwise;
        return TIFFGetFieldDefaulted(tiff_, tag, &found) == 1 ? found : otherwise;
    }

    /// Of a tag whose values are counted in 16 bits; empty where it is not there.
    template <typename T>
    [[nodiscard]] std::vector<T> values(uint32_t tag) const {
        uint16_t count = 0;
        const T* found = nullptr;
        std::vector<T> values;
        if (TIFFGetField(tiff_, tag, &count, &found) == 1 && found != nullptr) {
            values.assign(found, found + count);
        }
        return values;
    }

    /// Throws InputError where a strip or tile of the current directory ends outside the file.
    void require_data() const;

    /// Throws InputError with what libtiff said first, or else `what`.
    [[noreturn]] void fail(const char* what) const;

    /// What was written. The handle is closed.
    [[nodiscard]] std::string finish();

private:
    struct Stream;
    void open(const char* mode);

    std::filesystem::path file_;
    std::unique_ptr<Stream> stream_;
    TIFF* tiff_ = nullptr;
};

}  // namespace cali::host
