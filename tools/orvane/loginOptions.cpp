#include "tools/orvane/loginOptions.h"

#include "tools/orvane/message.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/trustOptions.h"

namespace orvaneCli {

void AddLoginOptions(CLI::App &command, LoginOptions &options) {
    AddPasswordOptions(command, options.password);
    command
        .add_option("--timeout", options.login.timeoutSeconds,
                    Text(MSGID("help.timeout") "Time limit of a step, in seconds; the default is "
                                               "the setting \"timeout\""))
        ->check(CLI::Range(kMinTimeout, kMaxTimeout));
    AddTrustOptions(command, options.trust);
}

Password CompleteLogin(LoginOptions &options) {
    if (options.login.timeoutSeconds == 0)
        options.login.timeoutSeconds = TimeoutSetting();
    return FindPassword(options.password, options.login.user);
}

} // namespace orvaneCli
