/*
 * typedValue.h -- values that the user types as NAME=VALUE, by the types of the schema
 *
 *   name=web-01              a text as it is typed
 *   memory=true  percentDone=50  state=running  startTime=2026-01-02T03:04:05Z
 *   host=/Datacenter/host/h1 a managed object, by its path, id or name
 *   diskIds=a diskIds=b      a list, an element each; or diskIds='["a", "b"]'
 *   spec='{"name": "x"}'     a data object as JSON, see <orvane/json.h>
 *   spec=@spec.json          any of these from a file; @- is stdin. "@@x" is the text "@x"
 *
 * One newline at the end of a file is not part of a text. The content of a file is the bytes of a binary value.
 *
 * Errors:  BadUsage, which begins with the name.
 * Threads: the one of the library's loop.
 */
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <orvane/method.h>
#include <orvane/orvane.h>

#include "tools/orvane/owners.h"

namespace orvaneCli {

struct NamedText {
    std::string name;
    std::string text;
};

/* Splits NAME=VALUE. */
NamedText SplitNamedText(const std::string &word);

/* What a value is to be. */
struct ValuePlace {
    GType type;
    GType elementType = 0;        /* of a list */
    bool isTypeUncertain = false; /* another class of data objects may be named */
};

class ValueReader {
public:
    /* Finds the managed object that a word means. */
    using Find = std::function<ObjectPtr<SkemaQormManagedObject>(const std::string &word)>;

    ValueReader(OrvaneSession *itsSession, Find itsFind)
        : session(itsSession), find(std::move(itsFind)) {}

    /* Reads into a zeroed value. Several texts make a list. A list without elements leaves it zeroed. */
    void Read(const std::string &name, const std::vector<std::string> &texts,
              const ValuePlace &place, GValue *value) const;
    /* The value as JSON, which is not checked yet. */
    std::string Json(const std::string &name, const std::vector<std::string> &texts,
                     const ValuePlace &place) const;
    /* Reads JSON into a zeroed value. */
    void ReadJson(const std::string &name, const std::string &json, const ValuePlace &place,
                  GValue *value) const;

private:
    std::string ElementJson(const std::string &name, const std::string &content, GType type) const;
    std::string ReferenceJson(const std::string &name, const std::string &word, GType type) const;

    OrvaneSession *session;
    Find find;
};

} // namespace orvaneCli
