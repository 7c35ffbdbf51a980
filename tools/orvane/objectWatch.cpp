#include "tools/orvane/objectWatch.h"

#include <set>
#include <utility>

#include <orvane/schema/ozy.h>

#include "tools/orvane/message.h"

namespace orvaneCli {

ObjectWatch::ObjectWatch(const Service &connected, WatchView &shownBy)
    : service(connected), view(shownBy) {
    service.FollowReconnects(
        {.onReconnecting = [this](int attempt, int delay) { view.OnReconnecting(attempt, delay); },
         .onReconnected = [this] { view.OnReconnected(); }});
}

ObjectWatch::~ObjectWatch() {
    service.FollowReconnects({});
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
                                         .ended = OnEnded,
                                         .rewound = OnRestarted,
                                         .restarted = OnRestarted};
    filter =
        orvane_session_add_filter(service.Session(), spec.get(), TRUE, &functions, this, nullptr);
    while (!RunUntil([&] { return isWhole || IsOver(); }, service.TimeoutSeconds())) {
        Check();
        if (!IsInterrupted())
            throw LateFailure(Text(MSGID("watch.reading") "reading the objects"),
                              service.TimeoutSeconds());
    }
    Check();
}

bool ObjectWatch::IsOver() const {
    return isEnded || filter == 0 ||
           (orvane_session_get_state(service.Session()) != ORVANE_SESSION_CONNECTED &&
            !IsInterrupted());
}

bool ObjectWatch::IsInterrupted() const {
    return service.IsReconnecting();
}

void ObjectWatch::Check() const {
    if (refusal)
        throw Failure(*refusal);
    service.CheckReconnect();
    if (IsOver())
        throw LostFailure();
}

void ObjectWatch::OnCreated(SkemaQormMethodFault *fault, gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    if (fault == nullptr)
        return;
    self->refusal = FailureOf(Text(MSGID("watch.probe") "following the objects"), fault);
    self->filter = 0;
}

void ObjectWatch::OnEntered(SkemaQormManagedObject *object, gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    const auto [place, isNew] = self->followed.try_emplace(object);
    if (isNew)
        place->second.object.reset(
            static_cast<SkemaQormManagedObject *>(g_object_ref_sink(object)));
    place->second.isStale = false;
    self->view.OnEntered(object);
}

void ObjectWatch::OnChanged(SkemaQormManagedObject *object, const char *path, gpointer data) {
    static_cast<ObjectWatch *>(data)->view.OnChanged(object, path);
}

void ObjectWatch::OnLeft(SkemaQormManagedObject *object, gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    const auto place = self->followed.find(object);
    if (place == self->followed.end())
        return;
    self->view.OnLeft(object);
    self->followed.erase(place);
}

void ObjectWatch::OnRestarted(gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    self->isWhole = false;
    for (auto &[object, known] : self->followed)
        known.isStale = true;
    self->view.OnRestarted();
}

/* The service has sent all objects anew: one that it has not sent does not exist any more. */
void ObjectWatch::DropStale() {
    std::erase_if(followed, [this](const auto &each) {
        if (each.second.isStale)
            view.OnLeft(each.first);
        return each.second.isStale;
    });
}

void ObjectWatch::OnFinished(gboolean isWhole, gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    if (isWhole != 0 && !std::exchange(self->isWhole, true))
        self->DropStale();
    self->view.OnFinished(self->isWhole);
}

void ObjectWatch::OnEnded(gpointer data) {
    auto *self = static_cast<ObjectWatch *>(data);
    self->isEnded = true;
    self->filter = 0;
}

} // namespace orvaneCli
