/*
 * inChild.h -- the body of a test in a process of its own, for what a process can do or suffer only once
 *
 *   TEST(Overlay, ComesTooLate) { InChild([] { ... EXPECT_EQ(...); ... }); }
 *
 * Failures are printed by the child, and the test fails if the child has failed, died, or left memory behind under a
 * sanitizer. Bodies that are skipped count as passed.
 *
 * Threads: call it before there are any.
 */
#pragma once

#include <functional>

#include <sys/types.h>

void InChild(const std::function<void()> &body);

/* Runs the function in processes at the same time. Returns the number of those in which it returns false. There must be no
 * other processes of the test. */
int CountFailures(int numProcesses, const std::function<bool(int)> &function);

/* A process that runs a function until the object, or the test's process, ends. */
struct ChildProcess {
    explicit ChildProcess(const std::function<void()> &function);
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

private:
    pid_t process;
};
