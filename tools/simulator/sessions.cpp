#include "tools/simulator/sessions.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>

#include <fmt/format.h>
#include <unistd.h>

#include "tools/simulator/soapRequest.h"

namespace simulator {

namespace {

std::string RandomText() {
    std::random_device source;
    std::string text;
    for (int i = 0; i < 4; i++)
        text += fmt::format("{:08x}", source());
    return text;
}

/* The challenge that an unfinished token login gets: base64 of "who are you". */
constexpr char kChallenge[] = "d2hvIGFyZSB5b3U=";

std::string Base64(const std::string &bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t i = 0; i < bytes.size(); i += 3) {
        const size_t count = std::min<size_t>(3, bytes.size() - i);
        unsigned group = 0;
        for (size_t k = 0; k < 3; k++)
            group = group << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        for (size_t k = 0; k < 4; k++)
            text += k <= count ? digits[group >> (18 - 6 * k) & 63] : '=';
    }
    return text;
}

Fault WrongLogin() {
    return Fault("InvalidLogin", "The user name or the password is wrong.");
}

} // namespace

Sessions::Sessions(const Options &given, Clock &time,
                   std::function<void(const SessionPtr &)> function)
    : options(given), clock(time), onEnd(std::move(function)) {}

Sessions::~Sessions() {
    for (const auto &[path, ticket] : localTickets)
        unlink(path.c_str());
}

const User *Sessions::FindUser(const std::string &name) const {
    const auto at = std::ranges::find(options.users, name, &User::name);
    return at == options.users.end() ? nullptr : &*at;
}

SessionPtr Sessions::Login(const std::string &name, const std::string &password) {
    const auto ticket = std::ranges::find_if(localTickets, [&](const auto &row) {
        return row.second.user == name && row.second.password == password;
    });
    const User *user = FindUser(name);
    if (ticket != localTickets.end()) {
        unlink(ticket->first.c_str());
        localTickets.erase(ticket);
        return Begin(user == nullptr ? User{name, ""} : *user);
    }
    if (user == nullptr || user->password != password)
        throw WrongLogin();
    return Begin(*user);
}

SessionPtr Sessions::LoginWithToken(const std::string &base64Token) {
    for (const User &user : options.users)
        if (Base64(user.name + ":" + user.password) == base64Token)
            return Begin(user);
    throw Fault("SSPIChallenge", "The exchange goes on.", {{"base64Token", Text(kChallenge)}});
}

SessionPtr Sessions::Clone(const std::string &ticket) {
    const auto at = cloneTickets.find(ticket);
    if (at == cloneTickets.end())
        throw WrongLogin();
    const User user = at->second;
    cloneTickets.erase(at);
    return Begin(user);
}

SessionPtr Sessions::Impersonate(const std::string &name) {
    const User *user = FindUser(name);
    if (user == nullptr)
        throw WrongLogin();
    return Begin(*user);
}

std::string Sessions::CloneTicket(const SessionPtr &session) {
    std::string ticket = "cst-" + RandomText();
    cloneTickets[ticket] = session->user;
    return ticket;
}

std::string Sessions::LocalTicket(const std::string &user) {
    if (options.ticketDirectory.empty())
        throw Fault("NotSupported", "This service has no directory for local tickets.");
    if (FindUser(user) == nullptr)
        throw WrongLogin();
    std::string path = options.ticketDirectory + "/ticketXXXXXX";
    const int file = mkstemp(path.data()); /* mode 0600 */
    if (file < 0)
        throw Fault("SystemError", "The ticket cannot be written.",
                    {{"reason", Text("The ticket cannot be written.")}});
    const std::string password = RandomText();
    const bool written =
        write(file, password.data(), password.size()) == static_cast<ssize_t>(password.size());
    close(file);
    localTickets[path] = {user, password};
    if (!written)
        throw Fault("SystemError", "The ticket cannot be written.",
                    {{"reason", Text("The ticket cannot be written.")}});
    return path;
}

SessionPtr Sessions::Begin(const User &user) {
    auto session = std::make_shared<Session>();
    session->key = RandomText();
    session->user = user;
    session->loginTime = clock.WallTime();
    session->lastActiveTime = session->loginTime;
    session->lastUsed = clock.Now();
    byKey[session->key] = session;
    inOrder.push_back(session);
    return session;
}

SessionPtr Sessions::Find(const std::string &key) {
    EndUnused();
    const auto at = byKey.find(key);
    return at == byKey.end() ? nullptr : at->second;
}

void Sessions::End(const SessionPtr &session) {
    if (session->ended)
        return;
    session->ended = true;
    byKey.erase(session->key);
    std::erase(inOrder, session);
    onEnd(session);
}

void Sessions::EndAll() {
    const auto all = inOrder;
    for (const SessionPtr &session : all)
        End(session);
}

std::vector<SessionPtr> Sessions::All() {
    EndUnused();
    return inOrder;
}

void Sessions::EndUnused() {
    if (options.sessionTimeoutMs <= 0)
        return;
    const int64_t oldest = clock.Now() - options.sessionTimeoutMs;
    const auto all = inOrder;
    for (const SessionPtr &session : all)
        if (session->numWaiting == 0 && session->lastUsed < oldest)
            End(session);
}

Value SessionValue(const Session &session, const std::string &type) {
    return Structure(type, {{"key", Text(session.key)},
                            {"userName", Text(session.user.name)},
                            {"fullName", Text("Simulated " + session.user.name)},
                            {"loginTime", Time(session.loginTime)},
                            {"lastActiveTime", Time(session.lastActiveTime)},
                            {"locale", Text(session.locale)},
                            {"messageLocale", Text(session.locale)},
                            {"extensionSession", Truth(false)},
                            {"ipAddress", Text(session.peer)},
                            {"userAgent", Text(session.userAgent)},
                            {"callCount", Long(session.callCount)}});
}

} // namespace simulator
