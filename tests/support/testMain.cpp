// The main() of all test programs. A warning or a critical of GLib that no test expects fails the test that raised it. A
// panic writes its text and no more: neither a core file nor a message.
#include <string_view>

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

/* Null in programs that have the library as a shared object only. */
extern "C" void Panic_SetCoreDumpOnPanic(gboolean isDumped) __attribute__((weak));
extern "C" void Panic_SetPanicMsgPost(gboolean isPosted) __attribute__((weak));

namespace {

/* What g_test_expect_message() or a handler of the test's own takes does not come here. */
GLogWriterOutput FailOnComplaint(GLogLevelFlags level, const GLogField *fields, gsize numFields,
                                 gpointer) {
    if (level & (G_LOG_LEVEL_WARNING | G_LOG_LEVEL_CRITICAL)) {
        for (gsize i = 0; i < numFields; i++) {
            if (std::string_view(fields[i].key) == "MESSAGE")
                ADD_FAILURE() << "GLib: " << static_cast<const char *>(fields[i].value);
        }
    }
    return g_log_writer_default(level, fields, numFields, nullptr);
}

} // namespace

int main(int argc, char **argv) {
    g_setenv("G_DEBUG", "", TRUE);
    g_log_set_writer_func(FailOnComplaint, nullptr, nullptr);
    if (Panic_SetCoreDumpOnPanic) {
        Panic_SetCoreDumpOnPanic(FALSE);
        Panic_SetPanicMsgPost(FALSE);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
