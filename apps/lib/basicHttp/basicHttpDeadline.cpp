#include "apps/lib/basicHttp/basicHttpDeadline.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "apps/lib/basicHttp/basicHttpInt.h"
#include "lib/misc/log.h"

namespace {

/* A heap: the earliest is first, and each is at most as late as the two at twice its place. */
using Heap = std::vector<BasicHttpDeadline *>;

constinit Heap *gHeap = nullptr; /* NULL while it is empty */
constinit gint64 gRegisteredDue = 0;
constinit bool gIsRegistered = false;

void Store(gsize place, BasicHttpDeadline *deadline) {
    (*gHeap)[place - 1] = deadline;
    deadline->place = place;
}

BasicHttpDeadline *At(gsize place) {
    return (*gHeap)[place - 1];
}

void MoveUp(BasicHttpDeadline *deadline) {
    gsize place = deadline->place;
    for (; place > 1 && deadline->due < At(place / 2)->due; place /= 2)
        Store(place, At(place / 2));
    Store(place, deadline);
}

void MoveDown(BasicHttpDeadline *deadline) {
    gsize place = deadline->place;
    for (gsize child = 2 * place; child <= gHeap->size(); child = 2 * place) {
        if (child < gHeap->size() && At(child + 1)->due < At(child)->due)
            child++;
        if (deadline->due <= At(child)->due)
            break;
        Store(place, At(child));
        place = child;
    }
    Store(place, deadline);
}

void Remove(BasicHttpDeadline *deadline) {
    const gsize place = std::exchange(deadline->place, 0);
    BasicHttpDeadline *last = gHeap->back();
    gHeap->pop_back();
    if (last != deadline) {
        Store(place, last);
        MoveUp(last);
        MoveDown(last);
    }
    if (gHeap->empty())
        delete std::exchange(gHeap, nullptr);
}

void OnTimer(gpointer);

void Unregister() {
    if (std::exchange(gIsRegistered, false))
        pollCallbackRemoveProc(0, OnTimer, &gHeap, POLL_REALTIME, POLL_CLASS_MAIN);
}

/* Registers the earliest, unless an earlier time is registered. */
void Register() {
    if (gHeap == nullptr || !BasicHttp_IsInited())
        return;
    const gint64 due = At(1)->due;
    if (gIsRegistered && gRegisteredDue <= due)
        return;
    Unregister();
    const gint64 delay = std::max<gint64>(0, due - BasicHttpDeadline_Now());
    gRegisteredDue = due;
    gIsRegistered =
        pollCallbackProc(0, OnTimer, &gHeap, POLL_REALTIME, delay, nullptr, POLL_CLASS_MAIN) == 0;
    if (!gIsRegistered)
        Warning("BasicHTTP: The loop takes no timer; a time limit may not be kept.\n");
}

/* A function may run a loop of its own, so the next time is registered before each call. */
void OnTimer(gpointer) {
    gIsRegistered = false;
    const gint64 now = BasicHttpDeadline_Now();
    for (gsize left = gHeap != nullptr ? gHeap->size() : 0;
         left > 0 && gHeap != nullptr && At(1)->due <= now; left--) {
        BasicHttpDeadline *deadline = At(1);
        Remove(deadline);
        Register();
        deadline->passed(deadline->data);
    }
    Register();
}

} // namespace

gint64 BasicHttpDeadline_Now(void) {
    return basicHttpNow();
}

void BasicHttpDeadline_Set(BasicHttpDeadline *deadline, gint64 due, BasicHttpDeadlineFunc passed,
                           gpointer data) {
    BasicHttpDeadline_Clear(deadline);
    deadline->due = due;
    deadline->passed = passed;
    deadline->data = data;
    if (gHeap == nullptr)
        gHeap = new Heap();
    gHeap->push_back(deadline);
    deadline->place = gHeap->size();
    MoveUp(deadline);
    Register();
}

void BasicHttpDeadline_Clear(BasicHttpDeadline *deadline) {
    if (deadline->place == 0)
        return;
    Remove(deadline);
    if (gHeap == nullptr)
        Unregister();
}

void BasicHttpDeadline_Suspend(void) {
    Unregister();
}
