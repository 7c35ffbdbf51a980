#include "lib/misc/atomicFence.h"

#include <gtest/gtest.h>

namespace {

TEST(AtomicFence, IsForTheFirstModelsOfOneMaker) {
    /* family: eax of cpuid leaf 1 */
    const std::tuple<const char *, guint32, bool> rows[] = {
        {"AuthenticAMD", 0x00000f51, true},  {"AuthenticAMD", 0x00030ff1, true},
        {"AuthenticAMD", 0x00040f12, false}, /* model 0x41 */
        {"AuthenticAMD", 0x00100f22, false}, /* a later family */
        {"AuthenticAMD", 0x00000e51, false}, {"GenuineIntel", 0x00000f51, false},
    };
    for (const auto &[maker, family, isNeeded] : rows)
        EXPECT_EQ(isNeeded, AtomicNeedsFence(maker, family)) << maker << std::hex << family;
}

} // namespace
