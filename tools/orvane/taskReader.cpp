#include "tools/orvane/taskReader.h"

#include <orvane/schema/ozy.h>

#include "tools/orvane/operation.h"
#include "tools/orvane/owners.h"

namespace orvaneCli {

namespace {

ProxyPtr Retained(SkemaQormManagedObject *object) {
    return ProxyPtr(static_cast<SkemaQormManagedObject *>(g_object_ref_sink(object)));
}

} // namespace

std::vector<ProxyPtr> ReadRecentTasks(const Service &service) {
    const ProxyPtr manager = service.RequireManager("taskManager");
    GValueArray *all = orvane_filter_spec_set_new(
        TRUE,
        orvane_filter_spec_new(
            TRUE, orvane_property_spec_new(SKEMA_TYPE_OZY_TASK, FALSE, "info", nullptr),
            orvane_object_spec_new(manager.get(), TRUE, TRUE,
                                   orvane_traversal_spec_new("tasks", SKEMA_TYPE_OZY_TASK_MANAGER,
                                                             "recentTask", FALSE, TRUE, nullptr),
                                   nullptr),
            nullptr),
        nullptr);
    const ValueArrayPtr specs(all);
    Operation retrieve(Text(MSGID("task.reading") "reading the tasks"), service.TimeoutSeconds());
    orvane_session_retrieve_contents(service.Session(), specs.get(), retrieve.Listener());
    std::vector<ProxyPtr> tasks;
    for (const ObjectPtr<GObject> &object : retrieve.Objects()) {
        if (SKEMA_IS_OZY_TASK(object.get()))
            tasks.push_back(Retained(reinterpret_cast<SkemaQormManagedObject *>(object.get())));
    }
    return tasks;
}

} // namespace orvaneCli
