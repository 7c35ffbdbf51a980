#include "lib/misc/productState.h"

#include <atomic>

namespace {

constexpr const char *kName = "Orvane";
constinit std::atomic<const char *> gName{kName};

} // namespace

const char *ProductState_GetName(void) {
    return gName.load(std::memory_order_acquire);
}

void ProductState_SetName(const char *name) {
    gName.store(name != nullptr ? name : kName, std::memory_order_release);
}

gboolean ProductState_IsProduct(guint /* products */) {
    return FALSE;
}
