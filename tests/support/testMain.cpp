// The main() of all test programs.
#include <glib.h>
#include <gtest/gtest.h>

#include <orvane/export.h>

/* Lack of memory is something to be tested: the sanitizers' malloc() answers null too. Whole stacks are
 * what tells one leak through GLib from another. */
extern "C" ORVANE_EXPORT const char *__asan_default_options() {
    return "allocator_may_return_null=1:fast_unwind_on_malloc=0";
}
extern "C" ORVANE_EXPORT const char *__tsan_default_options() {
    return "allocator_may_return_null=1";
}

/* GLib leaves its table of quarks behind each time it grows, so that look-ups need no lock; the names of
 * the schema make it grow. */
extern "C" ORVANE_EXPORT const char *__lsan_default_suppressions() {
    return "leak:g_quark_from\nleak:g_intern_\nleak:call_init\n";
}
extern "C" ORVANE_EXPORT const char *__lsan_default_options() {
    return "print_suppressions=0";
}

int main(int argc, char **argv) {
    g_setenv("G_DEBUG", "", TRUE);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
