// Connections of every kind, with something released or ended before each callback of the library. Nothing may
// crash, leak, stay registered, or be signalled twice.
#include "tests/ozy/lib/orvane/session/sessionFixture.h"
#include "tests/support/temporaryFolder.h"

namespace {

constexpr int kIdleSteps = 10; /* after so many without work nothing more will happen */

class SessionEnd : public SessionTest, public testing::WithParamInterface<const char *> {
protected:
    const TemporaryFolder folder;
    std::vector<std::unique_ptr<Ending>> ending;

    SessionEnd() { g_setenv("HALDEN_PROXY_FILEPATH", folder.Path("proxy.xml").c_str(), TRUE); }
    ~SessionEnd() override { g_unsetenv("HALDEN_PROXY_FILEPATH"); }

    static bool Is(const std::string &kind) { return kind == GetParam(); }
    /* Everything anew, as the kind needs it. */
    void Begin() {
        testLoop::SetBeforeStep(nullptr);
        ending.clear();
        g_clear_object(&session);
        ASSERT_EQ(0, Living<OrvaneListener>::count);
        ASSERT_EQ(0, Living<OrvaneMOMgr>::count);
        StartOver();
        if (Is("Legacy"))
            service->answers.erase("ozyServiceVersions.xml");
        if (Is("Local")) {
            folder.Write("proxy.xml", LocalPort(*service));
            service->answers["AcquireLocalTicket"] = LocalTicket(folder.Write("ticket", "secret"));
        }
        if (Is("Ferry")) {
            orvane_session_target_ferry(session);
            AnswerAsFerry(service.get());
        }
    }
    OrvaneListener *NewListener() {
        return ending.emplace_back(std::make_unique<Ending>())->listener;
    }
    void StartConnect() {
        const std::string url = Url();
        OrvaneListener *listener = NewListener();
        if (Is("Clone"))
            orvane_session_clone(session, url.c_str(), "t", listener);
        else if (Is("Hijack"))
            orvane_session_hijack(session, url.c_str(), "a=b", listener);
        else if (Is("Local"))
            orvane_session_connect_local(session, FALSE, "u", listener);
        else if (Is("Sspi"))
            orvane_session_sspi_connect(session, url.c_str(), nullptr, listener);
        else
            orvane_session_connect(session, url.c_str(), "u", "p", listener);
    }
    /* Connects, makes a call, disconnects, as far as it comes. */
    void Run() {
        StartConnect();
        int idle = 0;
        for (int i = 0; i < 300 && idle < kIdleSteps; i++) {
            if (session == nullptr || !BasicHttp_IsInited())
                break;
            const size_t begun = ending.size();
            const bool isNext = ending.back()->times > 0 && State() == ORVANE_SESSION_CONNECTED;
            if (isNext && begun == 1)
                CurrentTime(NewListener());
            else if (isNext && begun == 2)
                orvane_session_disconnect(session, NewListener());
            idle = testLoop::Step(2) || ending.size() != begun ? 0 : idle + 1;
        }
        testLoop::Settle();
    }
    void DropListener() {
        for (const auto &each : ending)
            g_clear_object(&each->listener);
    }
};

TEST_P(SessionEnd, IsCleanAtEveryStep) {
    Begin();
    Run();
    ASSERT_EQ(Is("Sspi") ? 1u : 3u, ending.size()) << "undisturbed";
    for (const auto &each : ending)
        EXPECT_EQ(1, each->times);

    const std::pair<const char *, std::function<void()>> actions[] = {
        {"drop the listener", [&] { DropListener(); }},
        {"drop the session", [&] { g_clear_object(&session); }},
        {"shut down", [&] { BasicHttp_IsInited() ? orvane_shutdown() : void(); }},
        {"disconnect", [&] { orvane_session_disconnect(session, NewListener()); }},
        {"connect again", [&] { StartConnect(); }},
        {"cancel all",
         [&] {
             for (const auto &each : ending) {
                 if (each->listener != nullptr)
                     orvane_session_cancel_listener(session, each->listener);
             }
         }},
    };
    for (const auto &[name, action] : actions) {
        bool applied = true;
        for (uint64_t n = 0; applied; n += 3) {
            SCOPED_TRACE(testing::Message() << name << " at callback " << n);
            Begin();
            applied = false;
            const uint64_t start = testLoop::NumSteps();
            testLoop::SetBeforeStep([&, &apply = action](uint64_t number) {
                if (number == start + n && session != nullptr) {
                    applied = true;
                    apply();
                }
            });
            Run();
            for (const auto &each : ending)
                ASSERT_LE(each->times, 1);
        }
    }
    Begin();
}

INSTANTIATE_TEST_SUITE_P(, SessionEnd,
                         testing::Values("Password", "Clone", "Hijack", "Local", "Ferry", "Legacy",
                                         "Sspi"),
                         [](const auto &row) { return std::string(row.param); });

} // namespace
