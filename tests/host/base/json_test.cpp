#include "base/json.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "base/error.h"

namespace cali::test {
namespace {

using host::Json;

TEST(Json, KeepsOrderKindsAndBits) {
    Json json;
    json["z"] = 0.1F;  // the float's own value, not the nearest short double
    json["a"] = std::array<int, 2>{-1, 2};
    json["u"] = std::numeric_limits<uint64_t>::max();
    json["nan"] = std::numeric_limits<double>::quiet_NaN();
    json["t"] = true;
    json["s"] = "a\"b\xFF";  // names of files need not be UTF-8
    json["l"].push_back("x");
    json["e"] = Json::array();
    json["z"] = 1.5;  // in its first place
    const std::string expected =
        "{\n  \"z\": 1.5,\n  \"a\": [\n    -1,\n    2\n  ],\n  \"u\": 18446744073709551615,\n  \"nan\": null,\n"
        "  \"t\": true,\n  \"s\": \"a\\\"b\xEF\xBF\xBD\",\n  \"l\": [\n    \"x\"\n  ],\n  \"e\": []\n}";
    EXPECT_EQ(json.dump(), expected);
    EXPECT_EQ(Json::parse(expected).dump(), expected);
    EXPECT_EQ(Json(0.1F).dump(), "0.10000000149011612");
    EXPECT_EQ(json.find("none"), nullptr);
    EXPECT_EQ(*Json::parse("-3").as<int64_t>(), -3);
}

TEST(Json, PackedNumbersKeepEveryBit) {
    Json json;
    const std::vector<double> numbers = {-0.0, 0.1, 1e300, INFINITY, std::nan(""), -std::nan("")};
    json["d"] = numbers;
    json["i"] = std::vector<int64_t>{std::numeric_limits<int64_t>::min(), -1, 0, 1U << 31U};
    json["s"] = "a\xFF";
    const Json back = Json::unpack(json.pack());
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const double* const number = back.find("d")->as<Json::Array>()->at(i).as<double>();
        ASSERT_NE(number, nullptr) << i;
        EXPECT_EQ(std::bit_cast<uint64_t>(*number), std::bit_cast<uint64_t>(numbers[i])) << i;
    }
    EXPECT_EQ(back.dump(), json.dump());
    EXPECT_THROW((void)Json::unpack("\x49" + std::string(9, '\xFF')), host::InputError);  // nine bytes
}

TEST(Json, IsReadAsFarAsAskedFor) {
    const std::string cut_off = "{\"a\": {\"b\": 1}, \"c\": [1, 2], \"d\": [3,";
    EXPECT_EQ(Json::parse(cut_off, {"c", "a"}).dump(), Json::parse("{\"a\": {\"b\": 1}, \"c\": [1, 2]}").dump());
    EXPECT_THROW((void)Json::parse(cut_off, {"a", "b"}), host::InputError);  // b is no member of the root
}

TEST(Json, RefusesWhatIsNone) {
    EXPECT_THROW((void)Json::parse("{\"a\": "), host::InputError);
    // As deep as no result is; a parser that calls itself would run out of stack.
    EXPECT_THROW((void)Json::parse(std::string(100000, '[') + std::string(100000, ']')), host::InputError);
}

}  // namespace
}  // namespace cali::test
