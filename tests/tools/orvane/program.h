/*
 * program.h -- runs a program of the build folder and collects what it says
 */
#pragma once

#include <string>
#include <vector>

struct Ended {
    int status; /* exit status, or -1 if a signal ended it */
    std::string out;
    std::string err;
};

class Program {
public:
    /* Whether a build with sanitizers looks for leaks, which takes a second or more a program. */
    static inline bool looksForLeaks = true;

    /* Path below the build folder. On a terminal of its own, stdout and stderr come together;
     * elsewhere there is no input. */
    Program(const std::string &path, const std::vector<std::string> &arguments,
            bool onTerminal = false);
    ~Program(); /* kills it if it still runs */
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /* Reads stdout until it holds the text; false if that took 20 seconds or the output ended. */
    bool WaitFor(const std::string &text);
    /* As if somebody typed it, on a terminal. */
    void Type(const std::string &text);
    void Interrupt();
    /* Waits for the end, at most 60 seconds. */
    Ended Wait();

private:
    bool ReadSome(int timeoutMs);

    int child;
    int out;
    int err;
    std::string outText;
    std::string errText;
};
