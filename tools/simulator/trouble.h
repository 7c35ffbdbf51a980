/*
 * trouble.h -- faults to inject, and the record of calls
 */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/simulator/http.h"
#include "tools/simulator/simulator.h"

namespace simulator {

class Troubles {
public:
    void Add(const Trouble &trouble);
    void Clear();
    /* Returns the first trouble for a call, and counts it as used. */
    std::optional<Trouble> Take(const std::string &method);

    struct Denial {
        std::string type;
        std::string property;
        std::string faultType;
    };
    std::vector<Denial> denials;

    struct TaskFailure {
        std::string faultType;
        std::string message;
    };
    std::map<std::string, TaskFailure> failingTasks; /* by method */

    VersionsForm versionsForm = VersionsForm::Current;
    std::string versionsText; /* instead of the form, if not empty */

private:
    std::vector<Trouble> pending;
};

/* Returns the reply that replaces the call; nothing if the call is to be carried out. */
std::optional<HttpAnswer> ReplacementReply(const Trouble &trouble, const std::string &nameSpace);
/* Changes a finished reply. */
void ChangeReply(const Trouble &trouble, HttpAnswer &answer);

/* Each returns the kind or form of a word of the command line and of the control URLs ("reset", "no-result");
 * nothing if there is none. */
std::optional<TroubleKind> TroubleKindOf(const std::string &name);
std::optional<VersionsForm> VersionsFormOf(const std::string &name);
/* Reads "method:kind" or "kind", followed by any of ":count=", ":skip=", ":bytes=", ":delay=", ":status=",
 * ":fault=", ":message=". Throws std::runtime_error for another text. */
Trouble ParseTrouble(const std::string &text);

/* Calls by method. */
struct MethodRecord {
    int count = 0;
    std::string request;
    std::string reply;
    std::map<std::string, std::string> headers;
};

struct Record {
    std::map<std::string, MethodRecord> methods;
    int numCalls = 0;
    int numDocuments = 0;
    uint64_t bytesIn = 0;
    uint64_t bytesOut = 0;
};

} // namespace simulator
