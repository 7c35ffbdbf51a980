/*
 * program.h -- runs a program of the build folder and collects its output
 */
#pragma once

#include <unistd.h>

#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct Ended {
    int status; /* exit status, or minus the signal that ended it */
    std::string out;
    std::string err;
};

/* A program's streams, unless it is on a terminal. */
struct Streams {
    std::string input; /* content of stdin, at most 64 KiB */
    std::string
        output; /* a path for stdout; "closed"; "pipe", which nobody reads; or empty to collect it */
};

struct Program {
    /* Whether a build with sanitizers looks for leaks, which takes a second or more a program. */
    static inline bool looksForLeaks = true;

    /* Columns of its terminal; 0: not known. */
    static inline int columns = 0;

    /* The language of its messages. */
    static inline std::string language = "C";

    /* Path below the build folder, or an absolute one. On a terminal of its own, stdout and stderr come together. */
    Program(const std::string &path, const std::vector<std::string> &arguments,
            bool onTerminal = false, const Streams &streams = {});
    /* On a terminal, as the foreground job of a parent, which writes "[stop 1]" when the program stops. When a line is
     * typed, it continues the program and writes "[go 1]". */
    static std::unique_ptr<Program> StartJob(const std::string &path,
                                             const std::vector<std::string> &arguments);
    ~Program(); /* kills it if it still runs */
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /* Reads stdout until it holds the text; false if that took 20 seconds or the output ended. */
    bool WaitFor(const std::string &text);
    /* What has been read of stdout. */
    const std::string &Output() const { return outText; }
    /* Stops reading stdout, as a reader that has enough does. */
    void CloseOutput() { close(std::exchange(out, -1)); }
    /* Types a text at the terminal. */
    void Type(const std::string &text);
    void Interrupt() { Signal(SIGINT); }
    void Signal(int number);
    /* Whether the text is anywhere in its memory. */
    bool HasInMemory(const std::string &text) const;
    /* Opens the program's terminal, which then keeps its settings after the program's end. */
    int OpenTerminal() const;
    /* Waits for the end, at most 60 seconds. */
    Ended Wait();

private:
    Program() = default;
    void Start(const std::string &path, const std::vector<std::string> &arguments, bool onTerminal,
               bool isJob, const Streams &streams);
    bool ReadSome(int timeoutMs);

    int child = 0;
    int out = -1;
    int err = -1;
    std::string outText;
    std::string errText;
};
