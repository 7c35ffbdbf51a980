/*
 * sessionMethods.cpp -- login and logout of both services, and the methods that need no login
 */
#include <array>

#include "tools/simulator/estate.h"
#include "tools/simulator/service.h"

namespace simulator {

namespace {

using Result = std::optional<std::string>;

/* A login within a session replaces it. */
Result Welcome(Service &service, const CallPtr &call, const SessionPtr &session,
               const char *type = "UserSession") {
    if (call->session)
        service.sessions.End(call->session);
    session->peer = call->exchange->peer;
    session->userAgent = call->exchange->headers["user-agent"];
    session->locale = OptionalText(call->Arguments(), "locale", "en");
    if (session->locale.empty())
        session->locale = "en";
    call->session = session;
    call->cookie = session->key;
    service.UpdateSessionList();
    return Returned(SessionValue(*session, type));
}

Result Login(Service &service, const CallPtr &call) {
    return Welcome(service, call,
                   service.sessions.Login(ReadText(call->Arguments(), "userName"),
                                          ReadText(call->Arguments(), "password")));
}

Result LoginByToken(Service &service, const CallPtr &call) {
    return Welcome(service, call,
                   service.sessions.LoginWithToken(ReadText(call->Arguments(), "base64Token")));
}

Result CloneSession(Service &service, const CallPtr &call) {
    return Welcome(service, call,
                   service.sessions.Clone(ReadText(call->Arguments(), "cloneTicket")));
}

Result ImpersonateUser(Service &service, const CallPtr &call) {
    return Welcome(service, call,
                   service.sessions.Impersonate(ReadText(call->Arguments(), "userName")));
}

Result AcquireCloneTicket(Service &service, const CallPtr &call) {
    return Returned(Text(service.sessions.CloneTicket(call->session)));
}

Result AcquireLocalTicket(Service &service, const CallPtr &call) {
    const std::string user = ReadText(call->Arguments(), "userName");
    const std::string path = service.sessions.LocalTicket(user);
    return Returned(Structure("SessionManagerLocalTicket",
                              {{"userName", Text(user)}, {"passwordFilePath", Text(path)}}));
}

Result Logout(Service &service, const CallPtr &call) {
    service.sessions.End(call->session);
    return "";
}

Result SessionIsActive(Service &service, const CallPtr &call) {
    const SessionPtr session = service.sessions.Find(ReadText(call->Arguments(), "sessionID"));
    const bool isActive = session && session->user.name == ReadText(call->Arguments(), "userName");
    return Returned(Truth(isActive));
}

Result TerminateSession(Service &service, const CallPtr &call) {
    const auto keys = ReadTexts(call->Arguments(), "sessionId");
    for (const std::string &key : keys) {
        const SessionPtr session = service.sessions.Find(key);
        if (!session)
            throw Fault("NotFound", "There is no such session.");
        if (session == call->session)
            throw InvalidArgument("sessionId", "A session does not end itself so.");
        service.sessions.End(session);
    }
    return "";
}

Result SetLocale(Service &service, const CallPtr &call) {
    const std::string locale = OptionalText(call->Arguments(), "locale", "en");
    if (locale != "en" && locale != "de")
        throw Fault("InvalidLocale", "The locale is not supported.");
    call->session->locale = locale;
    service.UpdateSessionList();
    return "";
}

Result UpdateServiceMessage(Service &service, const CallPtr &call) {
    service.inventory.Set(call->target, "message", Text(ReadText(call->Arguments(), "message")));
    return "";
}

Result RetrieveServiceContent(Service &service, const CallPtr &) {
    return Returned(service.inventory.Find("ServiceInstance")->Get("content"));
}

Result CurrentTime(Service &service, const CallPtr &) {
    return Returned(Time(service.clock.WallTime()));
}

Result FerryLogin(Service &service, const CallPtr &call) {
    return Welcome(service, call,
                   service.sessions.Login(ReadText(call->Arguments(), "userName"),
                                          ReadText(call->Arguments(), "password")),
                   "FerryUserSession");
}

Result FerryLoginByToken(Service &service, const CallPtr &call) {
    return Welcome(service, call,
                   service.sessions.LoginWithToken(ReadText(call->Arguments(), "base64Token")),
                   "FerryUserSession");
}

constexpr auto kSessionMethods = std::to_array<MethodRow>({
    {"SessionManager", "Login", Login, Access::Anyone},
    {"SessionManager", "LoginBySSPI", LoginByToken, Access::Anyone, "ozy25/2.5"},
    {"SessionManager", "CloneSession", CloneSession, Access::Anyone, "ozy25/2.5"},
    {"SessionManager", "AcquireLocalTicket", AcquireLocalTicket, Access::Anyone},
    {"SessionManager", "AcquireCloneTicket", AcquireCloneTicket, Access::Session, "ozy25/2.5"},
    {"SessionManager", "ImpersonateUser", ImpersonateUser, Access::Change},
    {"SessionManager", "Logout", Logout},
    {"SessionManager", "SessionIsActive", SessionIsActive},
    {"SessionManager", "TerminateSession", TerminateSession, Access::Change},
    {"SessionManager", "SetLocale", SetLocale},
    {"SessionManager", "UpdateServiceMessage", UpdateServiceMessage, Access::Change},
});

constexpr auto kInstanceMethods = std::to_array<MethodRow>({
    {"ServiceInstance", "RetrieveServiceContent", RetrieveServiceContent, Access::Anyone},
    {"ServiceInstance", "CurrentTime", CurrentTime},
});

constexpr auto kFerryMethods = std::to_array<MethodRow>({
    {"FerryServiceInstance", "FerryRetrieveServiceContent", RetrieveServiceContent, Access::Anyone},
    {"FerrySessionManager", "FerryLogin", FerryLogin, Access::Anyone},
    {"FerrySessionManager", "FerryLoginSSPI", FerryLoginByToken, Access::Anyone},
    {"FerrySessionManager", "FerryLogout", Logout},
    {"FerrySessionManager", "FerrySetLocale", SetLocale},
    {"FerrySessionManager", "FerryTerminateSession", TerminateSession, Access::Change},
});

} // namespace

std::span<const MethodRow> SessionMethods() {
    return kSessionMethods;
}
std::span<const MethodRow> InstanceMethods() {
    return kInstanceMethods;
}
std::span<const MethodRow> FerryMethods() {
    return kFerryMethods;
}

} // namespace simulator
