/*
 * inThreads.h -- threads that begin at the same moment
 *
 *   InThreads(8, [&](int number) { ... });     returns when all have ended
 */
#pragma once

#include <atomic>
#include <thread>
#include <vector>

template <class Function> void InThreads(int count, Function function) {
    std::atomic<int> waiting = count;
    std::vector<std::thread> threads;
    for (int i = 0; i < count; i++)
        threads.emplace_back([&, i] {
            for (waiting--; waiting > 0;)
                std::this_thread::yield();
            function(i);
        });
    for (std::thread &thread : threads)
        thread.join();
}
