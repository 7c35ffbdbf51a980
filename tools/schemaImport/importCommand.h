/*
 * importCommand.h -- "orvane schema import": documents in, tables out, and a report of what is not used
 *
 *   orvane schema import -o overlay.schema ozy25/5.0=old/service.wsdl ozy25/5.5=new/service.wsdl
 *
 * The tables go to a file, written whole or not at all, or to stdout; the report goes to stderr.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/schemaImport/fetch.h"
#include "tools/schemaImport/importMerge.h"

namespace schemaImport {

enum ExitStatus { kImported = 0, kNothingUsable = 1, kBadUsage = 2 };

struct ImportOptions {
    std::vector<std::string> documents; /* "[RELEASE=]FILE or folder" */
    std::vector<std::string> urls;      /* "[RELEASE=]URL" */
    std::string ns = "ozy";
    std::string output;      /* a file, or a folder that exists; empty, or "-": stdout */
    std::string authorities; /* of https; empty: those of the system */
    bool isInsecure = false;
    /* Returns who decides on certificates instead of authorities; see FetchOptions. */
    std::function<FetchTrust *(const std::string &url)> trustOf;
    bool isOldestAll = false;
    int timeoutSeconds = 30;
    bool isQuiet = false; /* whether what is not used is left out of a report on a success */
    GlibFetchLoop *loop = nullptr; /* for the URLs; null: one that lives as long as the import */
    /* Called between the steps of the import and while it waits for a service. What it throws ends the import. May be
     * empty. */
    std::function<void()> checkpoint;
    /* Called before something is written that may have to wait for its reader. May be empty. */
    std::function<void()> beforeStream;
};

/* Returns the built-in schema, with which the documents are compared. */
SchemaModel BuiltInSchema();

/* Makes the tables and the report, which has a line for each thing that is not used. Returns an ExitStatus. */
int ImportText(const SchemaModel &shipped, const ImportOptions &options, std::string *tables,
               std::string *report);

/* Runs the whole command. Returns an ExitStatus. */
int RunImport(const ImportOptions &options);

} // namespace schemaImport
