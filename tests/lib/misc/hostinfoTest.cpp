#include "lib/misc/hostinfo.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/taken.h"

namespace {

/* Also from another directory than the one in which the program was started. */
TEST(Hostinfo, ProgramAndLibrariesAreNamedByAbsolutePaths) {
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path("/");
    const std::string program = Taken(Hostinfo_GetModulePath(0));
    EXPECT_EQ("miscTest", std::filesystem::path(program).filename());
    EXPECT_EQ('/', program[0]);
    EXPECT_EQ(program,
              Taken(Hostinfo_GetLibraryPath(reinterpret_cast<void *>(&Hostinfo_GetModulePath))));
    const std::string glib = Taken(Hostinfo_GetLibraryPath(reinterpret_cast<void *>(&g_strdup)));
    EXPECT_TRUE(glib.starts_with("/") && glib.find("/libglib-2.0.so.0.") != std::string::npos)
        << "links are followed: " << glib;
    EXPECT_EQ("(null)", Taken(Hostinfo_GetLibraryPath(nullptr)));
    std::filesystem::current_path(before);
}

} // namespace
