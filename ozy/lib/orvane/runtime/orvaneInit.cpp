// The start and stop of the library.
#include <atomic>
#include <cstdlib>

#include <ssl/ssl.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"

namespace {

constinit std::atomic<bool> gIsEnvironmentRead{false};

} // namespace

constinit OrvanePollCallback orvane_poll_callback = nullptr;
constinit OrvanePollCallbackRemove orvane_poll_callback_remove = nullptr;

gboolean orvane_init(OrvanePollCallback pollCallback, OrvanePollCallbackRemove pollCallbackRemove) {
    g_return_val_if_fail(pollCallback != nullptr, FALSE);
    g_return_val_if_fail(pollCallbackRemove != nullptr, FALSE);

    orvane_poll_callback = pollCallback;
    orvane_poll_callback_remove = pollCallbackRemove;
    g_type_init();
    if (!gIsEnvironmentRead.exchange(true))
        SchemaLoad_FromEnvironment(secure_getenv);
    OrvaneSessionWire_Open(secure_getenv);
    SSL_Init(nullptr, nullptr, nullptr);
    if (!BasicHttp_InitEx(pollCallback, pollCallbackRemove, -1))
        return FALSE;
    OrvaneListener_CompleteAfterInit();
    return TRUE;
}

void orvane_shutdown(void) {
    BasicHttp_Shutdown();
    SSL_Exit();
    OrvaneSessionWire_Close();
    SoapBlocks_ReleaseKept();
    /* last, since completion functions may start the library again */
    OrvaneSession_EndAllForShutdown();
    OrvaneListener_CompleteForShutdown();
}
