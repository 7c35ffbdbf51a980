/* Compiles as C, alone, and without cleanup functions. */
#define ORVANE_NO_AUTOPTR
#include <orvane/schema/ferry.h>

gboolean IsFerryTask(gpointer object);

gboolean IsFerryTask(gpointer object) {
    return SKEMA_IS_FERRY_TASK(object);
}
