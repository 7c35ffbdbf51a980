/*
 * logOutput.h -- where the lines of the log go
 *
 *   LogOutput *output = Log_NewFileOutput("orvane", "file", settings, &kLogPreferences);
 *   if (output != NULL && !Log_AddOutput(output))
 *       Log_FreeOutput(output);
 *   ...
 *   Log_Exit();
 *
 *   made -- Log_AddOutput --> active, attached -- Log_ReplaceOutput, Log_Exit --> freed
 *     |                          a refused output stays with the caller
 *     +-- Log_FreeOutput --> freed
 *
 * Up to ten outputs are attached at a time. The first one receives the lines that have waited in the ring. An
 * output runs under the log's lock; what it logs itself waits in the ring until the next message.
 *
 * Ownership: an attached output belongs to the log.
 * Errors:    functions that return a bool: FALSE, where not documented otherwise, changes nothing.
 * Threads:   any.
 */
#pragma once

#include <string>
#include <string_view>

#include <glib.h>

#include "lib/misc/logFifo.h"

constexpr guint32 kLogOutputSignature = 0x01010101;
constexpr guint32 kLogTypeFile = 0x12345;
constexpr guint32 kLogTypeSingle = 0x23456;  /* at most one is attached */
constexpr guint32 kLogTypeAlone = 0x45678;   /* is attached only while there is no other */
constexpr guint32 kLogTypeHandler = 0x56789; /* hands lines to a function of the application */

struct LogOutput;

/* What an output does. All but activate run under the log's lock, deactivate also without it. */
struct LogOutputOperations {
    /* Writes a line, or a piece of one: without writeHeader it continues the last. */
    void (*dispatch)(LogOutput *output, const LogLineHeader &header, bool writeHeader,
                     std::string_view text);
    /* Opens the output, if it is not open. Returns whether it is ready. */
    gboolean (*activate)(LogOutput *output);
    /* Closes and frees the output. */
    void (*deactivate)(LogOutput *output);
    void (*disableThrottling)(LogOutput *output);
    /* These two only of a file output; else NULL. */
    const char *(*getFileName)(const LogOutput *output);
    /* Appends the contents of the other output's file, then removes that file. */
    void (*copyFile)(LogOutput *output, LogOutput *from);
};

struct LogOutput {
    guint32 signature = kLogOutputSignature;
    guint32 type = 0;
    std::string name;
    bool isAttached = false;
    gint logMinLevel = 120; /* the least severe level that it receives */
    gint stderrMinLevel =
        -1; /* of the first output: the least severe level that goes to stderr, too */
    const LogOutputOperations *operations = nullptr;
};

/* Attaches an output behind the others. FALSE: it has no name, or the name is taken; it cannot be activated; there
 * are ten; or its type does not allow it. It may be active then. */
gboolean Log_AddOutput(LogOutput *output);

/**
 * Log_ReplaceOutput:
 * @oldOutput: (transfer full): an attached output; it is freed
 * @newOutput: (transfer full) (nullable): an output of the same name and type, which takes its place
 * @copyOldFile: append the old file's contents to the new file, and remove it
 *
 * Returns: %FALSE if @oldOutput is not attached, or @newOutput cannot take its place; nothing is freed
 */
gboolean Log_ReplaceOutput(LogOutput *oldOutput, LogOutput *newOutput, gboolean copyOldFile);

/* Frees an output that is not attached; NULL is accepted. FALSE if it is attached. */
gboolean Log_FreeOutput(LogOutput *output);

/* Sets the least severe level that an output receives. Returns the former one. */
gint Log_SetOutputLevel(LogOutput *output, gint level);

/* The least severe level that is written to stderr, too; -1 for none. Attaching or removing an output sets it to
 * what the first output says. The setter returns the former one. */
gint Log_GetStderrLevel();
gint Log_SetStderrLevel(gint level);

/* Switches the throttling of all outputs off, for good. */
void Log_DisableThrottling();

/* Returns the name of the first file output's file, NULL without one; it is valid while that is attached. */
const char *Log_GetFileName();

/* Returns NULL for NULL, or for an output without a file. */
const char *Log_GetOutputFileName(const LogOutput *output);

/* Whether an output is attached. */
gboolean Log_Outputting();

/* TRUE: no message takes the log's lock, for a process that ends and must not wait. */
void Log_SkipLocking(gboolean skip);

/* The longest line, with its newline. */
constexpr guint32 Log_MaxLineLength() {
    return kLogMaxLineLength;
}

/* What the head of each log file says of the program. NULL, or a value that has been set before, changes nothing. */
void Log_SetProductInfo(const char *appName, const char *appVersion, const char *buildNumber,
                        const char *compilationOption);

struct LogProductInfo {
    const char *appName; /* each is "unknown" if it was not set */
    const char *appVersion;
    const char *buildNumber;
    const char *compilationOption;
};
LogProductInfo Log_GetProductInfo();

/* Writes the current time, "2026-03-01T10:15:02.123+01:00", into a buffer of any size. */
void Log_MakeTimeString(gboolean withMilliseconds, char *buffer, gsize size);

/* Detaches and frees all outputs, and forgets what waits in the ring. The log can be used again. */
void Log_Exit();
