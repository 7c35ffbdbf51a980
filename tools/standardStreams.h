/*
 * standardStreams.h -- keeps descriptors 0 to 2 in use, for programs that may be started without them
 *
 * Otherwise the first file or socket of the program would become its stdout, and get what is printed.
 */
#pragma once

#include <fcntl.h>
#include <unistd.h>

/* Call it before anything else is opened. Using a stream that was closed fails afterwards, as before. */
inline void HoldStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0)
            continue;
        /* The lowest free number is this one, since those below it are in use. Opened the wrong way round,
         * so that reading or writing fails. Without /dev/null the stream stays closed. */
        (void)!open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}
