#include "tests/ozy/lib/orvane/soap/mutations.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

#include "tests/lib/lock/inThreads.h"
#include "tests/support/logText.h"

namespace {

std::string Text(const xmlChar *text) {
    return text != nullptr ? reinterpret_cast<const char *>(text) : "(NULL)";
}

std::string Name(const xmlChar *name, const xmlNs *ns) {
    return ns == nullptr ? Text(name)
                         : "{" + Text(ns->prefix) + "=" + Text(ns->href) + "}" + Text(name);
}

/* Everything that a reader could see of a list of nodes, and that their links agree. */
std::string Shape(const xmlNode *node) {
    std::string shape;
    for (const xmlNode *before = nullptr; node != nullptr; before = node, node = node->next) {
        EXPECT_EQ(before, node->prev);
        if (node->type != XML_ELEMENT_NODE) {
            shape += std::to_string(node->type) + "'" + Text(node->content) + "'";
            continue;
        }
        shape += "<" + Name(node->name, node->ns);
        for (const xmlNs *ns = node->nsDef; ns != nullptr; ns = ns->next)
            shape += " xmlns:" + Text(ns->prefix) + "=" + Text(ns->href);
        for (const xmlAttr *attribute = node->properties; attribute != nullptr;
             attribute = attribute->next)
            shape += " " + Name(attribute->name, attribute->ns) + "=" + Shape(attribute->children);
        shape += ">" + Shape(node->children) + "</>";
        const xmlNode *last = node->children;
        while (last != nullptr && last->next != nullptr)
            last = last->next;
        EXPECT_EQ(last, node->last);
        if (last != nullptr) {
            EXPECT_EQ(node->name, last->parent->name);
            EXPECT_EQ(node->doc, last->doc);
        }
    }
    return shape;
}

/* Only the root: its siblings are not compared. */
std::string RootShape(const xmlNode *root) {
    xmlNode alone = *root;
    alone.prev = alone.next = nullptr;
    return Shape(&alone);
}

std::string PlainShape(const std::string &text) {
    const XmlDocPtr doc(OrvaneSoap_ParseDocument(text.data(), text.size(), "plain", 0));
    return doc != nullptr ? RootShape(xmlDocGetRootElement(doc.get())) : "refused";
}

std::string TreeShape(const std::string &text, bool *isInBlocks = nullptr) {
    const SoapTreePtr tree(OrvaneSoapTree_Parse(text.data(), text.size(), "tree", 0));
    if (isInBlocks != nullptr)
        *isInBlocks = tree != nullptr && OrvaneSoapTree_IsInBlocks(tree.get());
    return tree != nullptr ? RootShape(OrvaneSoapTree_Root(tree.get())) : "refused";
}

TEST(SoapTree, IsTheTreeThatLibxml2Makes) {
    const std::string big(3000000, 'x');
    const std::string pieces = Times(50000, "a&lt;b&#10;");
    std::string names;
    for (int i = 0; i < 5000; i++)
        names += "<n" + std::to_string(i) + "/>";
    const struct {
        std::string text;
        bool isInBlocks;
    } rows[] = {
        {"<a/>", true},
        {"<a></a>", true},
        {"<a> <b>1</b>t&amp;u<c/> &#65;</a>", true},
        {"<a x='1' y=\"it's\" z=''/>", true},
        {"<p:a xmlns:p='urn:p' xmlns='urn:d' p:x='1' x='2'><b/><p:b xmlns:p='urn:q'/><p:b/></p:a>",
         true},
        {"<a ><b\t/>\r\n<c\n></c >\rx\r\r\ny&#xD;z</a\n>\r\n", true},
        {"<a>\xf0\x9f\x98\x80&#x1F600;&#228;]] ]>&quot;&apos;&gt;</a>", true},
        {"<a-1._b xmlns:p='urn:p' p:x='1' x='2'>&lt;</a-1._b>", true},
        {"<a>" + big + "</a>", true},
        {"<a><b>" + pieces + "</b>" + pieces + "</a>", true},
        {ReplyText("retrieveProperties.xml"), true},
        {ReplyText("login.xml"), true},
        {ReplyText("faultInvalidLogin.xml"), true},
        {"\xef\xbb\xbf<?xml version='1.0' encoding='utf-8'?><a>\xc3\xa4</a>", true},
        {"<a>" + names + "</a>", true},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe4</a>", false},
        {"<?xml version='1.0' encoding='UTF-16'?><a/>", false},
        {std::string("\xff\xfe<\0a\0/\0>\0", 10), false},
        {"<a>\xe4</a>", false},
        {"<!-- c --><?pi x?><a>t</a>", false},
        {"<a>t</a><!-- d -->", false},
        {"<a>one<!-- c -->two<![CDATA[<three>]]>four</a>", false},
        {"<a x=' spaced\n out '/>", false},
        {"<a x='&#65;'/>", false},
        {"<a xmlns='urn:a'><b xmlns=''/></a>", false},
        {"<a x='1' x='2'/>", false},
        {"<a xmlns:p='urn:a' xmlns:q='urn:a' p:x='1' q:x='2'/>", false},
        {"<a xmlns:p='urn:a' xmlns:p='urn:b'/>", false},
        {"<a x='1'y='2'/>", false},
        {"<a x='<'/>", false},
        {"<a>]]></a>", false},
        {"<a>\x01</a>", false},
        {"<a>\xef\xbf\xbf</a>", false},
        {"<a>\xed\xa0\x80</a>", false},
        {"<a>\xc0\xaf</a>", false},
        {"<a>&#0;</a>", false},
        {"<a>&#xd800;</a>", false},
        {"<a>&#99999999999;</a>", false},
        {"<a>&unknown;</a>", false},
        {"<a>&amp</a>", false},
        {"<a:b:c xmlns:a='urn:a'/>", false},
        {"<\xc3\xa4/>", false},
        {"<1/>", false},
        {"< a/>", false},
        {"<a / >", false},
        {"<a></ a>", false},
        {"<a/>text", false},
        {"text<a/>", false},
        {"<a>", false},
        {"<a", false},
        {"<a x='", false},
        {"<p:a xmlns:p='urn:p'></a>", false},
        {"<xml:a/>", false},
        {"<a xmlns:xml='http://www.w3.org/XML/1998/namespace'/>", false},
        {"<?xml version='1.1'?><a/>", false},
        {" <?xml version='1.0'?><a/>", false},
        {"<?xml version='1.0'encoding='UTF-8'?><a/>", false},
        {"<a x='1 &lt; 2 &amp; 3'/>", false},
        {"<a>one<?pi two?>three</a>", false},
        {"<a xml:lang='en'/>", false},
        {"<p:a/>", false},
        {"<a p:x='1'/>", false},
        {"<a xmlns:p=''/>", false},
        {ReplyText("billionLaughs.xml"), false},
        {ReplyText("proxyErrorPage.html"), false},
        {"<a>&nbsp;</a>", false},
        {"<a><b></a>", false},
        {"<a/><b/>", false},
        {std::string("<a>\0</a>", 8), false},
        {"", false},
    };
    for (const auto &row : rows) {
        bool isInBlocks = false;
        EXPECT_EQ(PlainShape(row.text), TreeShape(row.text, &isInBlocks)) << row.text.substr(0, 80);
        EXPECT_EQ(row.isInBlocks, isInBlocks) << row.text.substr(0, 80);
    }
}

TEST(SoapTree, TakesNothingThatLibxml2WouldReadInAnotherWay) {
    const std::string seeds[] = {
        ReplyText("login.xml"),
        ReplyText("faultInvalidLogin.xml"),
        "<?xml version='1.0' encoding='UTF-8'?>\n<p:a xmlns:p='urn:p' xmlns='urn:d' p:x='1' "
        "x='2'><b/>"
        "<p:b xmlns:p='urn:q'/></p:a>",
        "<a>&amp;&#65;&#x1F600;\r\n]] \xc3\xa4<b x=\"it's\">t</b></a >\n",
    };
    std::mt19937 random(1);
    int numInBlocks = 0;
    for (int i = 0; i < 20000; i++) {
        const std::string text = Mutated(seeds[gsize(i) % std::size(seeds)], &random);
        bool isInBlocks = false;
        const std::string shape = TreeShape(text, &isInBlocks);
        numInBlocks += isInBlocks;
        if (isInBlocks) {
            ASSERT_EQ(PlainShape(text), shape) << text;
        }
    }
    EXPECT_LT(4000, numInBlocks); // or the test has not looked at much
}

TEST(SoapTree, ADocumentIsReportedOnceAndOnlyIfItIsBad) {
    LogRing_Clear();
    TreeShape("<a x='1'>text</a>");
    EXPECT_EQ("", LogText());

    TreeShape("<a><b></a>");
    EXPECT_THAT(LogText(), HasSubstr("SOAP: tree, line 1: "));
    EXPECT_EQ(2, std::ranges::count(LogText(), '\n'))
        << "what libxml2 itself reports of two mismatches:\n"
        << LogText();
}

TEST(SoapTree, DepthIsLimitedAsInThePlainWay) {
    for (int levels : {200, 256, 257, 300}) {
        const std::string text = Times(levels, "<a>") + Times(levels, "</a>");
        EXPECT_EQ(PlainShape(text) == "refused", TreeShape(text) == "refused") << levels;
    }
    EXPECT_EQ("refused", TreeShape(std::string(300000, '<')));
}

TEST(SoapTree, TreesOfSeveralThreadsShareTheKeptBlocks) {
    const std::string text = ReplyText("retrieveProperties.xml");
    const std::string wanted = PlainShape(text);
    InThreads(4, [&](int) {
        for (int i = 0; i < 50; i++)
            EXPECT_EQ(wanted, TreeShape(text));
    });
}

TEST(SoapTree, ItsMemoryIsLimitedInBothWaysOfReading) {
    const struct {
        const char *name;
        std::string piece;
        gsize bytes; /* at least, of the tree, by piece */
    } rows[] = {
        {"elements", "<a/>", 120},
        {"attributes", "<a b='c'/>", 300},
        {"long values", "<a b='" + std::string(900, 'x') + "'/>", 1200},
        {"namespaces", "<p:a xmlns:p='urn:p'/>", 160},
        {"long namespaces", "<p:a xmlns:p='u" + std::string(900, 'x') + "'/>", 1000},
        {"text", "<a/>" + std::string(900, 'x'), 1100},
        {"text in pieces", "x&lt;", 2},
        {"sections", "<![CDATA[x]]>", 120},
        {"comments", "<!-- -->", 120},
        {"instructions", "<?p q?>", 120},
    };
    for (const auto &row : rows) {
        std::string text = "<a>";
        for (gsize bytes = 0; bytes < 4000000; bytes += row.bytes)
            text += row.piece;
        text += "</a>";
        for (const char *head : {"", "<!-- not plain -->"}) {
            const std::string whole = head + text;
            const auto parses = [&](guint64 limit) {
                return SoapTreePtr(OrvaneSoapTree_Parse(whole.data(), whole.size(), "reply",
                                                        limit)) != nullptr;
            };
            LogRing_Clear();
            EXPECT_FALSE(parses(2000000)) << row.name << head;
            EXPECT_EQ("I SOAP: reply refused: its tree takes more than 2000000 bytes\n", LogText());
            EXPECT_TRUE(parses(40000000)) << row.name << head;
            EXPECT_TRUE(parses(0)) << row.name << head;
        }
    }
}

TEST(SoapTree, ATextThatEndsInsideACharacterIsReadNoFurther) {
    for (const std::string character : {"\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x98\x80"}) {
        for (gsize length = 1; length < character.size(); length++) {
            const std::string text = "<a>" + character.substr(0, length);
            /* of the exact length, so that a sanitizer sees a byte too many */
            const GPtr<char> exact(g_strdup(text.c_str()));
            EXPECT_EQ(nullptr, SoapTreePtr(OrvaneSoapTree_Parse(exact.get(), text.size(), "t", 0)));
        }
    }
}

} // namespace
