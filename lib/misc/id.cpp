#include "lib/misc/id.h"

#include <sys/auxv.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "lib/misc/panic.h"

namespace {

constexpr uid_t kUnchanged = static_cast<uid_t>(-1);

/* The plain system call, since the C library's function changes all threads. */
bool IdSetEffectiveUser(uid_t user) {
    return syscall(SYS_setresuid, kUnchanged, user, kUnchanged) == 0;
}

} // namespace

gboolean Id_IsSetUGid(void) {
    return getauxval(AT_SECURE) != 0 || getuid() != geteuid() || getgid() != getegid();
}

uid_t Id_BeginSuperUser(void) {
    const uid_t user = geteuid();
    if (user == 0 || !IdSetEffectiveUser(0))
        return kUnchanged;
    return user;
}

void Id_EndSuperUser(uid_t before) {
    VERIFY(before == kUnchanged || IdSetEffectiveUser(before));
}
