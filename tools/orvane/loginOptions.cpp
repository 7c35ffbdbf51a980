#include "tools/orvane/loginOptions.h"

#include "tools/orvane/message.h"
#include "tools/orvane/profiles.h"
#include "tools/orvane/question.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/trustOptions.h"

namespace orvaneCli {

CLI::Option *AddLoginOptions(CLI::App &command, LoginOptions &options) {
    CLI::Option *profile =
        command.add_option("--profile", options.profile,
                           Text(MSGID("help.profile.use") "Connect to the service of this profile, "
                                                          "as its user; see \"orvane profile\""));
    AddPasswordOptions(command, options.password);
    command
        .add_option("--timeout", options.login.timeoutSeconds,
                    Text(MSGID("help.timeout") "Time limit of a step, in "
                                               "seconds; the default is "
                                               "the setting \"timeout\""))
        ->check(CLI::Range(kMinTimeout, kMaxTimeout));
    AddTrustOptions(command, options.trust);
    return profile;
}

void AddConnectionOptions(CLI::App &command, Login &login, bool hasFerry) {
    command.add_option(
        "--wire", login.wireFile,
        Text(MSGID("help.wire") "Append what is sent and received to a file, without "
                                "secrets; - for stderr"));
    if (hasFerry)
        command.add_flag("--ferry", login.isFerry,
                         Text(MSGID("help.ferry") "Connect to the second service of the host: "
                                                  "/ferry takes the place of /sdk in the URL"));
}

void AddQuiet(CLI::App &command, bool &isQuiet) {
    command.add_flag("-q,--quiet", isQuiet,
                     Text(MSGID("help.quiet") "No headings, remarks and progress"));
}

Password CompleteLogin(LoginOptions &options) {
    Login &login = options.login;
    if (login.timeoutSeconds == 0)
        login.timeoutSeconds = TimeoutSetting();
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

} // namespace orvaneCli
