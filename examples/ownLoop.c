/* ownLoop URL USER PASSWORD -- the two loop functions over epoll, for a program that has no other loop */
#include <stdio.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

typedef struct {
    gint flags;
    OrvanePollFunction function;
    gpointer clientData;
    gint eventType;
    gint64 info;          /* a delay, or a descriptor */
    gint64 due;           /* of a timer, by the monotonic clock */
    guint64 number;       /* in order of registration */
    GSequenceIter *where; /* of a timer */
} Registration;

typedef struct {
    Registration *reading, *writing;
} Device;

static int poller;
static GHashTable *registrations; /* set, by what a removal names */
static GSequence *timers;         /* by the time at which they are due */
static GHashTable *devices;       /* descriptor to Device */
static guint64 numMade;

static guint Hash(gconstpointer key) {
    const Registration *one = key;
    return g_direct_hash(one->clientData) * 31 + (guint)one->flags;
}

static gboolean Equals(gconstpointer first, gconstpointer second) {
    const Registration *one = first, *other = second;
    return one->flags == other->flags && one->function == other->function &&
           one->clientData == other->clientData && one->eventType == other->eventType;
}

static gint ByDue(gconstpointer first, gconstpointer second, gpointer data) {
    const Registration *one = first, *other = second;
    (void)data;
    if (one->due != other->due)
        return one->due < other->due ? -1 : 1;
    return one->number < other->number ? -1 : 1;
}

/* epoll knows a descriptor once, so both of its registrations are joined here. */
static gboolean Watch(int descriptor, const Device *device, int operation) {
    struct epoll_event event = {.data.fd = descriptor};
    event.events = (device->reading ? EPOLLIN : 0) | (device->writing ? EPOLLOUT : 0);
    return epoll_ctl(poller, operation, descriptor, &event) == 0;
}

static gboolean AddDevice(Registration *added) {
    const int descriptor = (int)added->info;
    Device *device = g_hash_table_lookup(devices, GINT_TO_POINTER(descriptor));
    const int operation = device ? EPOLL_CTL_MOD : EPOLL_CTL_ADD;
    if (!device) {
        device = g_new0(Device, 1);
        g_hash_table_insert(devices, GINT_TO_POINTER(descriptor), device);
    }
    *(added->flags & POLL_FLAG_READ ? &device->reading : &device->writing) = added;
    return Watch(descriptor, device, operation);
}

static void RemoveDevice(const Registration *removed) {
    const int descriptor = (int)removed->info;
    Device *device = g_hash_table_lookup(devices, GINT_TO_POINTER(descriptor));
    *(removed->flags & POLL_FLAG_READ ? &device->reading : &device->writing) = NULL;
    if (device->reading || device->writing) {
        Watch(descriptor, device, EPOLL_CTL_MOD);
        return;
    }
    Watch(descriptor, device, EPOLL_CTL_DEL);
    g_hash_table_remove(devices, GINT_TO_POINTER(descriptor));
}

static void Drop(Registration *dropped) {
    g_hash_table_remove(registrations, dropped);
    if (dropped->eventType == POLL_DEVICE)
        RemoveDevice(dropped);
    else
        g_sequence_remove(dropped->where);
    g_free(dropped);
}

/* The library registers nothing twice, so that a set is enough. */
static gint OnRegister(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                       gint64 info, gpointer lock, PollClassSet classSet) {
    const Registration wanted = {flags,     function, clientData,
                                 eventType, info,     g_get_monotonic_time() + info,
                                 numMade++, NULL};
    Registration *added = g_memdup2(&wanted, sizeof wanted);
    (void)lock, (void)classSet;
    g_hash_table_add(registrations, added);
    if (eventType == POLL_DEVICE)
        return AddDevice(added) ? 0 : (Drop(added), 1);
    added->where = g_sequence_insert_sorted(timers, added, ByDue, NULL);
    return 0;
}

static gint OnRemove(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                     PollClassSet classSet) {
    const Registration wanted = {
        .flags = flags, .function = function, .clientData = clientData, .eventType = eventType};
    Registration *found = g_hash_table_lookup(registrations, &wanted);
    (void)classSet;
    if (!found)
        return 1;
    Drop(found);
    return 0;
}

static Registration *FirstTimer(void) {
    GSequenceIter *first = g_sequence_get_begin_iter(timers);
    return g_sequence_iter_is_end(first) ? NULL : g_sequence_get(first);
}

