// orvane-simulator: the simulator as a program.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "lib/misc/err.h"
#include "lib/misc/log.h"
#include "lib/misc/poll.h"
#include "lib/misc/printableText.h"
#include "ozy/lib/orvaneGlib/glibLoop.h"
#include "tools/certificates/certificateKind.h"
#include "tools/manual/manualPage.h"
#include "tools/process/processLog.h"
#include "tools/process/processSignals.h"
#include "tools/simulator/simulator.h"
#include "tools/simulator/trouble.h"
#include "tools/standardStreams.h"

namespace {

constexpr int kDefaultJobs = 3;
constexpr int kBadUsage = 2; /* exit status for a wrong command line */
constexpr int64_t kMaxMs = int64_t{1000} * 86400 * 365;

struct BadUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Settings {
    simulator::Options options;
    std::vector<std::string> users;
    std::vector<std::string> troubles;
    std::string versionsForm = "current";
    std::string certificate; /* a kind, or a file if there is a key's */
    std::string keyFile;
    std::string anchorFile;
    std::string manualFolder; /* for the build: where to write the page of the manual */
    bool isTls = false;
    bool verbose = false;
    process::LogOptions log;
};

std::string CertificateHelp() {
    std::string text = "Kinds of certificates:\n";
    for (const certificates::KindRow &row : certificates::Kinds())
        text += fmt::format("  {:<22}{}\n", row.name, row.text);
    return text;
}

/* The functions below add options in the order in which the help lists them. */
void AddEstateOptions(CLI::App &app, simulator::Options &options) {
    app.add_option("--address", options.address, "Address to listen at")->capture_default_str();
    app.add_option("-p,--port", options.port, "Port; 0 for one that is free")
        ->capture_default_str()
        ->check(CLI::Range(0, 65535));
    app.add_option("--clusters", options.clusters, "Number of clusters")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    app.add_option("--hosts", options.hosts, "Number of hosts in all")
        ->capture_default_str()
        ->check(CLI::Range(0, 10000));
    app.add_option("-m,--machines", options.machines, "Number of virtual machines")
        ->capture_default_str()
        ->check(CLI::Range(0, 100000));
}

void AddServiceOptions(CLI::App &app, Settings &settings) {
    simulator::Options &options = settings.options;
    app.add_option("--service-version", options.version, "Version that is spoken")
        ->capture_default_str();
    app.add_option("--versions", settings.versionsForm, "Form of the versions document")
        ->capture_default_str();
    app.add_flag("!--no-wsdl", options.wsdl, "Do not serve the WSDL of old clients");
    app.add_flag("!--no-view-manager", options.viewManager, "Offer no container and list views");
    app.add_flag("!--no-ferry", options.ferry, "Do not serve the second service");
    app.add_option("-u,--user", settings.users,
                   "Someone who may log in, as name:password; may be repeated");
    app.add_option("--overlay", options.overlay,
                   "Tables of the schema whose fields objects are given: a file, or a folder of "
                   "*.schema; may be repeated")
        ->allow_extra_args(false);
    app.add_option("--ticket-directory", options.ticketDirectory,
                   "Directory for the files of local tickets");
}

void AddTimeOptions(CLI::App &app, simulator::Options &options) {
    app.add_option("--task-duration", options.taskDurationMs, "Duration of tasks in milliseconds")
        ->capture_default_str()
        ->check(CLI::Range(int64_t{1}, kMaxMs));
    app.add_option("--jobs", options.jobs, "Number of conversion jobs of the second service")
        ->capture_default_str()
        ->check(CLI::Range(0, 1000));
    app.add_option("--job-duration", options.jobDurationMs,
                   "Duration of conversion jobs in milliseconds")
        ->capture_default_str()
        ->check(CLI::Range(int64_t{1}, kMaxMs));
    app.add_option("--session-timeout", options.sessionTimeoutMs,
                   "Milliseconds after which an unused session ends; 0 for never")
        ->capture_default_str()
        ->check(CLI::Range(int64_t{0}, kMaxMs));
    app.add_option("--idle-timeout", options.idleSeconds,
                   "Seconds after which a connection is closed on which nothing moves")
        ->capture_default_str()
        ->check(CLI::Range(1, 86400));
}

void AddTlsOptions(CLI::App &app, Settings &settings) {
    CLI::Option *tls = app.add_flag("--tls", settings.isTls,
                                    "Serve https with a self-signed certificate made at start");
    CLI::Option *certificate =
        app.add_option("--certificate", settings.certificate,
                       "Serve https with a certificate of a kind below, made at start; or, with "
                       "--key, that of a PEM file")
            ->excludes(tls);
    CLI::Option *key =
        app.add_option("--key", settings.keyFile, "PEM file of the certificate's private key")
            ->check(CLI::ExistingFile)
            ->needs(certificate);
    app.add_option("--anchor", settings.anchorFile,
                   "Write what clients have to trust there, as PEM: the issuer of a certificate "
                   "made at start, and the list of those it has revoked")
        ->excludes(key);
}

void AddLogOptions(CLI::App &app, Settings &settings) {
    app.add_flag("-v,--verbose", settings.verbose, "Print every request to stderr");
    CLI::Option *log = app.add_option("--log", settings.log.file,
                                      "Write a log with every request to a file, which earlier "
                                      "ones are kept beside; - for stderr");
    log->check([](const std::string &file) -> std::string {
        return file.empty() ? "the name of the file is empty" : "";
    });
    app.add_option("--log-level", settings.log.level, "Least severe level in the log")
        ->capture_default_str()
        ->check(CLI::IsMember(process::LogLevels()))
        ->needs(log);
}

void AddOptions(CLI::App &app, Settings &settings) {
    AddEstateOptions(app, settings.options);
    AddServiceOptions(app, settings);
    AddTimeOptions(app, settings.options);
    app.add_option("--trouble", settings.troubles,
                   "What goes wrong, as [METHOD:]KIND[:count=N][:skip=N][:bytes=N][:delay=MS]"
                   "[:status=N][:fault=TYPE][:message=TEXT]; may be repeated");
    AddTlsOptions(app, settings);
    app.footer(CertificateHelp());
    app.add_option("--write-manual", settings.manualFolder)->group("");
    app.add_flag("--control", settings.options.control, "Serve the switches at /control/");
    AddLogOptions(app, settings);
}

std::string ReadFile(const std::string &path) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file)
        throw std::runtime_error(fmt::format("cannot read {}", path));
    return text.str();
}

