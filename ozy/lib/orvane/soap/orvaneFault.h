/*
 * orvaneFault.h -- making the two faults that do not come from the service:
 * OrvaneFaultInvalidResponse for a reply that cannot be read, OrvaneFaultUnexpected for a failure
 * without a fault of its own
 *
 * Their types are part of <orvane/runtime.h>. Both are SkemaQormRuntimeFaults without a wire name.
 *
 * Ownership: a new fault is the caller's, with one reference.
 * Errors:    none.
 * Threads:   types may be registered from any thread; instances belong to one thread at a time.
 */
#pragma once

#include <orvane/runtime.h>

G_BEGIN_DECLS

/*
 * A fault for a reply that could not be read: the transport's error number (0 if the transfer
 * itself went well), the HTTP status (0 if there was none), and the reply's text as it came, or
 * NULL if there was none, in which case the property "responseMessage" is the empty text. All three
 * are 0 and NULL where the transport gave no response at all.
 */
SkemaQormMethodFault *OrvaneFault_NewInvalidResponse(guint errorCode, glong responseCode,
                                                     const char *responseMessage);

/* A fault without data, for a failure that has no fault of its own to report. */
SkemaQormMethodFault *OrvaneFault_NewUnexpected(void);

G_END_DECLS
