// Documents from a service: which addresses are requested, and which never are.
#include "tools/schemaImport/fetch.h"

#include "lib/misc/glibPtr.h"
#include "tests/support/cannedServer.h"
#include "tests/support/testLoop.h"
#include "tests/tools/schemaImport/importFixture.h"
#include "tools/schemaImport/xsdReader.h"

namespace {

using namespace schemaImport;
using testing::ElementsAre;
using testing::HasSubstr;

std::string Schema(const std::string &components) {
    return "<s:schema xmlns:s='http://www.w3.org/2001/XMLSchema'>" + components + "</s:schema>";
}

struct Fetch : testing::Test {
    void SetUp() override {
        testLoop::Reset();
        server.Answer([this](const CannedRequest &request) {
            const auto found = pages.find(request.target);
            return found == pages.end() ? HttpReply("gone", 404) : HttpReply(found->second);
        });
    }
    void TearDown() override { EXPECT_EQ(0u, testLoop::Registrations().size()); }

    XsdSchema Read(const std::string &url) {
        UrlSource source(
            {testLoop::Callback, testLoop::CallbackRemove,
             [](const std::function<bool()> &condition) { return testLoop::RunUntil(condition); }},
            {});
        DocumentRef document;
        std::string why;
        EXPECT_TRUE(source.Name(url, &document, &why)) << why;
        return ReadDocuments(source, {document}, &notes);
    }
    std::vector<std::string> Targets() const {
        std::vector<std::string> targets;
        for (const CannedRequest &request : server.Requests())
            targets.push_back(request.method + " " + request.target);
        return targets;
    }
    std::vector<std::string> NoteTexts() const {
        std::vector<std::string> texts;
        for (const Note &note : notes)
            texts.push_back(note.text);
        return texts;
    }

    CannedServer server;
    std::map<std::string, std::string> pages;
    Notes notes;
};

TEST_F(Fetch, FollowsRelativeLocationsOnce) {
    pages["/sdk/service?wsdl"] = "<w:definitions xmlns:w='http://schemas.xmlsoap.org/wsdl/'>"
                                 "<w:import location='service?wsdl#again'/><w:import "
                                 "location='a/types.xsd'/></w:definitions>";
    pages["/sdk/a/types.xsd"] =
        Schema("<s:include schemaLocation='../b.xsd'/><s:include schemaLocation='/c.xsd'/>");
    pages["/sdk/b.xsd"] =
        Schema("<s:simpleType name='B'><s:restriction base='s:int'/></s:simpleType>"
               "<s:include schemaLocation='" +
               server.Url("/sdk/a/types.xsd") + "'/>");
    const XsdSchema schema = Read(server.Url("/sdk/service?wsdl"));
    ASSERT_EQ(1u, schema.types.size());
    EXPECT_EQ("B", schema.types[0].name);
    EXPECT_EQ(server.Url("/sdk/b.xsd"), schema.types[0].place.document);
    EXPECT_THAT(Targets(), ElementsAre("GET /sdk/service?wsdl", "GET /sdk/a/types.xsd",
                                       "GET /sdk/b.xsd", "GET /c.xsd"));
    EXPECT_THAT(NoteTexts(), ElementsAre("cannot be read: the service answers with status 404"));
}

TEST_F(Fetch, AsksNoOneElse) {
    const std::string other = "http://127.0.0.1:" + std::to_string(server.Port() ^ 1) + "/b.xsd";
    std::string includes;
    for (const std::string &location :
         {other, server.Url("/b.xsd").replace(7, 9, "localhost"),
          "https" + server.Url("/b.xsd").substr(4), std::string("file:///etc/passwd")})
        includes += "<s:include schemaLocation='" + location + "'/>";
    pages["/a.xsd"] = Schema(includes);
    Read(server.Url("/a.xsd"));
    EXPECT_THAT(Targets(), ElementsAre("GET /a.xsd"));
    ASSERT_EQ(4u, notes.size());
    for (const Note &note : notes)
        EXPECT_THAT(note.text, testing::AnyOf(HasSubstr("leads to another scheme, host or port"),
                                              HasSubstr("is no address")));
}

TEST_F(Fetch, BrokenAnswersAreTold) {
    server.Answer([](const CannedRequest &) {
        CannedAnswer answer = HttpReply(Schema(""));
        answer.cutAfter = answer.bytes.size() - 3;
        return answer;
    });
    EXPECT_TRUE(Read(server.Url("/a.xsd")).types.empty());
    EXPECT_THAT(NoteTexts(), ElementsAre(HasSubstr("cannot be read: the transfer broke off")));
    server.StopListening();
    notes.clear();
    Read(server.Url("/a.xsd"));
    EXPECT_THAT(NoteTexts(), ElementsAre("cannot be read: no connection"));
}

} // namespace
