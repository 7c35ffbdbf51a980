#include <gtest/gtest.h>
#include <unistd.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "tests/support/temporaryFolder.h"

namespace {

/* A service on this machine writes its ticket file as root, or as the user that runs it. What another user has written
 * would send a password of that user's choice. Links, pipes, folders and sizes are in connectTest. */
TEST(TicketFile, OfAnotherUserIsNotRead) {
    if (geteuid() != 0)
        GTEST_SKIP() << "files of other users need root";
    const TemporaryFolder folder;
    const std::string path = folder.Write("ticket", "one-time");
    const std::pair<uid_t, bool> rows[] = {{0, true}, {12345, false}};
    for (const auto &[owner, isRead] : rows) {
        ASSERT_EQ(0, chown(path.c_str(), owner, gid_t(-1)));
        const GPtr<char> text(OrvaneSessionReadTicket(path.c_str()));
        EXPECT_EQ(isRead, text != nullptr) << owner;
    }
}

} // namespace
