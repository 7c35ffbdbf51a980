#include "lib/misc/productState.h"

#include <atomic>

#include "lib/lock/mxUser.h"
#include "lib/lock/vthreadBase.h"
#include "lib/misc/panic.h"

namespace {

constexpr guint32 kLockRank = 0xff000000;
constexpr const char *kName = "Orvane";

struct ProductState {
    const char *name = kName;
    guint products = 0;
};

constinit ProductState gProduct; /* guarded by the lock, which is there once it was set */
constinit MXUserRWLock *productStateLock = nullptr;

ProductState Get() {
    MXUserRWLock *lock = std::atomic_ref(productStateLock).load(std::memory_order_acquire);
    /* A handler may have interrupted this thread while it holds the lock. */
    if (lock == nullptr || VThreadBase_IsInSignal())
        return gProduct;
    MXUser_AcquireForRead(lock);
    const ProductState product = gProduct;
    MXUser_ReleaseRWLock(lock);
    return product;
}

} // namespace

const char *ProductState_GetName(void) {
    return Get().name;
}

gboolean ProductState_IsProduct(guint products) {
    return (Get().products & products) != 0;
}

void ProductState_Set(guint products, const char *name) {
    MXUserRWLock *lock =
        MXUser_CreateSingletonRWLock(&productStateLock, "productStateLock", kLockRank);
    VERIFY(lock != nullptr);
    MXUser_AcquireForWrite(lock);
    gProduct = {name != nullptr ? name : kName, products};
    MXUser_ReleaseRWLock(lock);
}
