#include "lib/misc/coreDumpRegion.h"

#include <cstring>

#include <sys/mman.h>

#include "lib/lock/mxUser.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/panic.h"
#include "lib/misc/readableMemory.h"

namespace {

constexpr guint kNumBuckets = 4096;
constexpr gsize kPageSize = 4096;
constexpr guint32 kLockRank = 0xff000000;
constexpr gsize kIsNotDumpable = 1; /* bit of a value; the others are the size */

constinit HashTable *coreDumpRegions = nullptr; /* address -> size and bit; guarded by the lock */
constinit MXUserExclLock *coreDumpRegionsLock = nullptr;

MXUserExclLock *Lock() {
    MXUserExclLock *lock =
        MXUser_CreateSingletonExclLock(&coreDumpRegionsLock, "coreDumpRegions", kLockRank);
    VERIFY(lock != nullptr);
    return lock;
}

/* Replaces one page by a private one with the same content. A page that cannot be read stays. */
void CopyPage(char *page) {
    static char buffer[kPageSize];
    if (!ReadableMemory_Copy(buffer, page, kPageSize))
        return;
    if (mmap(page, kPageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1,
             0) == page)
        memcpy(page, buffer, kPageSize);
}

gint SigCoreDumpUnmap(gconstpointer key, gpointer value, gpointer) {
    auto *address = static_cast<char *>(const_cast<gpointer>(key));
    const gsize size = GPOINTER_TO_SIZE(value) & ~kIsNotDumpable;
    if ((GPOINTER_TO_SIZE(value) & kIsNotDumpable) == 0) {
        munmap(address, size); // a failure makes the dump larger, no more
        return 0;
    }
    for (gsize at = 0; at < size; at += kPageSize)
        CopyPage(address + at);
    return 0;
}

} // namespace

void Sig_CoreDumpRegion(gboolean add, gboolean dumpable, gpointer address, gsize size) {
    VERIFY(size <= G_MAXSIZE - kPageSize);
    const gsize rounded = (size + kPageSize - 1) & ~(kPageSize - 1);
    MXUser_AcquireExclLock(Lock());
    if (coreDumpRegions && add)
        HashTable_ReplaceOrInsert(coreDumpRegions, address,
                                  GSIZE_TO_POINTER(rounded | (dumpable ? 0 : kIsNotDumpable)));
    else if (coreDumpRegions)
        HashTable_Delete(coreDumpRegions, address);
    MXUser_ReleaseExclLock(Lock());
}

void SigCoreDumpRegionsInit(void) {
    MXUser_AcquireExclLock(Lock());
    if (!coreDumpRegions)
        coreDumpRegions = HashTable_Alloc(kNumBuckets, HASHTABLE_INT, nullptr);
    MXUser_ReleaseExclLock(Lock());
}

void SigCoreDumpRegionsExit(void) {
    MXUser_AcquireExclLock(Lock());
    HashTable_Free(coreDumpRegions);
    coreDumpRegions = nullptr;
    MXUser_ReleaseExclLock(Lock());
}

void SigCoreDumpUnmapRegions(void) {
    /* Without a lock there was no table. A lock of another thread, which the child does not have, is never released,
     * and the table may then be half changed. */
    if (!coreDumpRegionsLock || !MXUser_TryAcquireExclLock(coreDumpRegionsLock))
        return;
    if (coreDumpRegions)
        HashTable_ForEach(coreDumpRegions, SigCoreDumpUnmap, nullptr);
    MXUser_ReleaseExclLock(coreDumpRegionsLock);
}
