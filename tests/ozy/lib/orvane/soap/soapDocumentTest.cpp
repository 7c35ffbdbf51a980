#include "tests/ozy/lib/orvane/soap/soapFixture.h"
#include "tests/support/logText.h"
#include "tests/support/sanitized.h"

#include <ctime>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

namespace {

bool Parses(const std::string &text) {
    const XmlDocPtr doc(OrvaneSoap_ParseDocument(text.data(), text.size(), "reply", 0));
    return doc != nullptr;
}

TEST(SoapDocument, WhatIsRefusedBeforeAnythingIsRead) {
    const std::pair<const char *, std::string> rows[] = {
        {"empty", ""},
        {"blank", " \n"},
        {"cut", "<a><b></b>"},
        {"two roots", "<a/><b/>"},
        {"only NULs", std::string("\0\0", 2)},
        {"a NUL inside", std::string("<a>\0</a>", 8)},
        {"a NUL with a blank behind it", std::string("<a/>\0 ", 6)},
        {"a bare document type", "<!DOCTYPE a><a/>"},
        {"a document type elsewhere", "<!DOCTYPE a SYSTEM \"file:///etc/passwd\"><a/>"},
        {"an entity of its own", "<!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>"},
        {"an unknown entity", "<a>&nbsp;</a>"},
        {"a page of a proxy", ReplyText("proxyErrorPage.html")},
        {"text", "Service Unavailable"},
    };
    for (const auto &[name, text] : rows)
        EXPECT_FALSE(Parses(text)) << name;
    EXPECT_EQ(nullptr, OrvaneSoap_ParseDocument(nullptr, 0, "reply", 0));
    EXPECT_TRUE(Parses(std::string("<a/>\0\0", 6))) << "NULs at the end";
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
    EXPECT_TRUE(Parses("<a>" + Times(1000, "<x:b/>") + "</a>"));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());

