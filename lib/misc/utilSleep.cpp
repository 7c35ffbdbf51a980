#include "lib/misc/utilSleep.h"

#include <cerrno>
#include <ctime>

void Util_Usleep(gint64 microseconds) {
    if (microseconds <= 0)
        return;
    const int savedErrno = errno;
    timespec left = {microseconds / G_USEC_PER_SEC, microseconds % G_USEC_PER_SEC * 1000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR)
        continue;
    errno = savedErrno;
}
