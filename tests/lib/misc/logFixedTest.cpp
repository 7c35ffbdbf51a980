#include "lib/misc/logFixed.h"

#include <cmath>

#include <gtest/gtest.h>

namespace {

TEST(LogFixed, IsTheLogarithmToSixPlaces) {
    guint64 value = 1;
    for (int i = 0; i < 200; i++) {
        guint64 numerator = 0;
        guint64 denominator = 0;
        LogFixed_Base10(value, &numerator, &denominator);
        EXPECT_NEAR(std::log10(double(value)), double(numerator) / double(denominator), 1e-6)
            << value;
        value = value > G_MAXUINT64 / 5 * 4 ? G_MAXUINT64 : value + value / 4 + 1;
    }
}

} // namespace
