#include "lib/misc/id.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

constexpr uid_t kSomebody = 65534;

/* Runs in a child that has dropped root's rights temporarily. */
int TakeRightsBack() {
    if (Id_IsSetUGid() || seteuid(kSomebody) != 0 || !Id_IsSetUGid())
        return 1;
    const uid_t before = Id_BeginSuperUser();
    const uid_t nested = Id_BeginSuperUser();
    Id_EndSuperUser(nested);
    if (before != kSomebody || geteuid() != 0)
        return 2;
    Id_EndSuperUser(before);
    return geteuid() == kSomebody ? 0 : 3;
}

TEST(Id, RootsRightsAreTakenAndGivenUpAgain) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root has rights to take back";
    EXPECT_EXIT(_exit(TakeRightsBack()), testing::ExitedWithCode(0), "");
}

TEST(Id, WithoutTheRightNothingChanges) {
    EXPECT_EXIT(
        {
            const bool isRoot = geteuid() == 0;
            if (isRoot && setresuid(kSomebody, kSomebody, kSomebody) != 0)
                _exit(1);
            const uid_t user = geteuid();
            const uid_t before = Id_BeginSuperUser();
            const bool isSame = geteuid() == user;
            Id_EndSuperUser(before);
            _exit(isSame && geteuid() == user ? 0 : 2);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
