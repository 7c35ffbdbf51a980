#include "fuzz/seeds.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <orvane/orvane.h>
#include <unistd.h>

#include "tests/hostile/ledger.h"

/* GLib leaves its table of quarks behind each time it grows, so that look-ups need no lock; whole stacks show which leak
 * is that one. */
extern "C" const char *__asan_default_options() {
    return "fast_unwind_on_malloc=0";
}
extern "C" const char *__lsan_default_suppressions() {
    return "leak:g_quark_from\nleak:g_intern_\nleak:call_init\n";
}
extern "C" const char *__lsan_default_options() {
    return "print_suppressions=0";
}

namespace {

constexpr int kMaxTimes = 40;     /* of a row's piece */
constexpr size_t kMaxSize = 8192; /* longer ones are left out */

int realStderr = STDERR_FILENO; /* also while a ledger is open */

void OnComplaint(const gchar *, GLogLevelFlags, const gchar *text, gpointer) {
    Require(false, text);
}

} // namespace

void WriteSeeds(
    int argc, char **argv,
    const std::function<std::string(const hostile::Row &row, const std::string &answer)> &seed) {
    if (argc != 3 || std::string_view(argv[1]) != "--seeds")
        return;
    int number = 0;
    for (const hostile::Row &row : hostile::AllRows()) {
        const std::string text = seed(row, hostile::AnswerOf(row, kMaxTimes));
        if (!text.empty() && text.size() <= kMaxSize)
            std::ofstream(argv[2] + ("/row" + std::to_string(number++))) << text;
    }
    exit(0);
}

void Require(bool holds, const std::string &otherwise) {
    if (holds)
        return;
    dprintf(realStderr, "%s\n", otherwise.c_str());
    abort();
}

bool ShowsSecret(const uint8_t *data, size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    return text.find(hostile::kCanary) != std::string_view::npos;
}

void RequireNoComplaints() {
    realStderr = dup(STDERR_FILENO);
    orvane_set_reader_checks_to_log(TRUE);
    g_log_set_default_handler(OnComplaint, nullptr);
}
