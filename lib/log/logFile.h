/*
 * logFile.h -- an output of the log that writes to a file
 *
 *   Dictionary *settings = Dictionary_Create();
 *   Dict_SetString(settings, "/home/eve/orvane.log", "log.fileName");
 *   Dict_SetLong(settings, 10000000, "log.rotateSize");
 *   LogOutput *output = Log_NewFileOutput("orvane", "file", settings, &kLogPreferences);
 *   if (output == NULL || !Log_AddOutput(output)) {
 *       Log_FreeOutput(output);
 *       ...                             the reason is in the log, which still has no output
 *   }
 *   Log_Exit();                         at the end of the program
 *
 * A line is   2026-03-01T10:15:02.123+01:00| vthread-4| I120: text
 *
 * The file is made anew, after the one before it was renamed: orvane-0.log is the newest old one. It opens with
 * lines about program and system. If it grows beyond `log.rotateSize`, the same happens again. What could not be
 * written, on a full disk, is counted, and the file says so as soon as there is room. Beyond
 * `log.throttleThreshold` bytes, lines that come faster than `log.throttleBytesPerSec` wait in a ring of their
 * own, of which the newest are written later.
 *
 * A program that logs much on purpose sets `log.throttleBytesPerSec` to 0.
 *
 * Ownership: the settings are only read.
 * Errors:    NULL or a refused Log_AddOutput(), with warnings in the log. Nothing is written through a symbolic
 *            link, and to nothing but a regular file.
 * Threads:   any.
 */
#pragma once

#include "lib/dict/dictionary.h"
#include "lib/misc/logOutput.h"

/* Where settings come from that the dictionary does not have; each function gives the default for an unknown key. */
struct LogConfigOps {
    char *(*getString)(const char *defaultValue, const char *key); /* to be released with free() */
    gint32 (*getLong)(gint32 defaultValue, const char *key);
    gboolean (*getBool)(gboolean defaultValue, const char *key);
};

/* The layers of lib/config/preference.h. */
extern const LogConfigOps kLogPreferences;

/**
 * Log_NewFileOutput:
 * @appPrefix: (nullable): the program's prefix of keys in @configOps; not ""
 * @outputName: a name that no other output has; "file" is usual
 * @dictionary: (nullable): settings under the bare keys
 * @configOps: (nullable): settings under "KEY.outputName", without the name for "file", and "appPrefix.KEY..."; a
 *   later one replaces an earlier one
 *
 *   log.fileName              name of the file; without it "halden-SUFFIX-PID.log" in a folder
 *   log.config                a key in @configOps that has the name of the file
 *   log.suffix                SUFFIX of a generated name
 *   log.systemAreaTemp        that folder is /var/log/halden (false: File_GetSafeTmpDir())
 *   log.logMinLevel           120      the least severe level that is written
 *   log.stderrMinLevel        -1       what goes to stderr, too; of the first output
 *   log.append                false    keep what is in the file
 *   log.keepOld               3        number of old files; 0: none
 *   log.rotateSize            0        in bytes; 0: do not rotate
 *   log.fastRotation          false    number old files upwards
 *   log.permissions           416      mode of a new file (0640)
 *   log.syncAfterWrite        false    wait for the disk
 *   log.throttleThreshold     1000000  in bytes
 *   log.throttleBytesPerSec   1000     0: do not throttle
 *   log.noLogAfterThreshold   false    write nothing beyond the threshold
 *   log.useTimeStamps, log.Milliseconds, log.useThreadName, log.useLevelDesignator      true
 *
 * The first four, with their default in parentheses, are read from @dictionary only, log.stderrMinLevel from
 * @configOps only.
 *
 * Returns: (transfer full) (nullable): an output for Log_AddOutput(); %NULL without a name or a folder
 */
LogOutput *Log_NewFileOutput(const char *appPrefix, const char *outputName, Dictionary *dictionary,
                             const LogConfigOps *configOps);

/* Whether a file, named without its folder, is of the same program and user as ownerData says. */
typedef gboolean (*LogOwnerFunc)(const char *fileName, gconstpointer ownerData);

/**
 * Log_BoundNumFiles:
 * @output: an output with a generated name, a suffix and old files to keep
 * @ownerFunc: (nullable) (scope call): chooses the files; %NULL: those named like the output's but for the PID
 * @ownerData: passed to @ownerFunc
 *
 * Removes the oldest files of processes that have ended, until `log.keepOld` of them are left.
 *
 * Returns: whether a file could not be removed
 */
gboolean Log_BoundNumFiles(LogOutput *output, LogOwnerFunc ownerFunc, gconstpointer ownerData);
