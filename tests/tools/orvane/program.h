/*
 * program.h -- runs a program of the build folder and collects its output
 */
#pragma once

#include <string>
#include <vector>

struct Ended {
    int status; /* exit status, or -1 if a signal ended it */
    std::string out;
    std::string err;
};

/* A program's streams, unless it is on a terminal. */
struct Streams {
    std::string input;  /* content of stdin, at most 64 KiB */
    std::string output; /* a path for stdout; "closed"; or empty to collect it */
};

class Program {
public:
    /* Whether a build with sanitizers looks for leaks, which takes a second or more a program. */
    static inline bool looksForLeaks = true;

    /* Path below the build folder. On a terminal of its own, stdout and stderr come together. */
    Program(const std::string &path, const std::vector<std::string> &arguments,
            bool onTerminal = false, const Streams &streams = {});
    ~Program(); /* kills it if it still runs */
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /* Reads stdout until it holds the text; false if that took 20 seconds or the output ended. */
    bool WaitFor(const std::string &text);
    /* Types a text at the terminal. */
    void Type(const std::string &text);
    void Interrupt();
    /* Opens the program's terminal, which then keeps its settings after the program's end. */
    int OpenTerminal() const;
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
