#include "lib/misc/dottedVersion.h"

#include <gtest/gtest.h>

namespace {

TEST(DottedVersion, OrdersByComponentsAsNumbers) {
    const std::pair<const char *, const char *> equals[] = {
        {"5.0", "5.0"}, {"6", "6.0"}, {"06.0", "6.0"}, {"", ""}, {nullptr, ""}};
    for (const auto &[first, second] : equals) {
        EXPECT_EQ(0, Util_CompareDotted(first, second)) << second;
        EXPECT_EQ(0, Util_CompareDotted(second, first)) << second;
    }
    const std::vector<const char *> descending[] = {
        {"99999999999999999999.1", "99999999999999999999.0", "10.0", "9.9", "6.0.0.1", "6", "5.10",
         "5.9", "5.5", "5.1", "2.6", "2.5u10", "2.5u9", "2.5u2server", "2.5u2", "2.5"},
        {"r15i4x3CD75", "r15i4", "r15i3", "r15i2"},
        {"6.0", "dev2"},
        {"1", ""}};
    for (const auto &versions : descending) {
        for (size_t i = 1; i < versions.size(); i++) {
            EXPECT_LT(0, Util_CompareDotted(versions[i - 1], versions[i])) << versions[i];
            EXPECT_GT(0, Util_CompareDotted(versions[i], versions[i - 1])) << versions[i];
        }
    }
}

} // namespace