/* Calls one timer's function. The record may be gone before the call, and after it. */
static void RunTimer(Registration *timer) {
    const OrvanePollFunction function = timer->function;
    gpointer clientData = timer->clientData;
    if (timer->flags & POLL_FLAG_PERIODIC) {
        timer->due = g_get_monotonic_time() + timer->info;
        timer->number = numMade++;
        g_sequence_sort_changed(timer->where, ByDue, NULL);
    } else {
        Drop(timer);
    }
    function(clientData);
}

/* Looked up anew for each direction: the callback before may have removed the next one. */
static void RunDevice(int descriptor, gboolean isReading) {
    const Device *device = g_hash_table_lookup(devices, GINT_TO_POINTER(descriptor));
    const Registration *ready = !device ? NULL : isReading ? device->reading : device->writing;
    if (ready)
        ready->function(ready->clientData);
}

static void Turn(void) {
    struct epoll_event events[64];
    const Registration *next = FirstTimer();
    const gint64 wait = next ? (next->due - g_get_monotonic_time() + 999) / 1000 : -1;
    const int count =
        epoll_wait(poller, events, G_N_ELEMENTS(events), next ? (int)CLAMP(wait, 0, G_MAXINT) : -1);
    /* what is registered from here on waits for the next turn */
    const guint64 limit = numMade;
    const gint64 now = g_get_monotonic_time();
    for (Registration *due = FirstTimer(); due && due->due <= now && due->number < limit;
         due = FirstTimer())
        RunTimer(due);
    for (int i = 0; i < count; i++) {
        const guint failed = events[i].events & (EPOLLERR | EPOLLHUP);
        if (failed || (events[i].events & EPOLLIN))
            RunDevice(events[i].data.fd, TRUE);
        if (failed || (events[i].events & EPOLLOUT))
            RunDevice(events[i].data.fd, FALSE);
    }
}

/* Invoked however the operation ends, also where no signal is emitted. */
static void OnCompleted(OrvaneListener *listener, OrvaneOutcome outcome, gpointer isOver) {
    GError *error = NULL;
    (void)outcome;
    *(gboolean *)isOver = TRUE;
    if (orvane_listener_get_error(listener, &error))
        fprintf(stderr, "%s\n", error->message);
    g_clear_error(&error);
}

/* Turns the loop until the operation has ended. Prepare() comes before the operation is begun. */
static OrvaneListener *Prepare(gboolean *isOver) {
    OrvaneListener *listener = orvane_listener_new();
    *isOver = FALSE;
    orvane_listener_set_completed_func(listener, OnCompleted, isOver, NULL);
    return listener;
}

static gboolean Await(OrvaneListener *listener, const gboolean *isOver) {
    OrvaneOutcome outcome = ORVANE_OUTCOME_NOT_SENT;
    while (!*isOver)
        Turn();
    orvane_listener_get_outcome(listener, &outcome);
    g_object_unref(listener);
    return outcome == ORVANE_OUTCOME_SUCCEEDED;
}

static gboolean LogInAndOut(char **arguments) {
    gboolean isOver = FALSE;
    OrvaneSession *session = orvane_session_new();
    orvane_session_set_ssl_certificate_location(session, g_getenv("ORVANE_CA"), "/etc/ssl/certs");
    orvane_session_set_strict_tls(session, TRUE);

    OrvaneListener *login = Prepare(&isOver);
    orvane_session_connect(session, arguments[1], arguments[2], arguments[3], login);
    gboolean isWell = Await(login, &isOver);
    if (isWell) {
        GObject *content = NULL;
        char *name = NULL;
        g_object_get(session, "serviceInstanceContent", &content, NULL);
        GObject *about = NULL;
        g_object_get(content, "about", &about, NULL);
        g_object_get(about, "fullName", &name, NULL);
        printf("connected to %s\n", name);
        g_free(name);
        g_object_unref(about);
        g_object_unref(content);

        OrvaneListener *logout = Prepare(&isOver);
        orvane_session_disconnect(session, logout);
        isWell = Await(logout, &isOver);
    }
    g_object_unref(session);
    return isWell;
}

int main(int argc, char **argv) {
    poller = epoll_create1(EPOLL_CLOEXEC);
    registrations = g_hash_table_new(Hash, Equals);
    timers = g_sequence_new(NULL);
    devices = g_hash_table_new_full(NULL, NULL, NULL, g_free);
    if (argc != 4 || poller < 0 || !orvane_init(OnRegister, OnRemove))
        return 2;
    const gboolean isWell = LogInAndOut(argv);
    orvane_shutdown();
    g_hash_table_unref(devices);
    g_sequence_free(timers);
    g_hash_table_unref(registrations);
    close(poller);
    return isWell ? 0 : 1;
}
