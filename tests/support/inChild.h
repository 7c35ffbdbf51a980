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

void InChild(const std::function<void()> &body);
