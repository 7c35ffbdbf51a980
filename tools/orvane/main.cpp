// orvane: the command line program.
#include <CLI/CLI.hpp>

#include "tools/orvane/aboutCommand.h"
#include "tools/orvane/demo.h"
#include "tools/orvane/schemaCommand.h"
#include "tools/orvane/trustOptions.h"

namespace {

constexpr int kMaxMachines = 100000;
constexpr int kMaxSeconds = 3600;
constexpr int kBadUsage = 2; /* exit status for a wrong command line */

using orvaneCli::AddTrustOptions;

void AddDemo(CLI::App &program, orvaneCli::DemoOptions &options, int &status) {
    CLI::App *demo = program.add_subcommand("demo", "Shows what the library does, on one screen");
    demo->footer("Without --url it starts a simulator of the service inside this program. A given "
                 "service is only read, unless --machine names one that may be switched.");
    CLI::Option *url = demo->add_option("--url", options.url, "Service to connect to");
    demo->add_option("--user", options.user, "User name")->capture_default_str();
    demo->add_option("--password", options.password, "Password")->envname("ORVANE_PASSWORD");
    demo->add_option("--machine", options.machine, "Machine to switch on and off, by its name");
    demo->add_option("--timeout", options.timeoutSeconds, "Seconds that a step may take")
        ->capture_default_str()
        ->check(CLI::Range(1, kMaxSeconds));
    demo->add_option("--machines", options.machines, "Machines in the simulator")
        ->capture_default_str()
        ->check(CLI::Range(1, kMaxMachines))
        ->excludes(url);
    demo->add_option("--port", options.port, "Loopback port of the simulator; 0 for a free one")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535))
        ->excludes(url);
    demo->add_option("--task-ms", options.taskMs, "Milliseconds that a task takes in the simulator")
        ->capture_default_str()
        ->check(CLI::Range(0, kMaxSeconds * 1000))
        ->excludes(url);
    demo->add_flag("--tls", options.isTls,
                   "The simulator serves https, and its certificate is pinned")
        ->excludes(url);
    AddTrustOptions(*demo, options.trust);
    for (const char *name : {"--pin", "--ca", "--insecure"})
        demo->get_option(name)->needs(url);
    demo->callback([&] { status = orvaneCli::RunDemo(options); });
}

} // namespace

int main(int argc, char **argv) {
    CLI::App program("Works with a SOAP management service through liborvane", "orvane");
    program.require_subcommand(1);
    program.set_version_flag("--version", ORVANE_VERSION);

    orvaneCli::DemoOptions options;
    int status = 0;
    AddDemo(program, options, status);
    orvaneCli::AboutOptions aboutOptions;
    orvaneCli::AddAbout(program, aboutOptions, status);
    orvaneCli::SchemaOptions schemaOptions;
    orvaneCli::AddSchema(program, schemaOptions, status);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return program.exit(error) == 0 ? 0 : kBadUsage;
    }
    return status;
}
