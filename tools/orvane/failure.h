/*
 * failure.h -- the exceptions that end a command: a message for the user, and the exit status
 */
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

#include "tools/orvane/message.h"

namespace orvaneCli {

enum ExitStatus {
    kDone = 0,
    kFailed = 1,       /* the service refused, or a file or the output did not work */
    kBadUsage = 2,     /* the command line, or what it needs and did not get */
    kNoConnection = 3, /* the service cannot be reached, or the connection broke */
    kLoginRefused = 4, /* or the login does not hold any more */
    kNotTrusted = 5,   /* the certificate of the service */
    kTimedOut = 6,
    kInterrupted = 128 /* and the number of the signal */
};

/* The message is one line; the questions of trust have a few. An empty one is not reported. */
struct Failure : std::runtime_error {
    explicit Failure(const std::string &message, int exitStatus = kFailed,
                     std::string faultName = "")
        : std::runtime_error(message), status(exitStatus), fault(std::move(faultName)) {}
    int status;
    std::string fault; /* name of the class of the service's fault; empty if there is none */
};

/* Nothing more can be written to stdout; CheckOutput() reports why. */
struct OutputFailure : Failure {
    OutputFailure() : Failure("", kDone) {}
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
