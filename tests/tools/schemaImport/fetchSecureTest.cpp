// Documents over https: which certificates are accepted, and the messages for the others.
#include <poll.h>

#include "lib/misc/glibPtr.h"
#include "tests/support/testLoop.h"
#include "tests/tools/schemaImport/importFixture.h"
#include "tools/certificates/certificateKind.h"
#include "tools/schemaImport/fetch.h"
#include "tools/schemaImport/xsdReader.h"
#include "tools/simulator/http.h"

namespace {

using namespace schemaImport;

/* Reading the system's certificates takes seconds under a sanitizer. */
constexpr int kLimitMs = 120000;

/* How a fetch is set to trust a service that presents a certificate. */
FetchOptions Trusting(const std::string &what, const certificates::Presented &presented,
                      const DocumentFolder &folder) {
    if (what == "anything" || what == "the system")
        return {.isInsecure = what == "anything"};
    if (what == "no file")
        return {.authorities = folder.Write("there.pem", "") + ".not"};
    return {.authorities = folder.Write("ca.pem", what == "the anchor" ? presented.anchor.pem
                                                  : what == "a stranger"
                                                      ? certificates::MakeKind("good")->anchor.pem
                                                      : "no certificate")};
}

TEST(FetchSecure, TakesOnlyWhatItIsSetToTrust) {
    const std::tuple<const char *, const char *, bool> rows[] = {
        {"good", "the anchor", true},
        {"good-chain", "the anchor", true},
        {"self-signed", "the anchor", true},
        {"good", "a stranger", false},
        {"good", "the system", false},
        {"good", "no file", false},
        {"good", "a bad file", false},
        {"expired", "the anchor", false},
        {"wrong-host", "the anchor", false},
        {"unknown-issuer", "the anchor", false},
        {"intermediate-no-ca", "the anchor", false},
        {"embedded-nul", "the anchor", false},
        {"self-signed", "anything", true},
        {"expired", "anything", true},
        {"wrong-host", "anything", true},
    };
    for (const auto &[kind, trusted, isTaken] : rows) {
        SCOPED_TRACE(std::string(kind) + ", trusting " + trusted);
        const DocumentFolder folder;
        testLoop::Reset();
        const auto presented = certificates::MakeKind(kind);
        int numRequests = 0;
        simulator::HttpServer server(
            {"127.0.0.1", 0, presented->Pem(), presented->KeyPem()},
            [&](const simulator::ExchangePtr &exchange) {
                numRequests++;
                exchange->Answer({.body = "<s:schema xmlns:s='http://www.w3.org/2001/XMLSchema'>"
                                          "<s:complexType name='Sent'/></s:schema>"});
            });
        testLoop::Watch(server.Descriptor(), POLLIN, [&](short) { server.Run(); });
        Notes notes;
        XsdSchema schema;
        {
            UrlSource source({testLoop::Callback, testLoop::CallbackRemove,
                              [](const std::function<bool()> &condition) {
                                  return testLoop::RunUntil(condition, kLimitMs);
                              }},
                             Trusting(trusted, *presented, folder));
            DocumentRef document;
            std::string why;
            const std::string port = std::to_string(server.Port());
            ASSERT_TRUE(source.Name("https://127.0.0.1:" + port + "/a.xsd", &document, &why))
                << why;
            schema = ReadDocuments(source, {document}, &notes);
        }
        testLoop::Unwatch(server.Descriptor());

        EXPECT_EQ(isTaken ? 1 : 0, numRequests);
        EXPECT_EQ(isTaken ? 1u : 0u, schema.types.size());
        EXPECT_EQ(isTaken ? 0u : 1u, notes.size());
        for (const Note &note : notes)
            EXPECT_EQ("cannot be read: no secure connection: is the certificate one that --ca or "
                      "--pin knows?",
                      note.text);
    }
}

} // namespace
