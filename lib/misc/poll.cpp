#include "lib/misc/poll.h"

#include "lib/misc/panic.h"

namespace {

constexpr gint kLoopTimeout = 1000000;

gint DeviceFlags(gboolean periodic) {
    return POLL_FLAG_READ | POLL_FLAG_WRAPPER | (periodic ? POLL_FLAG_PERIODIC : 0);
}

gint TimerFlags(gboolean periodic) {
    return POLL_FLAG_WRAPPER | (periodic ? POLL_FLAG_PERIODIC : 0);
}

} // namespace

constinit const PollImpl *pollImpl = nullptr;

void Poll_InitWithImpl(const PollImpl *impl) {
    VERIFY(impl && !pollImpl);
    pollImpl = impl;
    if (impl->Init)
        impl->Init(impl->initData);
}

void Poll_Exit(void) {
    VERIFY(pollImpl);
    if (pollImpl->Exit)
        pollImpl->Exit();
    pollImpl = nullptr;
}

void Poll_Loop(gboolean loop, volatile gint *exit, gint pollClass) {
    Poll_LoopTimeout(loop, exit, pollClass, kLoopTimeout);
}

void Poll_LoopTimeout(gboolean loop, volatile gint *exit, gint pollClass, gint timeout) {
    VERIFY(pollImpl);
    pollImpl->LoopTimeout(loop != FALSE, exit, pollClass, timeout);
}

gint Poll_Callback(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                   gint64 info, gpointer lock, PollClassSet classSet) {
    VERIFY(pollImpl);
    return pollImpl->Callback(flags, function, clientData, eventType, info, lock, classSet);
}

gint Poll_CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                         gint eventType, PollClassSet classSet) {
    VERIFY(pollImpl);
    return pollImpl->CallbackRemove(flags, function, clientData, eventType, classSet);
}

gint Poll_CallbackRemoveOneByCB(gint flags, OrvanePollFunction function, gpointer clientData,
                                gint eventType, PollClassSet classSet) {
    VERIFY(pollImpl);
    return pollImpl->CallbackRemoveOneByCB(flags, function, clientData, eventType, classSet);
}

gboolean Poll_LockingEnabled(void) {
    VERIFY(pollImpl);
    return pollImpl->LockingEnabled();
}

gint Poll_CB_Device(OrvanePollFunction function, gpointer clientData, gint64 info,
                    gboolean periodic) {
    return Poll_Callback(DeviceFlags(periodic), function, clientData, POLL_DEVICE, info, nullptr,
                         POLL_CLASS_MAIN);
}

gint Poll_CB_DeviceRemove(OrvanePollFunction function, gpointer clientData, gboolean periodic) {
    return Poll_CallbackRemove(DeviceFlags(periodic), function, clientData, POLL_DEVICE,
                               POLL_CLASS_MAIN);
}

gint Poll_CB_RTime(OrvanePollFunction function, gpointer clientData, gint64 delay,
                   gboolean periodic, gpointer lock) {
    return Poll_Callback(TimerFlags(periodic), function, clientData, POLL_REALTIME, delay, lock,
                         POLL_CLASS_MAIN);
}

gint Poll_CB_RTimeRemove(OrvanePollFunction function, gpointer clientData, gboolean periodic) {
    return Poll_CallbackRemove(TimerFlags(periodic), function, clientData, POLL_REALTIME,
                               POLL_CLASS_MAIN);
}
