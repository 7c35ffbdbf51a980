/*
 * serviceOptions.h -- what each command takes that works with a service, and the connection for it
 *
 *   orvane ls --profile lab
 *   orvane ls --url https://host/sdk --user root
 *   ORVANE_PROFILE=lab orvane ls              also ORVANE_URL and ORVANE_USER; an option is stronger
 *
 *   CLI::App *command = program.add_subcommand("ls", ...);
 *   AddServiceOptions(*command, options);
 *   command->callback([&] {
 *       status = RunCommand([&] { return WithService(options, [&](Service &service) { ...; return kDone; }); });
 *   });
 *
 * Errors:  Failure, of which a wrong command line is BadUsage. Whatever fails, the session is logged out.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "tools/orvane/loginOptions.h"
#include "tools/orvane/service.h"

namespace orvaneCli {

using ServiceOptions = LoginOptions;

/* Adds --url, --user, the password's options and trust; and --ferry, for the second service, if the command can use it. */
void AddServiceOptions(CLI::App &command, ServiceOptions &options, bool hasFerry = false);

/* Connects, does the work, logs out. Returns the status that the work returns. */
int WithService(ServiceOptions &options, const std::function<int(Service &)> &work);

} // namespace orvaneCli
