#include "tools/orvane/serviceOptions.h"

#include <cstdlib>

#include "tools/orvane/ferryTables.h"
#include "tools/orvane/library.h"
#include "tools/orvane/message.h"

namespace orvaneCli {

namespace {

std::string FromEnvironment(const char *name) {
    const char *value = secure_getenv(name);
    return value != nullptr ? value : "";
}

/* The service of the options; of the environment if these name none. */
void CompleteAddress(ServiceOptions &options) {
    Login &login = options.login;
    if (!options.profile.empty() && !login.url.empty())
        throw BadUsage(Text(MSGID("usage.excludes") "%s excludes %s", "--url", "--profile"));
    if (options.profile.empty() && login.url.empty()) {
        options.profile = FromEnvironment("ORVANE_PROFILE");
        if (options.profile.empty())
            login.url = FromEnvironment("ORVANE_URL");
    }
    if (options.profile.empty() && login.url.empty())
        throw BadUsage(Text(MSGID("service.missing") "which service? --profile NAME, or --url URL "
                                                     "and --user NAME; \"orvane profile add\" "
                                                     "stores one"));
    if (options.profile.empty() && login.user.empty())
        login.user = FromEnvironment("ORVANE_USER");
    if (options.profile.empty() && login.user.empty())
        throw BadUsage(Text(MSGID("service.userMissing") "--url needs --user NAME"));
}

} // namespace

void AddServiceOptions(CLI::App &command, ServiceOptions &options, bool hasFerry) {
    command.add_option("--url", options.login.url,
                       Text(MSGID("help.service.url") "Service to connect to, such as "
                                                      "https://host/sdk; not with --profile"));
    command.add_option("--user", options.login.user,
                       Text(MSGID("help.service.user") "User name, unless the profile has it"));
    AddLoginOptions(command, options);
    if (hasFerry)
        command.add_flag("--ferry", options.login.isFerry,
                         Text(MSGID("help.ferry") "Connect to the second service of the host: "
                                                  "/ferry takes the place of /sdk in the URL"));
}

int WithService(ServiceOptions &options, const std::function<int(Service &)> &work) {
    TakeCommonOptions(options);
    CompleteAddress(options);
    const Password password = CompleteLogin(options);
    const Library library;
    if (options.login.isFerry)
        AddFerryTables();
    Connection connection(options.login, password, options.trust);
    int status = kDone;
    {
        Service service(connection, options.login.timeoutSeconds, options.isQuiet);
        status = work(service);
    }
    connection.LogOut();
    return status;
}

} // namespace orvaneCli
