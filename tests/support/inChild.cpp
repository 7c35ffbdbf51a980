#include "tests/support/inChild.h"

#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

void InChild(const std::function<void()> &body) {
    fflush(nullptr);
    const pid_t child = fork();
    ASSERT_LE(0, child);
    if (child == 0) {
        body();
        exit(testing::Test::HasFailure());
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_FALSE(WIFSIGNALED(status)) << "by signal " << WTERMSIG(status);
    EXPECT_EQ(0, WEXITSTATUS(status));
}
