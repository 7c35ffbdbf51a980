/*
 * wireFile.h -- the file that ORVANE_WIRE names: records of requests and replies are appended to it
 *
 *   2026-01-02T03:04:05.678901Z #7 > CurrentTime ServiceInstance:ServiceInstance 471 bytes
 *     <soapenv:Envelope ...>
 *   2026-01-02T03:04:05.680012Z #7 < CurrentTime ServiceInstance:ServiceInstance 200 1.111 ms 502 bytes
 *     Content-Type: text/xml
 *     <soapenv:Envelope ...>
 *
 * Only the first line of a record begins without a blank. The file is one of the user's own that only the user can read: a
 * new one is made with mode 0600, an existing one gets that mode. A link, a file of another user and what is no regular
 * file are refused.
 *
 * Errors:  a line in the log. Records that a full disk took are counted, and the next one that is written begins with
 *          their number: "# 3 records were lost".
 * Threads: the loop's.
 */
#pragma once

#include <string_view>

/* Opens the file, if one is named, and closes the former one. */
void WireFile_Open(const char *path);
void WireFile_Close(void);
bool WireFile_IsOpen(void);
/* Appends a record, whose text has no last newline. */
void WireFile_Write(std::string_view record);
