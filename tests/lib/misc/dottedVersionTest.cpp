#include "lib/misc/dottedVersion.h"

#include <gtest/gtest.h>

namespace {

int Sign(int order) {
    return (order > 0) - (order < 0);
}

TEST(DottedVersion, OrdersByComponentsAsNumbers) {
    const struct {
        const char *first;
        int order;
        const char *second;
    } rows[] = {
        {"5.0", 0, "5.0"},
        {"5.5", 1, "5.1"},
        {"5.10", 1, "5.9"},
        {"10.0", 1, "9.9"},
        {"6", 0, "6.0"},
        {"6.0.0.1", 1, "6"},
        {"06.0", 0, "6.0"},
        {"2.5u2", 1, "2.5"},
        {"2.5u10", 1, "2.5u9"},
        {"2.6", 1, "2.5u2"},
        {"6.0", 1, "dev2"},
        {"r15i3", 1, "r15i2"},
        {"", 0, ""},
        {"1", 1, ""},
        {"r15i4x3CD75", 1, "r15i4"},
        {nullptr, 0, ""},
        {"2.5u2server", 1, "2.5u2"},
        {"99999999999999999999.1", 1, "99999999999999999999.0"},
    };
    for (const auto &[first, order, second] : rows) {
        EXPECT_EQ(order, Sign(Util_CompareDotted(first, second)))
            << (first ? first : "NULL") << " " << second;
        EXPECT_EQ(-order, Sign(Util_CompareDotted(second, first)))
            << second << " " << (first ? first : "NULL");
    }
}

} // namespace
