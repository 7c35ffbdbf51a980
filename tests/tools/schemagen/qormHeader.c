/* Compiles as C, alone, and with g_autoptr(). */
#include <orvane/schema/qorm.h>

GType TypeOfCore(void);

GType TypeOfCore(void) {
    g_autoptr(SkemaQormCorePropertyCollectorFilterSpec) spec = NULL;
    return SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_MODIFY == 0
               ? SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_FILTER_SPEC
               : G_OBJECT_TYPE(spec);
}
