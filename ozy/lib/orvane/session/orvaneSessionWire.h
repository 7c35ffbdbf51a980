/*
 * orvaneSessionWire.h -- the records of a session's requests and replies, for a function of the application and for the
 * file of ORVANE_WIRE
 *
 * A request is recorded when the transport has it, its reply before it is handled. While nobody receives records, a call has
 * no OrvaneWireCall, and costs one comparison more.
 *
 * Threads: the loop's.
 */
#pragma once

#include <memory>

#include <orvane/wire.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/glibPtr.h"

/* What the record of a reply repeats of its request. */
struct OrvaneWireCall {
    guint64 number;
    gint64 monotonicTime; /* of the request, in microseconds */
    GPtr<char> method;
    GPtr<char> object;
};

/* The function that a session has, and its data. It stays while it runs, also if it is replaced meanwhile. */
struct OrvaneWireReceiver {
    OrvaneWireFunc function;
    gpointer data;
    GDestroyNotify destroy;
    int references;
};
void OrvaneWireReceiver_Unref(OrvaneWireReceiver *receiver);

/* Records a request that was sent, "GET" of a document if there is no object. Returns NULL if nobody receives records. May
 * call the application's function. */
std::unique_ptr<OrvaneWireCall> OrvaneSessionWire_Request(OrvaneSession *session,
                                                          BasicHttpRequest *request,
                                                          GObject *object, const char *method);

/* The same for a call that is sent again. @former has its first request; NULL if that was not recorded. */
std::unique_ptr<OrvaneWireCall> OrvaneSessionWire_Repeat(OrvaneSession *session,
                                                         BasicHttpRequest *request,
                                                         const OrvaneWireCall *former);

/* Records the reply to a request. May call the application's function. */
void OrvaneSessionWire_Reply(OrvaneSession *session, const OrvaneWireCall &call,
                             BasicHttpRequest *request, const BasicHttpResponse *response);
