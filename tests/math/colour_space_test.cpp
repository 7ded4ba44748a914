#include "math/colour_space.h"

#include "math/colour_difference.h"
#include "support/recorded_calls.h"

namespace cali::test {
namespace {

TEST(RecordedCalls, ColourSpaces) {
    expect_recorded("libm.math.colour", 1000, [](Random& random, int turn, Digest& digest) {
        const auto colour = [&] {
            const double scale = turn % 3 == 0 ? 0.05 : 1;  // around the linear ends of the curves
            return Colour{scale * random.unit(), scale * random.unit(), scale * random.unit()};
        };
        const Colour encoded = colour();
        digest << srgb_decode(encoded[0]) << srgb_encode(encoded[0] / 12);
        const Colour own = srgb_to_lab(encoded, turn % 2 == 0 ? 65 : 50);
        const Colour other = srgb_to_lab(colour(), turn % 5 == 0 ? 65 : 50);
        digest << own << delta_e_1976(own, other) << delta_e_2000(own, other);
    });
}

}  // namespace
}  // namespace cali::test
