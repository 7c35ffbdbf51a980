/*
 * wireFile.h -- the file of --wire: what a session sends and receives, without secrets
 *
 * Records are appended. Only the user can read a file that is new. "-" is stderr.
 *
 * Errors:  Failure.
 * Threads: that of the loop.
 */
#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include <orvane/orvane.h>
#include <orvane/wire.h>

namespace orvaneCli {

class WireFile {
public:
    /* An empty path records nothing. */
    explicit WireFile(std::string filePath);

    /* Records a session, which must be released before this. */
    void Install(OrvaneSession *session);
    /* Closes the file; what could not be written is a Failure. */
    void Close();

private:
    struct CloseStream {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    static void OnRecord(OrvaneSession *session, const OrvaneWireRecord *record, gpointer data);

    std::string path;
    std::unique_ptr<std::FILE, CloseStream> owned;
    std::FILE *stream = nullptr;
    int error = 0; /* errno of the first write that failed */
};

} // namespace orvaneCli
