// The main() of all test programs.
#include <glib.h>
#include <gtest/gtest.h>

int main(int argc, char **argv) {
    g_setenv("G_DEBUG", "", TRUE);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
