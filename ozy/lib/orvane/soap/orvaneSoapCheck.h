/*
 * orvaneSoapCheck.h -- failed checks on what a service sent
 *
 * By default they are critical messages of GLib, in the words of g_return_if_fail(). After
 * orvane_set_reader_checks_to_log() they are lines of the log.
 *
 * Threads: any thread.
 */
#pragma once

void OrvaneSoapReportCheck(const char *function, const char *expression);

/* Reports a check that failed. Returns whether the check holds. */
inline bool OrvaneSoapCheck(bool holds, const char *function, const char *expression) {
    if (!holds)
        OrvaneSoapReportCheck(function, expression);
    return holds;
}
