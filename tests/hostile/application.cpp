#include "tests/hostile/application.h"

#include "tests/hostile/ledger.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"

namespace hostile {

namespace {

std::string Secret(const char *what) {
    return kCanary + std::string(what);
}

struct Application {
    explicit Application(const Visit &its) : visit(its) {
        EXPECT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove));
        session = orvane_session_new();
        if (!visit.authorities.empty()) {
            orvane_session_set_ssl_certificate_location(session, visit.authorities.c_str(),
                                                        nullptr);
            orvane_session_set_strict_tls(session, TRUE);
        }
        if (visit.bodyLimit != 0 || visit.treeLimit != 0)
            orvane_session_set_reply_limits(session, visit.bodyLimit, visit.treeLimit);
        g_signal_connect_swapped(session, "notify::state", G_CALLBACK(OnState), this);
    }
    ~Application() {
        g_clear_object(&session);
        orvane_shutdown();
    }
    Application(const Application &) = delete;
    Application &operator=(const Application &) = delete;

    void Run() {
        Ending connect;
        Operate(connect);
        /* a disconnect of an adopted login ends nothing; the release of the session does */
        g_clear_object(&session);
        eachEndsOnce = eachEndsOnce && connect.times == 1;
    }

    std::string steps;
    bool eachEndsOnce = true;

private:
    void Operate(Ending &connect) {
        Ending early;
        ownEnd = &early;
        Begin(connect.listener);
        testLoop::RunUntil([&] { return connect.times > 0 || early.times > 0; }, visit.limitMs);
        const bool hasBegunEnd = std::exchange(ownEnd, nullptr) == nullptr;
        Describe("connect", connect);
        if (const char *version = orvane_session_get_version(session))
            steps += " " + std::string(version);
        if (visit.isEndedBySelf)
            return hasBegunEnd ? Note("disconnect", early) : Describe("disconnect", early);
        if (connect.text == "success") {
            Ending call;
            SkemaOzyServiceInstance *instance = nullptr;
            g_object_get(session, "serviceInstance", &instance, nullptr);
            const ObjectPtr<SkemaOzyServiceInstance> owner(instance);
            skema_ozy_service_instance_current_time(instance, call.listener);
            Finish("call", call);
        }
        if (orvane_session_get_state(session) == ORVANE_SESSION_DISCONNECTED)
            return;
        Ending disconnect;
        orvane_session_disconnect(session, disconnect.listener);
        Finish("disconnect", disconnect);
    }
    void Begin(OrvaneListener *listener) {
        const char *url = visit.url.c_str();
        switch (visit.login) {
        case Login::kPassword:
            return orvane_session_connect(session, url, "root", Secret("password").c_str(),
                                          listener);
        case Login::kTicket:
            return orvane_session_clone(session, url, Secret("ticket").c_str(), listener);
        case Login::kCookie:
            return orvane_session_hijack(
                session, url, ("Set-Cookie: session=" + Secret("cookie") + "; Path=/").c_str(),
                listener);
        }
    }
    void Finish(const char *step, Ending &ending) {
        testLoop::RunUntil([&] { return ending.times > 0; }, visit.limitMs);
        Note(step, ending);
    }
    void Note(const char *step, const Ending &ending) {
        Describe(step, ending);
        eachEndsOnce = eachEndsOnce && ending.times == 1;
    }
    void Describe(const char *step, const Ending &ending) {
        steps += (steps.empty() ? "" : ", ") + std::string(step) + " " +
                 (ending.times == 0 ? "nothing" : ending.text);
        if (ending.times > 1)
            steps += " x" + std::to_string(ending.times);
    }
    static void OnState(Application *self, GParamSpec *, OrvaneSession *session) {
        if (self->visit.isEndedBySelf && self->ownEnd &&
            orvane_session_get_state(session) == ORVANE_SESSION_CONNECTED)
            orvane_session_disconnect(session, std::exchange(self->ownEnd, nullptr)->listener);
    }

    Visit visit;
    OrvaneSession *session;
    Ending *ownEnd = nullptr; /* takes the disconnect of visit.isEndedBySelf */
};

} // namespace

std::string Run(const Visit &visit, bool *eachEndsOnce) {
    testLoop::Reset();
    std::string steps;
    {
        Application application(visit);
        application.Run();
        steps = application.steps;
        if (eachEndsOnce)
            *eachEndsOnce = application.eachEndsOnce;
    }
    EXPECT_TRUE(testLoop::Registrations().empty());
    return steps;
}

} // namespace hostile