simulator::User ParseUser(const std::string &text) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos || colon == 0)
        throw BadUsage(fmt::format("--user {}: is not NAME:PASSWORD", text));
    return {text.substr(0, colon), text.substr(colon + 1)};
}

std::vector<simulator::Trouble> ParseTroubles(const Settings &settings) {
    std::vector<simulator::Trouble> troubles;
    for (const std::string &text : settings.troubles) {
        try {
            troubles.push_back(simulator::ParseTrouble(text));
        } catch (const std::runtime_error &error) {
            throw BadUsage(fmt::format("--trouble {}: {}", text, error.what()));
        }
    }
    return troubles;
}

void WriteManual(const CLI::App &app, const std::string &folder) {
    const manual::Book book{.program = "orvane-simulator",
                            .date = ORVANE_DATE,
                            .exitStatuses = {{"0", "A signal ended it: SIGINT, SIGTERM or SIGHUP."},
                                             {"1", "The port, a file or the output does not work."},
                                             {"2", "The command line is wrong."}}};
    manual::WritePages(manual::MakePages(app, book), folder);
}

/* Puts the texts of the command line into the simulator's own terms. Throws BadUsage. */
simulator::Options Interpret(const Settings &settings) {
    simulator::Options options = settings.options;
    const auto form = simulator::VersionsFormOf(settings.versionsForm);
    if (!form)
        throw BadUsage(fmt::format("--versions {}: there is no such form", settings.versionsForm));
    options.versionsForm = *form;
    if (!settings.users.empty())
        options.users.clear();
    for (const std::string &user : settings.users)
        options.users.push_back(ParseUser(user));
    if (!settings.keyFile.empty()) {
        options.certificate = ReadFile(settings.certificate);
        options.privateKey = ReadFile(settings.keyFile);
    } else {
        options.certificateKind = settings.isTls ? "self-signed" : settings.certificate;
    }
    const bool isMade = !options.certificateKind.empty();
    if (isMade && !certificates::MakeKind(options.certificateKind))
        throw BadUsage(fmt::format("--certificate {}: there is no such kind, and no --key",
                                   options.certificateKind));
    if (!isMade && !settings.anchorFile.empty())
        throw BadUsage("--anchor needs --tls, or --certificate with a kind");
    if (settings.verbose || !settings.log.file.empty())
        options.log = [isPrinted = settings.verbose](std::string_view line) {
            Log("SIMULATOR: %.*s\n", static_cast<int>(line.size()), line.data());
            if (!isPrinted)
                return;
            fmt::print(stderr, "{}\n", PrintableText_Make(line));
            std::fflush(stderr);
        };
    return options;
}

