#include "lib/lock/vthreadBase.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <pthread.h>

#include "lib/misc/atomicFence.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr pthread_key_t kNoKey = 1024; /* PTHREAD_KEYS_MAX: no key is that */
constexpr guint32 kFirstId = 4;
constexpr guint32 kLastId = 0xfffffff4;
constexpr guint kIdBuckets = 128;

void VThreadBaseSimpleNoID();
void VThreadBaseSimpleFreeID(VThreadBaseData *record);

struct VThreadBaseGlobals {
    std::atomic<pthread_key_t> recordKey = kNoKey; /* its destructor runs when a thread ends */
    std::atomic<pthread_key_t> idKey = kNoKey;     /* the number plus one; 0: none */
    std::atomic<guint32> dynamicID = kFirstId;     /* the next number that was never used */
    std::atomic<guint32> numThreads = 0;           /* that have a record */
    HashTable *ids = nullptr;                      /* number -> pthread_t of its owner, or 0 */
    std::atomic<VThreadBaseNoIDFunc> noIDFunc = VThreadBaseSimpleNoID;
    std::atomic<VThreadBaseFreeIDFunc> freeIDFunc = VThreadBaseSimpleFreeID;
};
constinit VThreadBaseGlobals vthreadBaseGlobals;

constinit std::atomic<guint32> numFirstUses = 0; /* threads that are getting their identity */
constinit std::atomic<bool> isMultipleLogged = false;

/* Copies of what the keys hold, since reading them is faster. */
constinit thread_local guint32 currentId = VTHREADBASE_INVALID_ID;
constinit thread_local VThreadBaseData *currentRecord = nullptr;

void VThreadBaseSetCurrent(VThreadBaseData *record) {
    VERIFY(pthread_setspecific(vthreadBaseGlobals.recordKey, record) == 0);
    const guintptr idPlusOne = record ? guintptr(record->id) + 1 : 0;
    VERIFY(pthread_setspecific(vthreadBaseGlobals.idKey, reinterpret_cast<void *>(idPlusOne)) == 0);
    currentRecord = record;
    currentId = record ? record->id : VTHREADBASE_INVALID_ID;
}

/* Releases the identity of the calling thread. */
void VThreadBaseReleaseIdentity(void *pointer) {
    auto *record = static_cast<VThreadBaseData *>(pointer);
    VThreadBaseData copy = *record; /* freeIDFunc may log, which needs an identity */
    VThreadBaseSetCurrent(&copy);
    if (const VThreadBaseFreeIDFunc freeIDFunc = vthreadBaseGlobals.freeIDFunc)
        freeIDFunc(record);
    VThreadBaseSetCurrent(nullptr);
    Atomic_FetchAdd(&vthreadBaseGlobals.numThreads, guint32(-1));
}

pthread_key_t VThreadBaseNewKey(void (*destructor)(void *)) {
    pthread_key_t key = 0;
    VERIFY(pthread_key_create(&key, destructor) == 0);
    if (key != 0)
        return key;
    VERIFY(pthread_key_create(&key, destructor) == 0); /* 0 means "not set" */
    VERIFY(pthread_key_delete(0) == 0);
    return key;
}

void VThreadBaseMakeKey(std::atomic<pthread_key_t> *storage, void (*destructor)(void *)) {
    pthread_key_t found = storage->load(std::memory_order_acquire);
    if (found != kNoKey)
        return;
    const pthread_key_t made = VThreadBaseNewKey(destructor);
    if (!Atomic_CompareExchange(storage, &found, made))
        VERIFY(pthread_key_delete(made) == 0);
}

void VThreadBaseInit() {
    AtomicInitFence();
    VThreadBaseMakeKey(&vthreadBaseGlobals.idKey, nullptr);
    VThreadBaseMakeKey(&vthreadBaseGlobals.recordKey, VThreadBaseReleaseIdentity);
}

HashTable *VThreadBaseIds() {
    return HashTable_AllocOnce(&vthreadBaseGlobals.ids, kIdBuckets,
                               HASHTABLE_INT | HASHTABLE_ATOMIC, nullptr);
}

gpointer VThreadBaseSelf() {
    return reinterpret_cast<gpointer>(pthread_self());
}

gconstpointer VThreadBaseIdKey(guint32 id) {
    return reinterpret_cast<gconstpointer>(guintptr(id));
}

/* Claims the lowest free number. */
guint32 VThreadBaseClaimId() {
    HashTable *ids = VThreadBaseIds();
    const guint32 end = vthreadBaseGlobals.dynamicID.load(std::memory_order_acquire);
    for (guint32 id = 0; id < end; id++) {
        if (HashTable_ReplaceIfEqual(ids, VThreadBaseIdKey(id), nullptr, VThreadBaseSelf()))
            return id;
    }
    const guint32 id = Atomic_FetchAdd(&vthreadBaseGlobals.dynamicID, 1);
    VERIFY(id <= kLastId);
    VERIFY(HashTable_Insert(ids, VThreadBaseIdKey(id), VThreadBaseSelf()));
    return id;
}

