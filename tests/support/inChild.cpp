#include "tests/support/inChild.h"

#include <csignal>

#include <gtest/gtest.h>
#include <sys/prctl.h>
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

int CountFailures(int numProcesses, const std::function<bool(int)> &function) {
    for (int i = 0; i < numProcesses; i++)
        if (fork() == 0)
            _exit(function(i) ? 0 : 1);
    int numFailures = 0;
    for (int i = 0; i < numProcesses; i++) {
        int status = -1;
        waitpid(-1, &status, 0); /* as they end: one that is not waited for counts as living */
        numFailures += status != 0;
    }
    return numFailures;
}

ChildProcess::ChildProcess(const std::function<void()> &function) {
    const pid_t parent = getpid();
    process = fork();
    if (process != 0)
        return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == parent) /* which may have gone meanwhile */
        function();
    _exit(1);
}

ChildProcess::~ChildProcess() {
    if (process <= 0)
        return;
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}
