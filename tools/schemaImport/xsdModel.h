/*
 * xsdModel.h -- the content of schema documents as plain data: types, their elements, operations
 *
 * Names are local: the namespaces of the documents are dropped, except for that of XML Schema.
 *
 * Ownership: copies throughout.
 * Threads:   no state.
 */
#pragma once

#include <string>
#include <vector>

namespace schemaImport {

/* A place in a document; lines are counted from 1, 0 is the document as a whole. */
struct Place {
    std::string document;
    int line = 0;
};

/* "b.xsd:12" */
std::string PlaceText(const Place &place);

/* Something that could not be used. */
struct Note {
    Place place;
    std::string text;
};
using Notes = std::vector<Note>;

/* The name of a type. */
struct XsdName {
    std::string local;
    bool isBuiltIn = false; /* XML Schema's own */

    bool operator==(const XsdName &) const = default;
};

/* An element inside a type. */
struct XsdField {
    Place place;
    std::string name;
    XsdName type;
    bool isOptional = false;
    bool isArray = false;
    int firstRelease =
        0; /* the first release that has it, counted from the oldest that was given */
};

struct XsdWord {
    Place place;
    std::string word;
};

/* A complexType, or a simpleType: an enumeration if it has words, otherwise another name for its base. */
struct XsdType {
    Place place;
    std::string name;
    bool isSimple = false;
    bool isIncomplete = false; /* it has parts that could not be read */
    XsdName base;              /* empty without one */
    std::vector<XsdField> fields;
    std::vector<XsdWord> words;
    int firstRelease = 0;
};

struct XsdOperation {
    Place place;
    std::string name;
    std::vector<XsdField> arguments; /* _this is the first if the service sends it */
    std::vector<XsdField> results;   /* one or none */
    bool isIncomplete = false;
    bool isGuess = false; /* derived from a type's name, without an operation of a WSDL */
};

struct XsdSchema {
    std::vector<XsdType> types;
    std::vector<XsdOperation> operations;
};

} // namespace schemaImport
