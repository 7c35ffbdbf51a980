#include "lib/misc/logFixed.h"

#include <bit>

#include "lib/misc/panic.h"

namespace {

constexpr guint32 kFractionBits = 24;

/* log10(2), to nine digits. */
constexpr guint64 kTwoNumerator = 4004;
constexpr guint64 kTwoDenominator = 13301;

/* Returns the logarithm to base 2 in units of 2^-24, rounded down. Squaring a number between 1 and 2 doubles
 * its logarithm, which moves the next binary digit before the point. */
guint64 LogFixedBase2(guint64 value) {
    const auto whole = guint32(std::bit_width(value)) - 1;
    guint64 mantissa = value << (63 - whole) >> 32; /* 1 to 2, in units of 2^-31 */
    guint64 digits = whole;
    for (guint32 i = 0; i < kFractionBits; i++) {
        mantissa = mantissa * mantissa >> 31;
        const guint64 digit = mantissa >> 32;
        mantissa >>= digit;
        digits = digits << 1 | digit;
    }
    return digits;
}

} // namespace

void LogFixed_Base10(guint64 value, guint64 *numerator, guint64 *denominator) {
    VERIFY(value != 0);
    *numerator = LogFixedBase2(value) * kTwoNumerator;
    *denominator = (guint64{1} << kFractionBits) * kTwoDenominator;
}
