#include <cstdio>

#include <gtest/gtest.h>

#include "tests/support/paths.h"

namespace {

/* Names that the shared library takes from others. */
std::set<std::string> Imports() {
    FILE *nm = popen(("nm -D --undefined-only " + BuildPath("lib/liborvane.so")).c_str(), "r");
    std::set<std::string> names;
    char name[512];
    while (fscanf(nm, " %*1[Uw] %511[^@\n]%*[^\n]", name) >= 1)
        names.insert(name);
    EXPECT_EQ(0, pclose(nm));
    return names;
}

TEST(Library, CallsNothingThatItMustNot) {
    const std::set<std::string> imports = Imports();
    EXPECT_TRUE(imports.contains("secure_getenv")) << "the list is read";
    const std::pair<const char *, std::set<const char *>> rows[] = {
        {"a privileged process does not obey its environment", {"getenv", "g_getenv", "getenv_s"}},
        {"the mask of files is the whole process's", {"umask"}},
        {"no text becomes a command",
         {"system", "popen", "execl", "execlp", "execle", "execv", "execvp", "execvpe",
          "posix_spawn", "posix_spawnp", "g_spawn_sync", "g_spawn_command_line_sync"}},
        {"names of files are not guessed", {"tmpnam", "tempnam", "mktemp", "tmpnam_r"}},
        {"copies have a bound",
         {"gets", "strcpy", "strcat", "stpcpy", "sprintf", "vsprintf", "scanf", "sscanf"}},
        /* sigaction is imported: a panic gives a signal its default effect before the process ends */
        {"the handlers and the language of a process are the application's",
         {"signal", "setlocale", "setenv", "putenv", "g_setenv", "g_log_set_default_handler",
          "g_log_set_writer_func", "g_log_set_handler"}},
        {"the loop is the application's",
         {"g_main_context_iteration", "g_main_loop_run", "g_main_context_default"}},
    };
    for (const auto &[reason, names] : rows) {
        for (const char *name : names)
            EXPECT_FALSE(imports.contains(name)) << name << ": " << reason;
    }
}

} // namespace
