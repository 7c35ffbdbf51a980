#include "ozy/lib/orvane/session/orvaneSessionBackOff.h"

#include <algorithm>

gint64 OrvaneBackOff_Delay(gint64 first, gint64 longest, guint tries) {
    gint64 delay = std::min(first, longest);
    for (guint i = 0; i < tries && delay < longest; i++)
        delay = delay > longest / 2 ? longest : delay * 2;
    const gint64 half = delay / 2;
    return delay - gint64(g_random_double() * double(half));
}
