/*
 * bareCurl.h -- what posting costs with libcurl alone: its multi-socket interface on an epoll loop of
 * the bench's own, easy handles kept
 *
 *   BareCurl peer({.url = url, .body = body, .headers = {"Expect: "}, .numInFlight = 16});
 *   const double seconds = peer.Post(1000);
 *
 * Ownership: keeps handles and connections until its scope ends.
 * Errors:    a post that does not end with status 200 ends the program.
 * Threads:   belongs to the thread that made it.
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

struct BareCurlOptions {
    std::string url;
    std::string body;
    std::vector<std::string> headers; /* "Name: value" */
    int numInFlight = 1;
};

class BareCurl {
public:
    explicit BareCurl(const BareCurlOptions &options);
    ~BareCurl();
    BareCurl(const BareCurl &) = delete;
    BareCurl &operator=(const BareCurl &) = delete;

    /* Posts so many times; returns the processor time of this thread that it took, in seconds. */
    double Post(long count);

private:
    struct State;
    std::unique_ptr<State> state;
};

/* Processor time of the calling thread so far, in seconds. */
double ThreadSeconds();
