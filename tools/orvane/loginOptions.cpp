#include "tools/orvane/loginOptions.h"

#include "tools/orvane/commonOptions.h"
#include "tools/orvane/message.h"
#include "tools/orvane/profiles.h"
#include "tools/orvane/question.h"
#include "tools/orvane/sendableText.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/trustOptions.h"

namespace orvaneCli {

namespace {

void CheckSendable(const std::string &name, std::string_view text) {
    if (const std::string why = WhyUnsendable(text); !why.empty())
        throw BadUsage(Text(MSGID("value.bad") "%s: %s", name.c_str(), why.c_str()));
}

/* Completes the address and the user. */
Password FindLogin(LoginOptions &options) {
    Login &login = options.login;
    if (options.profile.empty())
        return FindPassword(options.password, login.user);
    const Profiles profiles;
    const Profile profile = profiles.Find(options.profile);
    login.url = profile.url;
    if (login.user.empty())
        login.user = profile.user;
    if (login.user.empty())
        throw BadUsage(Text(MSGID("profile.userMissing") "profile \"%s\" has no user; name "
                                                         "one on the command line",
                            profile.name.c_str()));
    if (auto given = GivenPassword(options.password))
        return std::move(*given);
    if (profile.sealed.empty() || login.user != profile.user)
        return AskPassword(login.user);
    return profiles.Open(profile, AskPassphrase());
}

} // namespace

void AddLoginOptions(CLI::App &command, LoginOptions &options) {
    AddPasswordOptions(command, options.password);
    AddTrustOptions(command, options.trust);
}

void TakeCommonOptions(LoginOptions &options) {
    const CommonOptions &given = GetCommonOptions();
    if (!given.profile.empty())
        options.profile = given.profile;
    if (given.timeoutSeconds != 0)
        options.login.timeoutSeconds = given.timeoutSeconds;
    if (!given.wireFile.empty())
        options.login.wireFile = given.wireFile;
    options.isQuiet = options.isQuiet || given.isQuiet;
}

Password CompleteLogin(LoginOptions &options) {
    if (options.login.timeoutSeconds == 0)
        options.login.timeoutSeconds = TimeoutSetting();
    Password password = FindLogin(options);
    CheckSendable(Text(MSGID("login.user") "user name"), options.login.user);
    CheckSendable(Text(MSGID("login.password") "password"), password.Text());
    return password;
}

} // namespace orvaneCli
