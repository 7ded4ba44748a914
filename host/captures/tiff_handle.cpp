#include "captures/tiff_handle.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/error.h"
#include "base/text.h"
#include "captures/limits.h"

namespace cali::host {

/// The content, where it stands, and what went wrong first.
struct TiffHandle::Stream {
    std::span<const uint8_t> content;
    std::string written;
    bool writing = false;
    uint64_t at = 0;
    std::array<char, 200> message{};

    [[nodiscard]] uint64_t size() const { return writing ? written.size() : content.size(); }
};

namespace {

constexpr std::array<std::string_view, 4> kTiffMagics = {std::string_view("II*\0", 4), std::string_view("MM\0*", 4),
                                                         std::string_view("II+\0", 4), std::string_view("MM\0+", 4)};

/// What libtiff calls. No exception may pass through it; nothing here throws but for want of memory while writing.
template <typename Stream>
struct Calls {
    static Stream& of(thandle_t handle) { return *static_cast<Stream*>(handle); }

    static tmsize_t read(thandle_t handle, void* buffer, tmsize_t size) {
        Stream& stream = of(handle);
        const uint64_t from = std::min(stream.at, stream.size());
        const auto count =
            static_cast<std::size_t>(std::min<uint64_t>(static_cast<uint64_t>(size), stream.size() - from));
        const void* const data = stream.writing ? static_cast<const void*>(stream.written.data() + from)
                                                : static_cast<const void*>(stream.content.data() + from);
        if (count > 0) {
            std::memcpy(buffer, data, count);
        }
        stream.at = from + count;
        return static_cast<tmsize_t>(count);
    }

    static tmsize_t write(thandle_t handle, void* buffer, tmsize_t size) {
        Stream& stream = of(handle);
        const auto count = static_cast<std::size_t>(size);
        if (!stream.writing) {
            return 0;
        }
        if (stream.written.size() < stream.at + count) {
            stream.written.resize(static_cast<std::size_t>(stream.at) + count);
        }
        std::memcpy(stream.written.data() + stream.at, buffer, count);
        stream.at += count;
        return size;
    }

    static toff_t seek(thandle_t handle, toff_t offset, int whence) {
        Stream& stream = of(handle);
        stream.at = offset + (whence == SEEK_CUR ? stream.at : whence == SEEK_END ? stream.size() : 0);
        return stream.at;
    }

    static int close(thandle_t /*handle*/) { return 0; }
    static toff_t size(thandle_t handle) { return of(handle).size(); }
    static int map(thandle_t /*handle*/, void** /*base*/, toff_t* /*size*/) { return 0; }
    static void unmap(thandle_t /*handle*/, void* /*base*/, toff_t /*size*/) {}

    static int error(TIFF* /*tiff*/, void* user, const char* /*module*/, const char* format, va_list arguments) {
        auto& message = static_cast<Stream*>(user)->message;
        if (message[0] == '\0') {
            (void)std::vsnprintf(message.data(), message.size(), format, arguments);
            std::ranges::replace(message, '\n', ' ');
        }
        return 1;
    }
    static int warning(TIFF* /*tiff*/, void* /*user*/, const char* /*module*/, const char* /*format*/, va_list) {
        return 1;
    }
};

}  // namespace

bool has_tiff_magic(std::span<const uint8_t> content) {
    const std::string_view start(reinterpret_cast<const char*>(content.data()),
                                 std::min<std::size_t>(content.size(), 4));
    return std::ranges::find(kTiffMagics, start) != kTiffMagics.end();
}

TiffHandle::TiffHandle(const std::filesystem::path& file, std::span<const uint8_t> content)
    : file_(file), stream_(std::make_unique<Stream>()) {
    stream_->content = content;
    open("rm");
}

TiffHandle::TiffHandle(const std::filesystem::path& file) : file_(file), stream_(std::make_unique<Stream>()) {
    stream_->writing = true;
    open("wl");
}

TiffHandle::~TiffHandle() {
    if (tiff_ != nullptr) {
        TIFFClose(tiff_);
    }
}

void TiffHandle::open(const char* mode) {
    using Call = Calls<Stream>;
    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    if (options != nullptr) {
        TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kMostFileBytes));
        TIFFOpenOptionsSetErrorHandlerExtR(options, Call::error, stream_.get());
        TIFFOpenOptionsSetWarningHandlerExtR(options, Call::warning, stream_.get());
        tiff_ = TIFFClientOpenExt(file_.string().c_str(), mode, stream_.get(), Call::read, Call::write, Call::seek,
                                  Call::close, Call::size, Call::map, Call::unmap, options);
        TIFFOpenOptionsFree(options);
    }
    if (tiff_ == nullptr) {
        fail("it has no directory");
    }
}

void TiffHandle::require_data() const {
    const uint32_t count = TIFFIsTiled(tiff_) != 0 ? TIFFNumberOfTiles(tiff_) : TIFFNumberOfStrips(tiff_);
    if (count == 0) {
        fail("it has no samples");
    }
    for (uint32_t i = 0; i < count; ++i) {
        int failed = 0;
        const uint64_t offset = TIFFGetStrileOffsetWithErr(tiff_, i, &failed);
        const uint64_t bytes = failed == 0 ? TIFFGetStrileByteCountWithErr(tiff_, i, &failed) : 0;
        if (failed != 0) {
            fail("it does not tell where its samples are");
        }
        if (offset > stream_->size() || bytes > stream_->size() - offset || bytes == 0) {
            throw InputError(file_.string() +
                             text(": truncated: samples from byte %llu, %llu of them, expected them within %llu bytes",
                                  static_cast<unsigned long long>(offset), static_cast<unsigned long long>(bytes),
                                  static_cast<unsigned long long>(stream_->size())));
        }
    }
}

void TiffHandle::fail(const char* what) const {
    const char* const message = stream_->message[0] != '\0' ? stream_->message.data() : what;
    throw InputError(file_.string() + ": cannot be " + (stream_->writing ? "made" : "read") + " as TIFF: " + message);
}

std::string TiffHandle::finish() {
    TIFFClose(tiff_);
    tiff_ = nullptr;
    if (stream_->message[0] != '\0') {
        fail("");
    }
    return std::move(stream_->written);
}

}  // namespace cali::host
