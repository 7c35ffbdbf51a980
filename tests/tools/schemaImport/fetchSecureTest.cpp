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

enum class Trust { Anchor, Stranger, System, NoFile, BadFile, Insecure };

struct SecureRow {
    const char *kind; /* of the certificate that the service presents */
    Trust trust;
    bool isTaken;
};

constexpr SecureRow kRows[] = {
    {"good", Trust::Anchor, true},
    {"good-chain", Trust::Anchor, true},
    {"self-signed", Trust::Anchor, true},
    {"good", Trust::Stranger, false},
    {"good", Trust::System, false},
    {"good", Trust::NoFile, false},
    {"good", Trust::BadFile, false},
    {"expired", Trust::Anchor, false},
    {"wrong-host", Trust::Anchor, false},
    {"unknown-issuer", Trust::Anchor, false},
    {"intermediate-no-ca", Trust::Anchor, false},
    {"embedded-nul", Trust::Anchor, false},
    {"self-signed", Trust::Insecure, true},
    {"expired", Trust::Insecure, true},
    {"wrong-host", Trust::Insecure, true},
};

std::ostream &operator<<(std::ostream &out, const SecureRow &row) {
    return out << row.kind << ", trust " << static_cast<int>(row.trust);
}

struct FetchSecure : testing::TestWithParam<SecureRow> {
    FetchOptions Options(const certificates::Presented &presented) const {
        switch (GetParam().trust) {
        case Trust::Anchor:
            return {.authorities = folder.Write("anchor.pem", presented.anchor.pem)};
        case Trust::Stranger:
            return {.authorities =
                        folder.Write("other.pem", certificates::MakeKind("good")->anchor.pem)};
        case Trust::NoFile:
            return {.authorities = folder.Write("there.pem", "") + ".not"};
        case Trust::BadFile:
            return {.authorities = folder.Write("bad.pem", "no certificate")};
        case Trust::Insecure:
            return {.isInsecure = true};
        case Trust::System:
            break;
        }
        return {};
    }

    DocumentFolder folder;
};

TEST_P(FetchSecure, TakesOnlyWhatItIsSetToTrust) {
    testLoop::Reset();
    const auto presented = certificates::MakeKind(GetParam().kind);
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
                         Options(*presented));
        DocumentRef document;
        std::string why;
        const std::string port = std::to_string(server.Port());
        ASSERT_TRUE(source.Name("https://127.0.0.1:" + port + "/a.xsd", &document, &why)) << why;
        schema = ReadDocuments(source, {document}, &notes);
    }
    testLoop::Unwatch(server.Descriptor());

    EXPECT_EQ(GetParam().isTaken ? 1 : 0, numRequests);
    EXPECT_EQ(GetParam().isTaken ? 1u : 0u, schema.types.size());
    EXPECT_EQ(GetParam().isTaken ? 0u : 1u, notes.size());
    for (const Note &note : notes)
        EXPECT_EQ("cannot be read: no secure connection: is the certificate one that --ca or --pin "
                  "knows?",
                  note.text);
}

INSTANTIATE_TEST_SUITE_P(, FetchSecure, testing::ValuesIn(kRows));

} // namespace
