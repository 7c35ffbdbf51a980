/*
 * schemaText.h -- reads the schema's text tables (*.schema) into a plain model
 *
 *   namespace ozy
 *
 *   data TaskReasonUser : TaskReason  @ozy2/2.0
 *     userName          string
 *
 *   managed Task : ExtensibleManagedObject  @ozy2/2.0
 *     info              TaskInfo
 *     CancelTask() = cancel
 *     SetTaskState(state TaskInfoState, result any, fault ~MethodFault)
 *
 *   enum TaskInfoState in TaskInfo
 *     queued running success error
 *
 * Reading checks the form only and keeps each name as it is. Whether the names exist
 * is schemaCheck.h's business, what they make is schemaBuild.h's. Several texts are read one after
 * the other into one model.
 *
 * Ownership: the model holds copies; the text may go.
 * Errors:    "file:line: what is wrong" each, with the word in quotes; reading goes on behind a bad
 *            line.
 * Threads:   no state of its own.
 */
#pragma once

#include <glib.h>

#include <string>
#include <string_view>
#include <vector>

#include "ozy/lib/schemaRows/schemaRows.h"

/* A place: an index into SchemaModel::files and a line counted from 1; no line, 0, if
 * it was not read from a text. */
struct TablePlace {
    guint32 file = 0;
    guint32 line = 0;
};

/* The word at the head of a block. Events are data objects under a word of their own. */
enum SchemaForm : guint8 {
    SCHEMA_FORM_DATA,
    SCHEMA_FORM_EVENT,
    SCHEMA_FORM_FAULT,
    SCHEMA_FORM_MANAGED,
    SCHEMA_FORM_ENUM,
};

/* How a field, an argument or a result names its type: "~Name[]?". */
struct TableTypeRef {
    std::string name; /* empty for "*", and for a method without result */
    bool isArray = false;
    bool isOptional = false; /* ? */
    bool isRequired = false; /* !: stated to be required */
    bool isLikely = false;   /* ~: likely, not stated */
    bool isUnknown = false;  /* * */
};

struct TableField {
    TablePlace place;
    std::string name;
    TableTypeRef type;
    std::string version;  /* wire text, "all", or empty: the version of the class */
    bool isAdded = false; /* by an overlay: no table before it had this field */
};

struct TableArgument {
    TablePlace place;
    std::string name;
    TableTypeRef type;
};

struct TableMethod {
    TablePlace place;
    std::string wireName;
    std::vector<TableArgument> arguments;
    TableTypeRef result;
    std::string stub; /* "= stub", or empty */
};

struct TableWord {
    TablePlace place;
    std::string word;
};

struct TableType {
    TablePlace place;
    SchemaForm form = SCHEMA_FORM_DATA;
    SchemaNamespace ns = SCHEMA_NAMESPACE_QORM;
    bool isUnlisted = false; /* is in a file that begins with "namespace x unlisted" */
    bool isPartial = false;  /* "..." */
    std::string name;        /* wire name */
    std::string enclosing;   /* "in Name", or empty */
    std::string base;        /* ": Name", or empty */
    std::string path;        /* "= Path", or empty */
    std::string version;     /* "@version", or empty */
    std::vector<TableField> fields;
    std::vector<TableMethod> methods;
    std::vector<TableWord> words;
};

struct SchemaModel {
    std::vector<std::string> files;
    std::vector<TableType> types; /* in the order of the texts */
};

/* The first kMaxMessages faults found; any more are only counted. */
struct SchemaErrors {
    static constexpr gsize kMaxMessages = 40;
    std::vector<std::string> messages;
    gsize count = 0;
};

/* "generated/ozy/data.schema:12"; the name of the file alone where there is no line. */
std::string SchemaPlace_Text(const SchemaModel &model, TablePlace place);

void SchemaErrors_Add(SchemaErrors *errors, const SchemaModel &model, TablePlace place,
                      std::string_view message);

/* "ozy", and back; a word that is no namespace gives SCHEMA_NUM_NAMESPACES. */
const char *SchemaNamespace_Word(SchemaNamespace ns);
SchemaNamespace SchemaNamespace_Parse(std::string_view word);

/* "data", "event", "fault", "managed" or "enum". */
const char *SchemaForm_Word(SchemaForm form);

/*
 * Reads a text and appends its content to the model. The name is used in messages. False if
 * anything was wrong; the model then holds what could be read and is good for nothing but further
 * messages.
 */
bool SchemaText_Parse(SchemaModel *model, const char *fileName, std::string_view text,
                      SchemaErrors *errors);
