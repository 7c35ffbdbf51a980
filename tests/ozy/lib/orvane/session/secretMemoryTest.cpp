// After a login over TLS no copy of the password is left in the process, but those of libcurl's allocator.
#include <cstdlib>
#include <fstream>

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <curl/curl.h>

#include "lib/misc/secret.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"
#include "tests/support/inChild.h"
#include "tools/simulator/simulator.h"

namespace {

constexpr size_t kLength = 24;

/* The password, letter by letter: the test itself holds it only as long as it must. */
char Letter(size_t at) {
    return static_cast<char>('a' + at * 7 % 26);
}

struct Password {
    char text[kLength + 1] = {};
    Password() {
        for (size_t i = 0; i < kLength; i++)
            text[i] = Letter(i);
    }
    ~Password() { Secret_Wipe(text, sizeof text); }
};

bool IsAt(const char *bytes) {
    for (size_t i = 0; i < kLength; i++) {
        if (bytes[i] != Letter(i))
            return false;
    }
    return true;
}

/* How often the password is in what the process may write to. */
size_t NumCopies() {
    constexpr size_t kPiece = 1 << 20;
    constexpr unsigned long kLargest = 1UL << 32; /* a sanitizer's own are larger */
    static char piece[kPiece + kLength];
    const int memory = open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    std::ifstream maps("/proc/self/maps");
    size_t copies = 0;
    for (std::string line; std::getline(maps, line);) {
        unsigned long from = 0, to = 0;
        char mode[5] = "";
        if (sscanf(line.c_str(), "%lx-%lx %4s", &from, &to, mode) != 3 ||
            strncmp(mode, "rw", 2) != 0 || to - from > kLargest)
            continue;
        for (unsigned long at = from; at < to; at += kPiece) {
            const size_t wanted = std::min<unsigned long>(sizeof piece, to - at);
            const ssize_t got = pread(memory, piece, wanted, static_cast<off_t>(at));
            for (ssize_t i = 0; i + static_cast<ssize_t>(kLength) <= got && i < ssize_t(kPiece);
                 i++)
                copies += IsAt(piece + i);
            Secret_Wipe(piece, sizeof piece);
        }
    }
    close(memory);
    return copies;
}

/* -- an allocator for libcurl that wipes ---------------------------------------------------------- */

void WipingFree(void *block) {
    if (block != nullptr)
        Secret_Wipe(block, malloc_usable_size(block));
    free(block);
}

void *WipingRealloc(void *block, size_t size) {
    void *grown = malloc(size);
    if (block == nullptr || grown == nullptr)
        return grown;
    memcpy(grown, block, std::min(size, malloc_usable_size(block)));
    WipingFree(block);
    return grown;
}

/* A service in a process of its own, with a trouble. */
struct Peer {
    explicit Peer(const simulator::Trouble &trouble) {
        int ends[2];
        EXPECT_EQ(0, pipe(ends));
        process = std::make_unique<ChildProcess>([&] { Serve(ends[1], trouble); });
        close(ends[1]);
        char text[256] = "";
        EXPECT_LT(0, read(ends[0], text, sizeof text - 1));
        close(ends[0]);
        url = text;
    }
    std::string url;

private:
    [[noreturn]] static void Serve(int end, const simulator::Trouble &trouble) {
        const Password password;
        simulator::Simulator server({.hosts = 1,
                                     .machines = 1,
                                     .users = {{"u", password.text}},
                                     .certificateKind = "self-signed"});
        server.AddTrouble(trouble);
        server.RunInThread();
        const std::string url = server.Url();
        if (write(end, url.data(), url.size()) < 0)
            _exit(1);
        for (;;)
            pause();
    }
    std::unique_ptr<ChildProcess> process;
};

/* What a session asks for when it logs in again, and what came of it. */
struct Again {
    const char *user;
    int numAsked = 0;
    bool isOver = false;

    void Watch(OrvaneSession *session) {
        orvane_session_set_credentials_func(session, Give, this, nullptr);
        const OrvaneReconnect policy = {1, 1, 0, OnReconnecting, nullptr, nullptr, this, nullptr};
        orvane_session_set_reconnect(session, &policy);
        g_signal_connect(session, "notify::state", G_CALLBACK(OnState), this);
    }

private:
    static gboolean Give(OrvaneSession *, char **user, char **password, gpointer data) {
        auto *again = static_cast<Again *>(data);
        const Password secret;
        again->numAsked++;
        *user = g_strdup(again->user);
        *password = g_strdup(secret.text);
        return TRUE;
    }
    static void OnState(OrvaneSession *session, GParamSpec *, Again *again) {
        const OrvaneSessionState state = orvane_session_get_state(session);
        again->isOver = again->numAsked > 0 && state == ORVANE_SESSION_CONNECTED;
    }
    static void OnReconnecting(OrvaneSession *, guint attempt, guint, gpointer data) {
        static_cast<Again *>(data)->isOver = attempt == 0;
    }
};

/* How many copies a login leaves after the shutdown, or another one that follows from a trouble, as that user. One that is
 * refused is the last thing that is sent. How a connect ends that a trouble meets depends on what comes first. */
size_t CopiesAfter(const char *user, const char *outcome, const char *next = nullptr,
                   const simulator::Trouble &trouble = {.method = "none"}) {
    const Peer peer(trouble);
    testLoop::Reset();
    EXPECT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove));
    Again again{next};
    OrvaneSession *session = orvane_session_new();
    if (next != nullptr)
        again.Watch(session);
    {
        Ending ending;
        {
            const Password password;
            orvane_session_connect(session, peer.url.c_str(), user, password.text, ending.listener);
        }
        EXPECT_TRUE(testLoop::RunUntil(
            [&] { return ending.times > 0 && (next == nullptr || again.isOver); }));
        EXPECT_THAT(ending.text, testing::StartsWith(outcome));
        EXPECT_EQ(next != nullptr ? 1 : 0, again.numAsked);
    }
    g_object_unref(session);
    orvane_shutdown();
    return NumCopies();
}

TEST(SecretMemory, ALoginLeavesNoCopyOfThePasswordThatIsOurs) {
    {
        const Password probe;
        EXPECT_LT(0u, NumCopies()) << "the scan finds one";
    }
    ASSERT_EQ(CURLE_OK, curl_global_init_mem(CURL_GLOBAL_ALL, malloc, WipingFree, WipingRealloc,
                                             strdup, calloc));
    EXPECT_EQ(0u, CopiesAfter("u", "success"));
    EXPECT_EQ(0u, CopiesAfter("nobody", "failure InvalidLogin"));
    const simulator::Trouble expires = {.kind = simulator::TroubleKind::ExpireSession,
                                        .method = "WaitForUpdatesEx"};
    const simulator::Trouble loses = {.kind = simulator::TroubleKind::Fault,
                                      .method = "WaitForUpdatesEx",
                                      .faultType = "NoPermission"};
    EXPECT_EQ(0u, CopiesAfter("u", "", "nobody", expires)) << "another login";
    EXPECT_EQ(0u, CopiesAfter("u", "", "nobody", loses)) << "another connection";
    EXPECT_EQ(0u, CopiesAfter("u", "", "u", loses));
    curl_global_cleanup();
}

} // namespace
