#include "tools/orvane/objectWatch.h"

#include <set>

#include <orvane/schema/ozy.h>

#include "tools/orvane/message.h"

namespace orvaneCli {

ObjectWatch::~ObjectWatch() {
    if (filter != 0)
        orvane_session_remove_filter(service.Session(), filter);
}

void ObjectWatch::Start(const std::vector<WatchTarget> &targets, GType type,
                        const std::vector<PropertyPath> &properties) {
    std::set<GType> types;
    std::vector<GObject *> objects;
    for (const WatchTarget &target : targets) {
        types.insert(target.isContainer ? type : G_OBJECT_TYPE(target.object.get()));
        objects.push_back(target.isContainer
                              ? NewInventorySpec(service, target.object.get())
                              : orvane_object_spec_new(target.object.get(), FALSE, TRUE, nullptr));
    }
    std::vector<std::string> paths;
    for (const PropertyPath &property : properties)
        paths.push_back(property.requested);
    const ObjectPtr<GObject> spec(NewFilterSpec(objects, {types.begin(), types.end()}, paths));
    const OrvaneFilterFuncs functions = {.created = OnCreated,
                                         .entered = OnEntered,
                                         .changed = OnChanged,
                                         .left = OnLeft,
                                         .finished = OnFinished,
                                         .ended = OnEnded};
    filter =
        orvane_session_add_filter(service.Session(), spec.get(), TRUE, &functions, this, nullptr);
    if (!RunUntil([&] { return isWhole || IsOver(); }, service.TimeoutSeconds()))
        throw Failure(Text(MSGID("watch.late") "reading the objects: no answer within %d s",
                           service.TimeoutSeconds()),
                      kTimedOut);
    Check();
}

bool ObjectWatch::IsOver() const {
    return isEnded || filter == 0 ||
           orvane_session_get_state(service.Session()) != ORVANE_SESSION_CONNECTED;
}

void ObjectWatch::Check() const {
    if (!refusal.empty())
        throw Failure(Text(MSGID("watch.refused") "following the objects: %s", refusal.c_str()) +
                          AdviceText(faultName),
                      kFailed, faultName);
    if (IsOver())
        throw Failure(Text(MSGID("connectionLost") "the connection to the service is lost"),
                      kNoConnection);
}

void ObjectWatch::OnCreated(SkemaQormMethodFault *fault, gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    if (fault == nullptr)
        return;
    self->refusal = FaultText(fault);
    self->faultName = ClassName(fault);
    self->filter = 0;
}

void ObjectWatch::OnEntered(SkemaQormManagedObject *object, gpointer data) {
    static_cast<ObjectWatch *>(data)->view.OnEntered(object);
}

void ObjectWatch::OnChanged(SkemaQormManagedObject *object, const char *path, gpointer data) {
    static_cast<ObjectWatch *>(data)->view.OnChanged(object, path);
}

void ObjectWatch::OnLeft(SkemaQormManagedObject *object, gpointer data) {
    static_cast<ObjectWatch *>(data)->view.OnLeft(object);
}

void ObjectWatch::OnFinished(gboolean isWhole, gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    self->isWhole = self->isWhole || isWhole != 0;
    self->view.OnFinished(self->isWhole);
}

void ObjectWatch::OnEnded(gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    self->isEnded = true;
    self->filter = 0;
}

} // namespace orvaneCli
