/*
 * wire.h -- what a session sends and receives, as text for people, without secrets
 *
 *   static void OnRecord(OrvaneSession *session, const OrvaneWireRecord *record, gpointer data) {
 *       g_printerr("%s\n", record->text);
 *   }
 *   ...
 *   orvane_session_set_wire_func(session, OnRecord, NULL, NULL);
 *
 * Each request and each reply is one record. Both have the same number. A request that is cancelled has no reply.
 *
 * Without a change to the program, the records of all its sessions are appended to the file that the environment variable
 * ORVANE_WIRE names; see docs/wire.md. ORVANE_WIRE_BODY is then the number of bytes of a body that are shown.
 *
 * Secrets: elements and attributes named after passwords, passphrases, tickets, tokens, cookies, keys, session ids and
 *          credentials are shown as "[redacted]", in any namespace. So is what follows such a name in a text, whether or not
 *          it is escaped, the value of cookie and authorization headers, and user, password and query of a URL. A text
 *          that hides the names, as Base64 does, is not recognised.
 * Threads: the loop's.
 */
#pragma once

#include <orvane/session.h>

G_BEGIN_DECLS

/**
 * OrvaneWireKind:
 * @ORVANE_WIRE_REQUEST: a request that was passed to the transport
 * @ORVANE_WIRE_REPLY: the reply to it, or how its transfer failed
 */
typedef enum {
    ORVANE_WIRE_REQUEST = 1,
    ORVANE_WIRE_REPLY = 2,
} OrvaneWireKind;

/**
 * OrvaneWireRecord:
 * @kind: a request or a reply
 * @isCut: whether @body shows only the beginning
 * @number: number of the request in this process, from 1; that of the request for a reply
 * @time: microseconds since 1970, in UTC
 * @duration: for a reply: microseconds since its request
 * @numBytes: bytes of the whole body
 * @status: for a reply: HTTP status; 0 if none was received
 * @errorCode: for a reply: the transport's error, as in the fault OrvaneFaultInvalidResponse; 0 for none
 * @method: name of the method; "GET" for a document
 * @object: wire type and id of the object, "Folder:group-d1"; for "GET" the path of the URL
 * @text: all of the above, the headers of a reply, and the body, as one entry of the file, without a newline at the end
 * @body: the end of @text that shows the body: one element on each line, indented; empty for none
 *
 * All texts are UTF-8 without control characters other than newlines, and are valid during the call.
 */
typedef struct {
    OrvaneWireKind kind;
    gboolean isCut;
    guint64 number;
    gint64 time;
    gint64 duration;
    guint64 numBytes;
    glong status;
    guint errorCode;
    const char *method;
    const char *object;
    const char *text;
    const char *body;
} OrvaneWireRecord;

/**
 * OrvaneWireFunc:
 * @session: the session of the request
 * @record: the request or reply
 * @data: the argument of orvane_session_set_wire_func()
 *
 * Called right after a request was passed to the transport, from inside the function that sends it, and before a reply is
 * handled. It may use the session's setters and send requests, which are not recorded. It must not release the session or
 * a listener, disconnect, or call orvane_shutdown().
 */
typedef void (*OrvaneWireFunc)(OrvaneSession *session, const OrvaneWireRecord *record,
                               gpointer data);

/**
 * orvane_session_set_wire_func:
 * @session: a session
 * @function: (nullable) (scope notified) (closure data) (destroy destroy): receives the records from now on; %NULL for none
 * @data: passed to @function
 * @destroy: (nullable): releases @data when the function is replaced or the session is finalised
 */
ORVANE_EXPORT void orvane_session_set_wire_func(OrvaneSession *session, OrvaneWireFunc function,
                                                gpointer data, GDestroyNotify destroy);

/**
 * orvane_session_set_wire_limit:
 * @session: a session
 * @bytes: most bytes of each body that are shown, counted as they are sent; 0 shows no bodies. At first 16,384, or the
 *   value of ORVANE_WIRE_BODY
 *
 * Holds for the session's records in the file as well.
 */
ORVANE_EXPORT void orvane_session_set_wire_limit(OrvaneSession *session, gsize bytes);

G_END_DECLS
