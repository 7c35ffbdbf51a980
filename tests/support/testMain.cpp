// The main() of all test programs.
#include <glib.h>
#include <gtest/gtest.h>

#include <orvane/export.h>

/* Lack of memory is something to be tested: the sanitizers' malloc() answers null too. */
extern "C" ORVANE_EXPORT const char *__asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" ORVANE_EXPORT const char *__tsan_default_options() {
    return "allocator_may_return_null=1";
}

int main(int argc, char **argv) {
    g_setenv("G_DEBUG", "", TRUE);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
