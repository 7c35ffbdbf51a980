#include "tools/orvane/schemaCommand.h"

#include <map>
#include <utility>

#include "tools/orvane/command.h"
#include "tools/orvane/commonOptions.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/trustOptions.h"
#include "tools/process/processSignals.h"

namespace orvaneCli {

namespace {

/* The decisions on the services' certificates. Starts the TLS layer with the first https document. */
class Trusts {
public:
    explicit Trusts(const TrustOptions &trustOptions) : options(trustOptions) {}
    ~Trusts() { SSL_Exit(); }
    Trusts(const Trusts &) = delete;
    Trusts &operator=(const Trusts &) = delete;

    schemaImport::FetchTrust *Of(const std::string &url) {
        const auto address = ParseServiceAddress(url);
        if (!address)
            return nullptr;
        SSL_Init(nullptr, nullptr, nullptr);
        return &all.try_emplace(address->Key(), options, url).first->second;
    }

private:
    struct Trust : schemaImport::FetchTrust {
        Trust(const TrustOptions &options, const std::string &url) : decided(options, url) {}
        void Prepare(gpointer sslContext) override { decided.Install(sslContext); }
        bool Reconsider() override { return decided.HasQuestion() && decided.Answer(); }
        std::string WhyRefused() const override { return decided.WhyRefused(); }
        ServiceTrust decided;
    };

    const TrustOptions &options;
    std::map<std::string, Trust> all;
};

/* The signals of the program, on the loop that also fetches documents, while this lives or until End(). */
class Signals {
public:
    Signals() {
        process::StartSignals({.onEnd = [this](int number) { signal = number; }, .onRedraw = {}});
    }
    ~Signals() { End(); }
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;

    schemaImport::GlibFetchLoop *Loop() { return &loop; }
    /* Throws Interrupted if a signal is to end the program. */
    void Check() {
        loop.RunReady();
        if (signal != 0)
            throw Interrupted(signal);
    }
    /* Lets signals have their usual effect. */
    void End() {
        if (!std::exchange(hasEnded, true))
            process::EndSignals();
    }

private:
    schemaImport::GlibFetchLoop loop;
    int signal = 0;
    bool hasEnded = false;
};

/* "[RELEASE=]URL" */
bool LeadsToTls(const std::string &named) {
    const size_t scheme = named.rfind('=', named.find("://"));
    const auto address =
        ParseServiceAddress(scheme == std::string::npos ? named : named.substr(scheme + 1));
    return address && address->isTls;
}

int RunImport(const SchemaOptions &options) {
    if (options.wanted.documents.empty() && options.wanted.urls.empty())
        throw BadUsage(Text(MSGID("schema.noDocument") "a document or --url is required; see "
                                                       "orvane schema import --help"));
    const bool isChosen = !options.trust.pin.empty() || !options.trust.ca.empty();
    for (const std::string &url : options.wanted.urls) {
        if (isChosen && !LeadsToTls(url))
            throw BadUsage(
                Text(MSGID("schema.needsTls") "--pin and --ca need an https address, not %s",
                     Printable(url).c_str()));
    }
    Signals signals;
    Trusts trusts(options.trust);
    schemaImport::ImportOptions wanted = options.wanted;
    if (const int seconds = GetCommonOptions().timeoutSeconds; seconds != 0)
        wanted.timeoutSeconds = seconds;
    wanted.isQuiet = GetCommonOptions().isQuiet;
    wanted.authorities = options.trust.ca;
    wanted.isInsecure = options.trust.isInsecure;
    if (wanted.authorities.empty() && !wanted.isInsecure)
        wanted.trustOf = [&](const std::string &url) { return trusts.Of(url); };
    wanted.loop = signals.Loop();
    wanted.checkpoint = [&] { signals.Check(); };
    wanted.beforeStream = [&] {
        signals.Check();
        signals.End(); /* what waits for a reader does not run the loop */
    };
    return schemaImport::RunImport(wanted);
}

} // namespace

void AddSchema(CLI::App &program, SchemaOptions &all, int &status) {
    schemaImport::ImportOptions &options = all.wanted;
    CLI::App *schema = program.add_subcommand(
        "schema", Text(MSGID("help.schema") "Work on the tables of the schema"));
    schema->require_subcommand(1);
    schema->footer(FooterText("", {"orvane schema import -o overlay.schema service.wsdl",
                                   "ORVANE_SCHEMA_OVERLAY=overlay.schema orvane ls -l"}));
    CLI::App *command = schema->add_subcommand(
        "import", Text(MSGID("help.schema.import") "Make overlay tables of XSD and WSDL documents; "
                                                   "what is not used is listed on stderr"));
    command->footer(FooterText(
        Text(MSGID("help.schema.footer") "RELEASE is a release of the service, such as ozy25/5.5; "
                                         "documents of several releases give each field the first "
                                         "that has it. With --quiet only mistakes are written to "
                                         "stderr. The exit status is 1 if nothing could be used, "
                                         "and 2 for a wrong command line."),
        {"orvane schema import -o overlay.schema service.wsdl",
         "orvane schema import -o overlay.schema ozy25/5.0=old/ ozy25/5.5=new/",
         "orvane schema import -o overlay.schema --url https://lab.example/sdk/service.wsdl"}));
    command->add_option("documents", options.documents,
                        Text(MSGID("help.schema.documents") "[RELEASE=]PATH: a document, or a "
                                                            "folder of *.wsdl and *.xsd"));
    command
        ->add_option("--url", options.urls,
                     Text(MSGID("help.schema.url") "[RELEASE=]URL: a document to fetch, with those "
                                                   "it refers to; may be repeated"))
        ->allow_extra_args(false);
    command
        ->add_option("--namespace", options.ns,
                     Text(MSGID("help.schema.namespace") "Namespace of new types"))
        ->capture_default_str()
        ->check(CLI::IsMember({"qorm", "ozy", "ferry"}));
    command->add_option(
        "-o,--output", options.output,
        Text(MSGID("help.schema.output") "File for the tables, or folder for imported.schema; "
                                         "\"-\", or nothing, for stdout"));
    command->add_flag(
        "--oldest-is-all", options.isOldestAll,
        Text(MSGID(
            "help.schema.oldest") "The fields of the oldest release are part of every release"));
    AddTrustOptions(*command, all.trust);
    command->callback([&] { status = RunCommand([&] { return RunImport(all); }); });
}

} // namespace orvaneCli
