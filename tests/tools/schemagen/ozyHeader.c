/* Compiles as C, alone; what an application writes. */
#include <orvane/schema/ozy.h>

void CancelTask(GObject *object, OrvaneListener *listener);

void CancelTask(GObject *object, OrvaneListener *listener) {
    const SkemaOzyTaskInfoState state = SKEMA_OZY_TASK_INFO_ERROR;
    if (SKEMA_IS_OZY_TASK(object) && state != SKEMA_OZY_TASK_INFO_RUNNING)
        skema_ozy_task_cancel(SKEMA_OZY_TASK(object), listener);
}