/* Shows what a client needs to know of a certificate that was made here. */
void ShowCertificate(const simulator::Simulator &server, const std::string &anchorFile) {
    const certificates::Presented *shown = server.Certificate();
    if (shown == nullptr)
        return;
    fmt::print("SHA-1 {}\nSHA-256 {}\n", shown->Leaf().thumbprint, shown->Leaf().thumbprint256);
    if (anchorFile.empty())
        return;
    std::ofstream file(anchorFile);
    file << shown->anchor.pem << shown->revocationList;
    file.close();
    if (!file)
        throw std::runtime_error(fmt::format("cannot write {}", anchorFile));
}

void StartLog(const Settings &settings) {
    const process::LogFailure failure =
        process::StartLog(settings.log, "orvane-simulator", ORVANE_VERSION);
    const std::string what = fmt::format("--log {}: ", settings.log.file);
    switch (failure.problem) {
    case process::LogProblem::kNone:
        return;
    case process::LogProblem::kOtherFile:
        throw std::runtime_error(what + "the file is there, and is no log");
    case process::LogProblem::kNotRegular:
        throw std::runtime_error(what + "is no regular file");
    case process::LogProblem::kSystem:
        throw std::runtime_error(what + failure.reason);
    }
}

/* The loop of the program, with its signals, for as long as this lives. */
class Loop {
public:
    Loop() {
        GlibLoop_Open(g_main_context_default());
        process::StartSignals({.onEnd = [this](int) { isEnding = true; }, .onRedraw = nullptr});
    }
    ~Loop() {
        process::EndSignals();
        GlibLoop_Close();
    }
    Loop(const Loop &) = delete;
    Loop &operator=(const Loop &) = delete;

    /* Runs the server until a signal ends it. */
    void Run(simulator::Simulator &server) {
        Poll_CB_Device(Wake, this, server.PollDescriptor(), TRUE);
        while (!isEnding) {
            if (const int milliseconds = server.TimeoutMs(); milliseconds >= 0)
                Poll_CB_RTime(Wake, this, gint64{milliseconds} * 1000, FALSE, nullptr);
            g_main_context_iteration(nullptr, TRUE);
            Poll_CB_RTimeRemove(Wake, this, FALSE);
            server.Run();
        }
        Poll_CB_DeviceRemove(Wake, this, TRUE);
    }

private:
    static void Wake(gpointer) {} /* Run() does the work */

    bool isEnding = false;
};

void FlushOutput() {
    if (std::fflush(stdout) != 0)
        throw std::runtime_error(fmt::format("the output cannot be written: {}", Err_ErrString()));
}

/* Runs until SIGINT, SIGTERM or SIGHUP. */
void Serve(const Settings &settings) {
    const simulator::Options options = Interpret(settings);
    const auto troubles = ParseTroubles(settings);
    StartLog(settings);
    Loop loop;
    simulator::Simulator server(options);
    for (const simulator::Trouble &trouble : troubles)
        server.AddTrouble(trouble);
    server.Start();
    Log("SIMULATOR: serves %s\n", server.Url().c_str());
    fmt::print("{}\n", server.Url());
    ShowCertificate(server, settings.anchorFile);
    FlushOutput();
    loop.Run(server);
    server.Stop();
    Log("SIMULATOR: served %d calls\n", server.NumCalls());
}

} // namespace

int main(int argc, char **argv) try {
    HoldStandardStreams();
    CLI::App app("A simulated service: inventory, sessions, tasks, updates, troubles.",
                 "orvane-simulator");
    app.set_version_flag("--version", ORVANE_VERSION);
    Settings settings;
    settings.options.jobs = kDefaultJobs;
    AddOptions(app, settings);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0)
            throw BadUsage(fmt::format("{}; see orvane-simulator --help", error.what()));
        std::ostringstream text; /* the help or the version */
        app.exit(error, text, text);
        fmt::print("{}", text.str());
        FlushOutput();
        return EXIT_SUCCESS;
    }
    if (!settings.manualFolder.empty()) {
        WriteManual(app, settings.manualFolder);
        return EXIT_SUCCESS;
    }
    Serve(settings);
    process::EndLog();
    return EXIT_SUCCESS;
} catch (const BadUsage &error) {
    std::fprintf(stderr, "orvane-simulator: %s\n", PrintableText_Make(error.what()).c_str());
    return kBadUsage;
} catch (const std::exception &error) {
    std::fprintf(stderr, "orvane-simulator: %s\n", PrintableText_Make(error.what()).c_str());
    return EXIT_FAILURE;
}
