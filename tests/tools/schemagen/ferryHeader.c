/* Compiles as C and alone. */
#include <orvane/schema/ferry.h>

gboolean IsFerryTask(gpointer object);

gboolean IsFerryTask(gpointer object) {
    return SKEMA_IS_FERRY_TASK(object);
}
