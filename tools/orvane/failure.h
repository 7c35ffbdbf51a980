/*
 * failure.h -- the exceptions that end a command: a message for the user, and the exit status
 */
#pragma once

#include <stdexcept>
#include <string>

#include "tools/orvane/message.h"

namespace orvaneCli {

enum ExitStatus {
    kDone = 0,
    kFailed = 1,       /* the service, a file or the output did not work */
    kBadUsage = 2,     /* the command line, or what it needs and did not get */
    kInterrupted = 128 /* and the number of the signal */
};

/* The message is one line; the questions of trust have a few. */
struct Failure : std::runtime_error {
    explicit Failure(const std::string &message, int exitStatus = kFailed)
        : std::runtime_error(message), status(exitStatus) {}
    int status;
};

/* The user has to call the program in another way. */
struct BadUsage : Failure {
    explicit BadUsage(const std::string &message) : Failure(message, kBadUsage) {}
};

/* A signal has asked the program to end. */
struct Interrupted : Failure {
    explicit Interrupted(int signal)
        : Failure(Text(MSGID("interrupted") "interrupted"), kInterrupted + signal) {}
};

} // namespace orvaneCli
