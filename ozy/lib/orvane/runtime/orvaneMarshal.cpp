// The marshaller of "array_notify".
#include <utility>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"

namespace {

using Handler = void (*)(gpointer first, GParamSpec *pspec, gboolean isWhole, gpointer boxed,
                         gpointer last);

} // namespace

void orvane_marshal_VOID__PARAM_BOOLEAN_BOXED(GClosure *closure, GValue * /* result */,
                                              guint numParams, const GValue *params,
                                              gpointer /* hint */, gpointer data) {
    g_return_if_fail(numParams == 4);

    gpointer first = g_value_peek_pointer(params);
    gpointer last = closure->data;
    if (G_CCLOSURE_SWAP_DATA(closure))
        std::swap(first, last);
    gpointer function = data != nullptr ? data : reinterpret_cast<GCClosure *>(closure)->callback;
    reinterpret_cast<Handler>(function)(first, g_value_get_param(params + 1),
                                        g_value_get_boolean(params + 2),
                                        g_value_get_boxed(params + 3), last);
}
