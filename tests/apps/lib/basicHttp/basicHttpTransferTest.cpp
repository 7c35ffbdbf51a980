// Bodies from sources, progress, pausing; and what may be done from inside libcurl.
#include "tests/apps/lib/basicHttp/httpFixture.h"

namespace {

/* A source of the application's, with faults on demand. */
struct OwnSource {
    std::string text;
    size_t position = 0;
    size_t pieceSize = SIZE_MAX;
    size_t endsAt = SIZE_MAX;
    size_t failsAt = SIZE_MAX;
    bool canRewind = true;
    int numRewinds = 0;
    bool isDestructed = false;
};

constexpr BasicHttpSourceOps kOwnOps = {
    [](gpointer priv, char *buffer, gsize size, gsize count) -> gssize {
        auto *own = static_cast<OwnSource *>(priv);
        if (own->position >= own->failsAt)
            return -1;
        const size_t end = std::min(own->text.size(), own->endsAt);
        const size_t bytes = std::min({size * count, own->pieceSize, end - own->position});
        own->text.copy(buffer, bytes, own->position);
        own->position += bytes;
        return gssize(bytes);
    },
    [](gpointer priv) -> gboolean {
        auto *own = static_cast<OwnSource *>(priv);
        own->numRewinds++;
        own->position = 0;
        return own->canRewind;
    },
    [](gpointer priv) { return static_cast<OwnSource *>(priv)->text.size(); },
    [](gpointer priv) { static_cast<OwnSource *>(priv)->isDestructed = true; },
};

/* What the progress procs saw, and what they do. */
struct Watcher : Outcome {
    gsize numSends = 0;
    gsize numBytes = 0;
    std::string seen;
    guint64 transferred = 0;
    std::function<bool(BasicHttpRequest *)> act = [](BasicHttpRequest *) { return true; };
};

gboolean OnSendProgress(BasicHttpRequest *request, gsize bytes, const char *buffer, gint64, guint64,
                        guint64, gpointer data) {
    auto *watcher = static_cast<Watcher *>(static_cast<Outcome *>(data));
    EXPECT_EQ(0u, bytes);
    EXPECT_EQ(nullptr, buffer);
    watcher->numSends++;
    return watcher->act(request);
}

gboolean OnRecvProgress(BasicHttpRequest *request, gsize bytes, const char *buffer, gint64 elapsed,
                        guint64 transferred, guint64, gpointer data) {
    auto *watcher = static_cast<Watcher *>(static_cast<Outcome *>(data));
    EXPECT_LE(0, elapsed);
    watcher->transferred = transferred;
    const bool goesOn = watcher->act(request);
    if (goesOn) {
        watcher->numBytes += bytes;
        watcher->seen.append(buffer, bytes);
    }
    return goesOn;
}

using SourcePtr = std::unique_ptr<BasicHttpSource, Release<BasicHttp_FreeSource>>;

SourcePtr SourceOf(OwnSource *own) {
    return SourcePtr(BasicHttp_AllocSource(&kOwnOps, own));
}

struct BasicHttpTransfer : BasicHttpFixture {
    BasicHttpRequest *Post(const SourcePtr &source) {
        return BasicHttp_CreateRequestEx(server.Url("/x").c_str(), BASICHTTP_METHOD_POST, 0,
                                         nullptr, "Expect: ", source.get(), nullptr, nullptr);
    }
    static void SendWatched(BasicHttpRequest *request, Watcher *watcher, guint32 options = 0,
                            BasicHttpProgressProc send = OnSendProgress,
                            BasicHttpProgressProc recv = OnRecvProgress) {
        ASSERT_TRUE(BasicHttp_SendRequestEx(request, options, send, recv, NoteOutcome,
                                            static_cast<Outcome *>(watcher)));
    }
    static std::pair<bool, bool> Paused(BasicHttpRequest *request) {
        gboolean recv = FALSE, send = FALSE;
        EXPECT_TRUE(BasicHttp_IsPaused(request, &recv, &send));
        EXPECT_TRUE(BasicHttp_IsPaused(request, nullptr, nullptr));
        return {recv != FALSE, send != FALSE};
    }
};

TEST_F(BasicHttpTransfer, ASourceIsSentInWhateverPiecesItGives) {
    server.Answer([](const CannedRequest &request) { return HttpReply(request.body); });
    for (size_t pieceSize : {size_t(1), size_t(7), SIZE_MAX}) {
        OwnSource own{.text = std::string(500, 'x') + "end", .pieceSize = pieceSize};
        SourcePtr source = SourceOf(&own);
        EXPECT_EQ(own.text, Run(Post(source)).content) << pieceSize;
        EXPECT_FALSE(own.isDestructed) << "not the request's";
        source.reset();
        EXPECT_TRUE(own.isDestructed);
    }
}

TEST_F(BasicHttpTransfer, ASourceThatFailsEndsTheRequest) {
    AnswerAll(HttpReply(""));
    const std::string text(200000, 'x');
    OwnSource rows[] = {
        {.text = text, .failsAt = 0},
        {.text = text, .pieceSize = 1000, .failsAt = 5000},
        {.text = text, .pieceSize = 1000, .endsAt = 5000},
        {.text = text, .endsAt = 0},
    };
    for (OwnSource &own : rows)
        EXPECT_EQ(BASICHTTP_ERROR_GENERIC, Run(Post(SourceOf(&own))).error);
    EXPECT_EQ(0u, server.Requests().size()) << "none came whole";
}

TEST_F(BasicHttpTransfer, ARedirectRewindsTheSource) {
    server.Answer([](const CannedRequest &request) {
        return request.target == "/x" ? HttpReply("", 307, "text/plain", {"Location: /there"})
                                      : HttpReply(request.body);
    });
    for (bool canRewind : {true, false}) {
        OwnSource own{.text = std::string(100000, 'x'), .canRewind = canRewind};
        const Outcome outcome = Run(Post(SourceOf(&own)));
        EXPECT_EQ(1, own.numRewinds);
        EXPECT_EQ(canRewind ? BASICHTTP_ERROR_NONE : BASICHTTP_ERROR_GENERIC, outcome.error);
        EXPECT_EQ(canRewind ? own.text : "", outcome.content);
    }
}

TEST_F(BasicHttpTransfer, ATextSourceCanBeReadAgainAfterItsEnd) {
    SourcePtr source(BasicHttp_AllocStringSource("abcde"));
    char buffer[8] = "";
    for (int round = 0; round < 2; round++) {
        EXPECT_EQ(3, source->ops->read(source->priv, buffer, 1, 3));
        EXPECT_EQ(2, source->ops->read(source->priv, buffer, 3, 1));
        EXPECT_STREQ("dec", buffer);
        EXPECT_EQ(0, source->ops->read(source->priv, buffer, 1, 3));
    }
    EXPECT_EQ(3, source->ops->read(source->priv, buffer, 1, 3));
    EXPECT_TRUE(BasicHttp_RewindSource(source.get()));
    EXPECT_EQ(5, source->ops->read(source->priv, buffer, 1, 8));
    EXPECT_EQ(5u, source->ops->length(source->priv));
    BasicHttp_FreeSource(nullptr);
    EXPECT_FALSE(BasicHttp_RewindSource(nullptr));
}

TEST_F(BasicHttpTransfer, ProgressSeesEveryByte) {
    const std::string body(300000, 'y');
    AnswerAll(HttpReply(body));
    for (guint32 options : {0, int(BASICHTTP_OPTION_NO_BUFFER)}) {
        Watcher watcher;
        SendWatched(Request("/x", BASICHTTP_METHOD_POST, std::string(200000, 'x').c_str()),
                    &watcher, options);
        RunUntilDone(watcher);
        EXPECT_LT(3u, watcher.numSends);
        EXPECT_EQ(body, watcher.seen);
        EXPECT_EQ(body.size(), watcher.transferred);
        EXPECT_EQ(options ? "" : body, watcher.content);
    }
}

TEST_F(BasicHttpTransfer, ProgressPausesReceivingUntilItIsResumed) {
    AnswerAll(HttpReply("0123456789"));
    Watcher watcher;
    watcher.act = [](BasicHttpRequest *) { return false; };
    BasicHttpRequest *request = Request("/x");
    SendWatched(request, &watcher);
    testLoop::Settle();
    EXPECT_EQ(std::pair(true, false), Paused(request));
    EXPECT_EQ(0, watcher.numCalls);
    watcher.act = [](BasicHttpRequest *) { return true; };
    EXPECT_TRUE(BasicHttp_PauseRecvRequest(request, FALSE));
    RunUntilDone(watcher);
    EXPECT_EQ("0123456789", watcher.seen);
    EXPECT_EQ("0123456789", watcher.content);
}

TEST_F(BasicHttpTransfer, ProgressPausesSendingUntilItIsResumed) {
    server.Answer([](const CannedRequest &request) { return HttpReply(request.body); });
    Watcher watcher;
    watcher.act = [&](BasicHttpRequest *) { return watcher.numSends != 1; };
    BasicHttpRequest *request = Request("/x", BASICHTTP_METHOD_POST, "<x/>");
    SendWatched(request, &watcher);
    testLoop::Settle();
    EXPECT_EQ(std::pair(false, true), Paused(request));
    EXPECT_EQ(BASICHTTP_STATE_SENDING, State(request));
    EXPECT_EQ(0u, server.Requests().size());
    EXPECT_TRUE(BasicHttp_PauseSendRequest(request, FALSE));
    RunUntilDone(watcher);
    EXPECT_EQ("<x/>", watcher.content);
}

TEST_F(BasicHttpTransfer, PausingNeedsAConnection) {
    EXPECT_FALSE(BasicHttp_PauseRecvRequest(nullptr, TRUE));
    EXPECT_FALSE(BasicHttp_IsPaused(nullptr, nullptr, nullptr));
    EXPECT_FALSE(BasicHttp_KickRecvRequest(nullptr));
    BasicHttpRequest *request = Request("/x");
    EXPECT_FALSE(BasicHttp_PauseSendRequest(request, TRUE)) << "not started";
    EXPECT_FALSE(BasicHttp_KickRecvRequest(request));
    EXPECT_NE(std::string::npos, LogText().find("BasicHttp_KickRecvRequest: Failed to pause"));
    EXPECT_EQ(std::pair(false, false), Paused(request));
    BasicHttp_FreeRequest(request);
}

TEST_F(BasicHttpTransfer, AKickLeavesTheRequestRunning) {
    AnswerAll({"HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nabc"});
    Watcher watcher;
    BasicHttpRequest *request = Request("/x");
    SendWatched(request, &watcher);
    testLoop::Settle();
    EXPECT_TRUE(BasicHttp_KickRecvRequest(request));
    EXPECT_EQ(std::pair(false, false), Paused(request));
    server.Send(0, "def");
    RunUntilDone(watcher);
    EXPECT_EQ("abcdef", watcher.content);
}

/* What a progress proc may do although libcurl is at work. */
const std::pair<std::string, void (*)(BasicHttpRequest *)> kEnds[] = {
    {"cancel",
     [](BasicHttpRequest *request) {
         BasicHttp_CancelRequest(request);
         BasicHttp_CancelRequest(request);
         EXPECT_EQ(BASICHTTP_STATE_DONE, request->state);
     }},
    {"free", [](BasicHttpRequest *request) { BasicHttp_FreeRequest(request); }},
    {"cancel and free",
     [](BasicHttpRequest *request) {
         BasicHttp_CancelRequest(request);
         BasicHttp_FreeRequest(request);
     }},
    {"shutdown", [](BasicHttpRequest *) { BasicHttp_Shutdown(); }},
    {"shutdown and free",
     [](BasicHttpRequest *request) {
         BasicHttp_Shutdown();
         BasicHttp_FreeRequest(request);
     }},
    {"shutdown and start",
     [](BasicHttpRequest *) {
         BasicHttp_Shutdown();
         ASSERT_TRUE(BasicHttp_Init(testLoop::Callback, testLoop::CallbackRemove));
     }},
};

TEST_F(BasicHttpTransfer, ProgressMayEndEverything) {
    AnswerAll(HttpReply(std::string(100000, 'y')));
    for (const auto &[name, end] : kEnds) {
        for (bool isSending : {true, false}) {
            SCOPED_TRACE(name);
            Watcher watcher;
            bool hasActed = false;
            watcher.act = [&, end = end](BasicHttpRequest *request) {
                EXPECT_FALSE(hasActed) << "called after its end";
                hasActed = true;
                end(request);
                return true;
            };
            Sent bystander(Request("/y", BASICHTTP_METHOD_POST, "<y/>"));
            BasicHttpRequest *request = Request("/x", BASICHTTP_METHOD_POST, "<x/>");
            SendWatched(request, &watcher, 0, isSending ? OnSendProgress : nullptr,
                        isSending ? nullptr : OnRecvProgress);
            EXPECT_TRUE(testLoop::RunUntil([&] { return hasActed; }));
            testLoop::Settle();
            EXPECT_EQ(0, watcher.numCalls);
            if (name == "cancel")
                BasicHttp_FreeRequest(request);
            if (!BasicHttp_IsInited())
                Init();
            else if (!name.starts_with("shutdown"))
                RunUntilDone(bystander);
            EXPECT_EQ(100000u, Run(Request("/z")).content.size()) << "goes on";
        }
    }
}

TEST_F(BasicHttpTransfer, ProgressMayFreeAnotherRequestWithItsSource) {
    AnswerAll(HttpReply("reply"));
    OwnSource own{.text = std::string(100000, 'x')};
    SourcePtr source = SourceOf(&own);
    BasicHttpRequest *victim = Post(source);
    Watcher watcher;
    watcher.act = [&](BasicHttpRequest *) {
        BasicHttp_FreeRequest(std::exchange(victim, nullptr));
        source.reset();
        return true;
    };
    Sent outcome(victim);
    SendWatched(Request("/x"), &watcher);
    RunUntilDone(watcher);
    testLoop::Settle();
    EXPECT_EQ(0, outcome.numCalls);
}

TEST_F(BasicHttpTransfer, ProgressMaySendAndResume) {
    AnswerAll(HttpReply("reply"));
    Outcome other;
    Watcher watcher;
    watcher.act = [&](BasicHttpRequest *request) {
        Send(Request("/other"), &other);
        EXPECT_TRUE(BasicHttp_PauseRecvRequest(request, FALSE));
        return true;
    };
    SendWatched(Request("/x"), &watcher, 0, nullptr);
    RunUntilDone(other);
    RunUntilDone(watcher);
    EXPECT_EQ("reply", other.content);
}

TEST_F(BasicHttpTransfer, ResumingMayEndTheRequestAtOnce) {
    AnswerAll(HttpReply("reply"));
    for (bool isKick : {false, true}) {
        Watcher watcher;
        watcher.act = [](BasicHttpRequest *) { return false; };
        BasicHttpRequest *request = Request("/x");
        SendWatched(request, &watcher, 0, nullptr);
        testLoop::Settle();
        watcher.act = [](BasicHttpRequest *paused) {
            BasicHttp_FreeRequest(paused);
            return true;
        };
        if (isKick)
            EXPECT_FALSE(BasicHttp_KickRecvRequest(request));
        else
            BasicHttp_PauseRecvRequest(request, FALSE);
        testLoop::Settle();
        EXPECT_EQ(0, watcher.numCalls);
    }
}

/* The proc for TLS contexts runs inside libcurl too; a plain port is enough to get there. */
TEST_F(BasicHttpTransfer, TheTlsProcMayEndTheRequest) {
    const std::string url = "https://127.0.0.1:" + std::to_string(server.Port());
    for (bool isFreed : {true, false}) {
        Outcome outcome;
        outcome.then = nullptr;
        BasicHttpRequest *request = Get(url);
        static void (*end)(BasicHttpRequest *);
        end = isFreed ? BasicHttp_FreeRequest : BasicHttp_CancelRequest;
        BasicHttp_SetSslCtxProc(request,
                                [](BasicHttpRequest *ended, gpointer context, gpointer data) {
                                    EXPECT_NE(nullptr, context);
                                    static_cast<Outcome *>(data)->numCalls++;
                                    end(ended);
                                });
        Send(request, &outcome);
        RunUntilDone(outcome);
        testLoop::Settle();
        EXPECT_EQ(1, outcome.numCalls) << "by the proc";
        if (!isFreed)
            BasicHttp_FreeRequest(request);
    }
}

} // namespace
