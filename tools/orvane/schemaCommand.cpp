#include "tools/orvane/schemaCommand.h"

namespace orvaneCli {

namespace {

constexpr int kMaxSeconds = 3600;

} // namespace

void AddSchema(CLI::App &program, schemaImport::ImportOptions &options, int &status) {
    CLI::App *schema = program.add_subcommand("schema", "Works on the tables of the schema");
    schema->require_subcommand(1);
    CLI::App *import = schema->add_subcommand(
        "import",
        "Makes overlay tables of XSD and WSDL documents; says on stderr what is not used");
    import->footer("RELEASE is a release of the service, such as ozy25/5.5; documents of several "
                   "releases give each field the first that has it. The exit status is 1 if "
                   "nothing could be used, and 2 for a wrong command line.");
    import->add_option("documents", options.documents,
                       "[RELEASE=]PATH: a document, or a folder of *.wsdl and *.xsd");
    import
        ->add_option("--url", options.urls,
                     "[RELEASE=]URL: a document to fetch, with those it refers to; may be repeated")
        ->allow_extra_args(false);
    import->add_option("--namespace", options.ns, "Namespace of new types")
        ->capture_default_str()
        ->check(CLI::IsMember({"qorm", "ozy", "ferry"}));
    import->add_option("-o,--output", options.output,
                       "File for the tables, or folder for imported.schema; stdout without");
    import->add_flag("--oldest-is-all", options.isOldestAll,
                     "What the oldest release has is part of every release");
    CLI::Option *caFile =
        import->add_option("--ca-file", options.caFile, "Certificates to check the service by")
            ->check(CLI::ExistingFile);
    import->add_flag("--insecure", options.isInsecure, "Checks no certificate")->excludes(caFile);
    import->add_option("--timeout", options.timeoutSeconds, "Seconds to wait for the service")
        ->capture_default_str()
        ->check(CLI::Range(1, kMaxSeconds));
    import->callback([&] { status = schemaImport::RunImport(options);
});
} // namespace orvaneCli

} // namespace orvaneCli
