/// One call of an export, with buffers of exactly the promised length between the sanitizer's red zones, and what must
/// hold of any: a rejection leaves everything as it was and says why, inputs stay as they are.
#pragma once

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "boundary/warning.h"
#include "cali/cali.h"
#include "draw.h"

namespace cali::fuzz {

struct Size {
    int32_t width = 0;
    int32_t height = 0;
    std::size_t count = 0;  ///< of photosites; 0 where the size is refused
};

enum class Changes { never, by_success, always };

class Call {
public:
    explicit Call(Draw& draw) : draw_(draw) {
        warnings() = 0;
        set_warning_sink([](const char*, const char*) { ++warnings(); });
    }

    /// Everyday sizes, long ones, and such as are refused.
    Size size() {
        constexpr int32_t kMost = std::numeric_limits<int32_t>::max();
        const auto of = [](int64_t width, int64_t height) {
            const bool held = width >= 0 && height >= 0 && width * height <= kMost;
            return Size{static_cast<int32_t>(width), static_cast<int32_t>(height),
                        held ? static_cast<std::size_t>(width * height) : 0};
        };
        switch (draw_.within(0, 31)) {
            case 0: return of(draw_.of({-1, -4, kMost, 65536, -kMost - 1}), draw_.of({3, 65536, kMost, -2}));
            case 1: return of(draw_.within(1, 9000), draw_.within(0, 2));
            case 2: return of(draw_.within(0, 2), draw_.within(1, 9000));
            case 3: return of(0, draw_.of({0, 5, kMost}));
            default: return of(draw_.within(0, 40), draw_.within(0, 40));
        }
    }
    int32_t pattern() { return draw_.one_in(16) ? draw_.of({-1, 4, 19, 1 << 30}) : draw_.within(0, 3); }

    template <typename T>
    T* buffer(const std::vector<T>& values, Changes changes = Changes::never) {
        Held& held = held_.emplace_back();
        held.bytes.reset(new uint8_t[values.size() * sizeof(T)]);  // not null, even where it is empty
        held.size = values.size() * sizeof(T);
        held.changes = changes;
        if (held.size > 0) {
            std::memcpy(held.bytes.get(), values.data(), held.size);
        }
        held.before.assign(held.bytes.get(), held.bytes.get() + held.size);
        return draw_.one_in(128) ? nullptr : reinterpret_cast<T*>(held.bytes.get());
    }
    template <typename T>
    T* output(std::size_t count) {
        T value;
        std::memset(static_cast<void*>(&value), 0xA5, sizeof value);
        const std::vector<T> values(count, value);
        return buffer(values, Changes::by_success);
    }
    uint32_t* frame(const Size& size, Changes changes = Changes::never) {
        return buffer(draw_.codes(size.count), changes);
    }
    /// What exports take that are given the caller's pointer.
    uint32_t** pointer(uint32_t* frame) { return buffer(std::vector<uint32_t*>{frame}); }

    /// What `result` may be beside 0 and -1 stands in `more`.
    void expect(int32_t result, bool silent = false, int32_t more = 0) {
        require(result == 0 || result == -1 || result == more);
        require(silent || result != -1 || warnings() > 0);
        for (const Held& held : held_) {
            require(held.changes == Changes::always || (held.changes == Changes::by_success && result != -1) ||
                    held.size == 0 || std::memcmp(held.bytes.get(), held.before.data(), held.size) == 0);
        }
    }
    static void require(bool holds) {
        if (!holds) {
            std::abort();
        }
    }

private:
    struct Held {
        std::unique_ptr<uint8_t[]> bytes;
        std::size_t size = 0;
        std::vector<uint8_t> before;
        Changes changes = Changes::never;
    };
    static int& warnings() {
        static int count = 0;
        return count;
    }

    Draw& draw_;
    std::vector<Held> held_;
};

/// What the exports with a front end begin with.
struct FrontEndArguments {
    Size size;
    int32_t pattern, cols, rows;
    std::size_t nodes;
    std::array<uint32_t, 4> offset;
    std::array<float, 4> gain;

    FrontEndArguments(Draw& draw, Call& call, int32_t least_nodes) : size(call.size()), pattern(call.pattern()) {
        const bool odd = draw.one_in(16);
        cols = odd ? draw.of({0, -1, 2, 3, 130, 1 << 30}) : draw.within(least_nodes, 12);
        rows = odd ? draw.of({4, 129, 65, 1 << 30}) : draw.within(least_nodes, 12);
        const int64_t product = int64_t{cols} * rows;
        nodes = cols >= least_nodes && cols <= 129 && rows >= least_nodes && rows <= 129 && product <= 4761
                    ? static_cast<std::size_t>(product)
                    : 0;
        for (std::size_t i = 0; i < 4; ++i) {
            offset[i] = draw.code();
            gain[i] = draw.real(0.5F, 2.0F);
        }
    }
};

}  // namespace cali::fuzz
