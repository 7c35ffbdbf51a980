#include "tools/orvane/trustOptions.h"

#include "tools/orvane/message.h"

namespace orvaneCli {

void AddTrustOptions(CLI::App &command, TrustOptions &options) {
    CLI::Option *pin =
        command
            .add_option("--pin", options.pin,
                        Text(MSGID("help.pin") "Accept the certificate with this SHA-1 or SHA-256 "
                                               "thumbprint, and no other"))
            ->check(CheckPin);
    CLI::Option *ca =
        command
            .add_option("--ca,--ca-file", options.ca,
                        Text(MSGID("help.ca") "Accept certificates by these authorities only: a "
                                              "PEM file, or a folder of "
                                              "such files named by hash"))
            ->check(CheckAuthorities)
            ->excludes(pin);
    command
        .add_flag("--insecure", options.isInsecure,
                  Text(MSGID("help.insecure") "Accept any certificate: an attacker on the way can "
                                              "read and change everything"))
        ->excludes(pin)
        ->excludes(ca);
}

} // namespace orvaneCli