/* A signal handler could use the identity before it is complete. Only the handlers that report a crash may
 * run. */
void VThreadBaseBlockSignals(sigset_t *oldMask) {
    sigset_t mask;
    sigfillset(&mask);
    for (int signal : {SIGBUS, SIGSEGV, SIGILL, SIGABRT})
        sigdelset(&mask, signal);
    VERIFY(VThreadBase_SigMask(SIG_BLOCK, &mask, oldMask) == 0);
}

void VThreadBaseSimpleNoID() {
    sigset_t oldMask;
    VThreadBaseBlockSignals(&oldMask);
    auto *record = static_cast<VThreadBaseData *>(UtilSafeCalloc0(1, sizeof(VThreadBaseData)));
    record->id = VThreadBaseClaimId();
    snprintf(record->name, sizeof record->name, "vthread-%u", record->id);
    VERIFY(VThreadBase_InitWithTLS(record));
    VERIFY(VThreadBase_SigMask(SIG_SETMASK, &oldMask, nullptr) == 0);

    if (vthreadBaseGlobals.numThreads > 1 && !Atomic_Exchange(&isMultipleLogged, true))
        Log("VThreadBase detected multiple threads.\n");
}

void VThreadBaseSimpleFreeID(VThreadBaseData *record) {
    HashTable_ReplaceIfEqual(VThreadBaseIds(), VThreadBaseIdKey(record->id), VThreadBaseSelf(),
                             nullptr);
    free(record);
}

VThreadBaseData *VThreadBaseRecord() {
    if (currentRecord)
        return currentRecord;
    Atomic_FetchAdd(&numFirstUses, 1);
    vthreadBaseGlobals.noIDFunc.load()();
    Atomic_FetchAdd(&numFirstUses, guint32(-1));
    VERIFY(currentRecord != nullptr);
    return currentRecord;
}

} // namespace

guint32 VThreadBase_CurID(void) {
    if (currentId != VTHREADBASE_INVALID_ID) [[likely]]
        return currentId;
    return VThreadBaseRecord()->id;
}

const char *VThreadBase_CurName(void) {
    if (currentRecord)
        return currentRecord->name;
    if (numFirstUses.load(std::memory_order_acquire) == 0)
        return VThreadBaseRecord()->name;
    // The thread may be inside VThreadBaseRecord(), which must not recurse.
    static constinit thread_local char hostName[47];
    static_assert(sizeof hostName >= VTHREADBASE_MAX_NAME);
    snprintf(hostName, sizeof hostName, "host-%lu", static_cast<unsigned long>(pthread_self()));
    return hostName;
}

void VThreadBase_CopyCurName(char name[VTHREADBASE_MAX_NAME]) {
    memcpy(name, VThreadBase_CurName(), VTHREADBASE_MAX_NAME);
}

void VThreadBase_SetName(const char *name) {
    g_strlcpy(VThreadBaseRecord()->name, name, VTHREADBASE_MAX_NAME);
}

gboolean VThreadBase_InitWithTLS(VThreadBaseData *record) {
    VERIFY(record->id != VTHREADBASE_INVALID_ID);
    if (currentRecord) {
        Log("VThreadBase reinitialization, old: %d %s, new: %d %s.\n", int(currentRecord->id),
            currentRecord->name, int(record->id), record->name);
        return FALSE;
    }
    VThreadBaseInit();
    VThreadBaseSetCurrent(record);
    Atomic_FetchAdd(&vthreadBaseGlobals.numThreads, 1);
    return TRUE;
}

void VThreadBase_ForgetSelf(void) {
    if (currentRecord)
        VThreadBaseReleaseIdentity(currentRecord);
}

void VThreadBase_SetNoIDFunc(VThreadBaseNoIDFunc noIDFunc, VThreadBaseFreeIDFunc freeIDFunc) {
    VERIFY(noIDFunc != nullptr);
    vthreadBaseGlobals.noIDFunc = noIDFunc;
    vthreadBaseGlobals.freeIDFunc = freeIDFunc;
}

void VThreadBase_SetIsInSignal(guint32 id, gboolean isInSignal) {
    VThreadBaseData *record = VThreadBaseRecord();
    VERIFY(id == record->id);
    std::atomic_ref<gint32>(record->signalNestCount).fetch_add(isInSignal ? 1 : -1);
    AtomicFence();
}

gboolean VThreadBase_IsInSignal(void) {
    return VThreadBase_GetSignalDepth() != 0;
}

gint32 VThreadBase_GetSignalDepth(void) {
    return currentRecord ? std::atomic_ref<gint32>(currentRecord->signalNestCount).load() : 0;
}

void VThreadBase_RestoreSignalDepth(gint32 depth) {
    std::atomic_ref<gint32>(VThreadBaseRecord()->signalNestCount).store(depth);
    AtomicFence();
}

int VThreadBase_SigMask(int how, const sigset_t *newMask, sigset_t *oldMask) {
    return pthread_sigmask(how, newMask, oldMask);
}
