/*
 * soapRequest.h -- a request's text as a tree, and its arguments read with their types
 *
 * Reading is strict: what the service would not understand is refused with a fault, so that a
 * client's mistake is noticed.
 *
 * Errors: everything here throws Fault.
 */
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/simulator/value.h"

namespace simulator {

/* Makes a call fail: a fault of the schema for the client. */
struct Fault : std::runtime_error {
    Fault(std::string faultType, const std::string &message, std::vector<Field> faultFields = {})
        : std::runtime_error(message), type(std::move(faultType)), fields(std::move(faultFields)) {}

    std::string type;
    std::vector<Field> fields;
};

Fault InvalidArgument(const std::string &argument, const std::string &message);
Fault InvalidRequest(const std::string &message);
Fault ObjectNotFound(const std::string &type, const std::string &id);

struct Element {
    std::string name;
    std::string type;    /* the plain attribute: the class of a reference */
    std::string xsiType; /* as written */
    std::string text;
    std::vector<Element> children;

    const Element *Child(std::string_view childName) const; /* the first; null without one */
    std::vector<const Element *> Children(std::string_view childName) const;
};

struct Request {
    std::string method;
    std::string nameSpace; /* without "urn:" */
    std::string targetType;
    std::string targetId;
    Element call; /* the method's element; "_this" and the arguments are its children */
};

Request ParseRequest(std::string_view text);

/* Each returns an argument or a field by name. A missing one is a fault; the Optional... return a default. */
std::string ReadText(const Element &parent, std::string_view name);
std::string OptionalText(const Element &parent, std::string_view name,
                         const std::string &otherwise = "");
bool ReadTruth(const Element &parent, std::string_view name);
bool OptionalTruth(const Element &parent, std::string_view name, bool otherwise);
int ReadInt(const Element &parent, std::string_view name);
int OptionalInt(const Element &parent, std::string_view name, int otherwise);
std::vector<std::string> ReadTexts(const Element &parent, std::string_view name);
const Element &ReadElement(const Element &parent, std::string_view name);
/* Returns the element of a reference, with type and text. */
const Element &ReadReference(const Element &parent, std::string_view name);
/* The same; null if it is missing. */
const Element *OptionalReference(const Element &parent, std::string_view name);

/* Returns the element's content as a value; a structure, unless its type is a known simple one. */
Value ToValue(const Element &element);

} // namespace simulator
