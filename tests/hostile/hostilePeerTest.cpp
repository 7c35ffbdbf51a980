// Whatever a peer does, the application's listeners end once, and what it costs stays within the ledger.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include "tests/hostile/ledger.h"
#include "tests/hostile/rows.h"
#include "tests/support/temporaryFolder.h"

namespace hostile {

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.name;
}

} // namespace hostile

namespace {

using namespace hostile;

constexpr rlim_t kSeconds = 30; /* of processor time, after which a row is given up */

void Attacked(const Row &row) {
    orvane_set_reader_checks_to_log(TRUE); /* all else that GLib says fails the test */
    const rlimit limit{kSeconds, kSeconds};
    setrlimit(RLIMIT_CPU, &limit);
    const TemporaryFolder folder;
    const auto presented = row.isTls ? certificates::MakeKind("good") : std::nullopt;
    Visit visit{.login = row.login,
                .isEndedBySelf = row.isEndedBySelf,
                .bodyLimit = row.bodyLimit,
                .treeLimit = row.treeLimit};
    if (presented)
        visit.authorities = folder.Write("root.pem", presented->anchor.pem);
    const auto *shown = presented ? &*presented : nullptr;
    const Peer stranger;
    const Peer peer(
        {row.method, {.bytes = WithPort(AnswerOf(row), stranger.Port()), .close = row.isClosed}},
        shown);
    {
        /* what is made once in a process is no matter of this peer */
        const Peer friendly({}, shown);
        visit.url = friendly.Url();
        hostile::Run(visit);
    }
    if (row.hasTrace)
        g_setenv("HALDEN_BASICHTTP_TRACE", "1", TRUE);

    visit.url = peer.Url(row.path);
    Ledger ledger;
    const std::string steps = hostile::Run(visit);
    g_usleep(50000); /* for the peer's last look at itself */
    const PeerDeeds deeds = peer.Deeds();
    EXPECT_EQ("", ledger.Close(deeds.numBytes));
    EXPECT_THAT(steps, testing::MatchesRegex(row.steps)) << LogText();
    EXPECT_EQ(0, stranger.Deeds().numConnections) << "a stranger was called";
    EXPECT_GE(row.maxAttacks, deeds.numAttacks);
    EXPECT_GE(row.maxBytes, deeds.numBytes);
    EXPECT_THAT(LogText(), testing::HasSubstr(row.logged));
}

class HostilePeer : public testing::TestWithParam<Row> {};

TEST_P(HostilePeer, CannotDoHarm) {
    InChild([] { Attacked(GetParam()); });
}

/* "document type, a file" as a name that a test can have. */
std::string TestName(const testing::TestParamInfo<Row> &row) {
    std::string name;
    bool isStart = true;
    for (char c : row.param.name) {
        if (g_ascii_isalnum(c))
            name += isStart ? g_ascii_toupper(c) : c;
        else if (c == '-')
            name += "Minus";
        isStart = !g_ascii_isalnum(c);
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Transport, HostilePeer, testing::ValuesIn(TransportRows()), TestName);
INSTANTIATE_TEST_SUITE_P(Document, HostilePeer, testing::ValuesIn(DocumentRows()), TestName);
INSTANTIATE_TEST_SUITE_P(Update, HostilePeer, testing::ValuesIn(UpdateRows()), TestName);

} // namespace
