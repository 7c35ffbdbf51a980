/*
 * trouble.h -- the switches for what goes wrong, and the record of what happened
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
    /* The first that is meant for the call; it is used up by that. */
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

/* What to answer instead of carrying the call out; nothing if the trouble lies elsewhere. */
std::optional<HttpAnswer> InsteadOfCall(const Trouble &trouble, const std::string &nameSpace);
/* What a finished answer becomes. */
void Spoil(const Trouble &trouble, HttpAnswer &answer);

/* The kind of a name as the program's options and the control URLs have it ("reset", "no-result");
 * nothing if there is none of it. */
std::optional<TroubleKind> TroubleKindOf(const std::string &name);
std::optional<VersionsForm> VersionsFormOf(const std::string &name);
/* "method:kind" or "kind", and any of ":count=", ":skip=", ":bytes=", ":delay=", ":status=",
 * ":fault=", ":message=" behind it. Throws std::runtime_error for another text. */
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
