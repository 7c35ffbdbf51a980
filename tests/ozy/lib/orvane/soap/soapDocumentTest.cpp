#include "tests/ozy/lib/orvane/soap/soapFixture.h"

#include <chrono>

#include <gmock/gmock.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include "lib/misc/log.h"

namespace {

using testing::HasSubstr;
using testing::Not;

bool Parses(const std::string &text) {
    const XmlDocPtr doc(OrvaneSoap_ParseDocument(text.data(), text.size(), "reply"));
    return doc != nullptr;
}

TEST(SoapDocument, WhatIsRefusedBeforeAnythingIsRead) {
    const std::pair<const char *, std::string> rows[] = {
        {"empty", ""},
        {"blank", " \n"},
        {"cut", "<a><b></b>"},
        {"two roots", "<a/><b/>"},
        {"a NUL at the end", std::string("<a/>\0", 5)},
        {"a NUL inside", std::string("<a>\0</a>", 8)},
        {"a bare document type", "<!DOCTYPE a><a/>"},
        {"a document type elsewhere", "<!DOCTYPE a SYSTEM \"file:///etc/passwd\"><a/>"},
        {"an entity of its own", "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>"},
        {"an unknown entity", "<a>&nbsp;</a>"},
        {"a page of a proxy", ReplyText("proxyErrorPage.html")},
        {"text", "Service Unavailable"},
    };
    for (const auto &[name, text] : rows)
        EXPECT_FALSE(Parses(text)) << name;
    EXPECT_EQ(nullptr, OrvaneSoap_ParseDocument(nullptr, 0, "reply"));
}

TEST(SoapDocument, HarmlessThingsAreRead) {
    for (const char *text : {"<a/>", "<?xml version='1.0'?><!-- c --><?pi x?><a>&amp;&#65;</a>\n",
                             "<a xsi:type='undeclared prefix'/>"})
        EXPECT_TRUE(Parses(text)) << text;
}

TEST(SoapDocument, EntitiesThatGrowAreRefusedAtOnce) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Parses(ReplyText("billionLaughs.xml")));
    std::string wide = "<!DOCTYPE a [<!ENTITY e \"" + std::string(100000, 'x') + "\">]><a>";
    for (int i = 0; i < 2000; i++)
        wide += "&e;";
    EXPECT_FALSE(Parses(wide + "</a>"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(SoapDocument, MessagesGoToTheLogAndNowhereElse) {
    LogRing_Clear();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(Parses("<a b='1' b='2'/>"));
    EXPECT_FALSE(Parses("<a>\n<b\x1b[31m></a>"));
    EXPECT_FALSE(Parses("<!DOCTYPE a><a/>"));
    for (const char *encoding : {"GB18030", "UTF-32", "ISO-2022-JP"})
        EXPECT_FALSE(Parses("<?xml version='1.0' encoding='" + std::string(encoding) +
                            "'?>\n<a>\xff\xff\x81 x</a>"));
    std::string many = "<a>";
    for (int i = 0; i < 1000; i++)
        many += "<x:b/>";
    EXPECT_TRUE(Parses(many + "</a>"));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());

    const GPtr<char> lines(LogRing_Copy());
    EXPECT_THAT(lines.get(), HasSubstr("SOAP: reply, line 1: Attribute b redefined\n"));
    EXPECT_THAT(lines.get(), HasSubstr("SOAP: reply, line 2: "));
    EXPECT_THAT(lines.get(),
                HasSubstr("SOAP: reply refused: it has a document type declaration\n"));
    EXPECT_THAT(lines.get(), HasSubstr("SOAP: reply: 997 more messages\n"));
    EXPECT_THAT(lines.get(), Not(HasSubstr("\x1b")));
}

TEST(SoapDocument, TheApplicationsOwnHandlersStayAsTheyAre) {
    int numCalls = 0;
    xmlStructuredErrorFunc mine = [](void *count, xmlErrorPtr) { ++*static_cast<int *>(count); };
    xmlSetStructuredErrorFunc(&numCalls, mine);
    EXPECT_FALSE(Parses("<a>"));
    EXPECT_FALSE(Parses("<?xml version='1.0' encoding='GB18030'?><a>\xff\xff\x81 x</a>"));
    EXPECT_EQ(mine, xmlStructuredError);
    EXPECT_EQ(&numCalls, xmlStructuredErrorContext);
    EXPECT_EQ(0, numCalls);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
}

} // namespace