    EXPECT_THAT(LogText(), HasSubstr("SOAP: reply, line 1: Attribute b redefined\n"));
    EXPECT_THAT(LogText(), HasSubstr("SOAP: reply, line 2: "));
    EXPECT_THAT(LogText(), HasSubstr("SOAP: reply refused: it has a document type declaration\n"));
    EXPECT_THAT(LogText(), HasSubstr("SOAP: reply: 997 more messages\n"));
    EXPECT_THAT(LogText(), Not(HasSubstr("\x1b")));
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

/* " a0='' a1='' ..." */
std::string Attributes(int count, const char *name = "a") {
    std::string text;
    for (int i = 0; i < count; i++)
        text += " " + std::string(name) + std::to_string(i) + "='u'";
    return text;
}

std::string Converted(const std::string &text, const char *encoding) {
    gsize length = 0;
    const GPtr<char> converted(
        g_convert(text.data(), gssize(text.size()), encoding, "UTF-8", nullptr, &length, nullptr));
    return std::string(converted.get(), length);
}

TEST(SoapDocument, AnElementHasALimitedNumberOfAttributes) {
    const std::string most = Attributes(256);
    const std::string scope = Attributes(250, "xmlns:n");
    const struct {
        const char *name;
        std::string text;
        bool isRead;
    } rows[] = {
        {"the limit", "<a" + most + "/>", true},
        {"many elements", "<a" + most + ">" + Times(50, "<b" + most + "/>") + "</a>", true},
        {"one more", "<a" + Attributes(257) + "/>", false},
        {"inside", "<a" + most + "><b" + Attributes(257) + "/></a>", false},
        {"behind an end tag", "<a><b></b><c" + Attributes(257) + "/></a>", false},
        {"declarations count", "<a" + Attributes(200) + Attributes(57, "xmlns:n") + "/>", false},
        {"'=' elsewhere",
         "<a>" + Times(999, "=") + "<!-- <b" + Times(999, " c=''") + "> -->" + "<?p <b" +
             Times(999, " c=''") + "?><![CDATA[<b" + Times(999, " c=''") + ">]]></a>",
         true},
        {"signs in values", "<a b='>" + Times(300, "=") + "\"/>'" + Attributes(255) + "></a>",
         true},
        {"namespaces in scope",
         Times(4, "<a" + scope + ">") + Times(30, "<b xmlns:x='u'></b>") + Times(4, "</a>"), true},
        {"too many in scope", Times(5, "<a" + scope + ">") + Times(5, "</a>"), false},
        {"names beyond ASCII", "<\xc3\xa4><?\xc3\xa4 p?>" + Times(300, "<b c=''/>") + "</\xc3\xa4>",
         true},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.isRead, Parses(row.text)) << row.name;
}

TEST(SoapDocument, ManyAttributesAreRefusedInAnyEncodingAndBehindAnyMistake) {
    const std::string many = "<b" + Attributes(50000) + "/>";
    std::vector<std::string> texts = {
        many,
        "<!DOCTYPE [<!ENTITY e 'x'>]>" + many,
        Converted("<a>" + many + "</a>", "EBCDIC-US"),
        "<?xml version='1.0' encoding='UTF-7'?>" + Converted("<a>" + many + "</a>", "UTF-16BE"),
    };
    for (const char *encoding : {"ISO-8859-1", "GB18030", "UTF-7", "windows-1252", "Shift_JIS"})
        texts.push_back("<?xml version='1.0' encoding='" + std::string(encoding) + "'?><a>" + many +
                        "</a>");
    /* every character of the tags as a group of UTF-7 */
    std::string groups = "<?xml version='1.0' encoding='UTF-7'?>+ADw-a";
    for (int i = 0; i < 50000; i++)
        groups += " a" + std::to_string(i) + "+AD0-''";
    texts.push_back(groups + "/+AD4-");
    /* libxml2 leaves each of these before its end, and reads what follows as a tag */
    const struct {
        const char *start, *end;
    } mistakes[] = {
        {"<c d=\"", "\">"},
        {"<c d=", "'>"},
        {"<c d", "='>'>"},
        {"</c ", ">"},
        {"<!-- \x01 ", "-->"},
        {"<!-- \xef\xbf\xbf ", "-->"},
        {"<!-- \xed\xa0\x80 ", "-->"},
        {"<? ", "?>"},
        {"<?p \x01 ", "?>"},
        {"<![CDATA[ \x01 ", "]]>"},
        {"<!ELEMENT x '", "'>"},
        {"<!DOCTYPE x [", "]>"},
        {"<", ">"},
        {"<c/", ">"},
    };
    const std::string more = "<b" + Attributes(200000) + "/>";
    texts.push_back("<?xml version='1' ><a>" + more + "?></a>");
    for (const auto &row : mistakes)
        texts.push_back("<a><a><a>" + std::string(row.start) + more + row.end + "</a></a></a>");
    for (const std::string &text : texts) {
        const auto start = std::clock();
        EXPECT_FALSE(Parses(text)) << text.substr(0, 60);
        EXPECT_GT(kSanitizerFactor * CLOCKS_PER_SEC, std::clock() - start) << text.substr(0, 60);
    }
}

TEST(SoapDocument, EncodingsAreReadByTheirNames) {
    const std::string filler(2000, ' '); /* long enough to be converted */
    for (const char *encoding : {"ISO-8859-1", "windows-1252", "GB18030", "utf-8", "UTF-7"}) {
        const std::string head =
            "<?xml version=\"1.0\" encoding='" + std::string(encoding) + "' ?>";
        const std::string text = head + Converted("<a>\xc3\xa4</a>", encoding) + filler;
        const XmlDocPtr doc(OrvaneSoap_ParseDocument(text.data(), text.size(), "reply", 0));
        ASSERT_NE(nullptr, doc) << encoding;
        EXPECT_STREQ("\xc3\xa4", OrvaneSoapContent(xmlDocGetRootElement(doc.get()))) << encoding;
    }
    EXPECT_FALSE(Parses("<?xml version='1.0' encoding='no-such'?><a/>" + filler));
    EXPECT_FALSE(Parses("<?xml version='1.0' encoding='GB18030'?><a>\xff\xff</a>" + filler));
}

} // namespace
