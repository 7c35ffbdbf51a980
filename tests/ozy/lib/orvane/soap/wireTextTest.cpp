#include "ozy/lib/orvane/soap/wireText.h"

#include <ctime>

#include <gtest/gtest.h>

#include "tests/support/sanitized.h"

namespace {

/* The lines, apart by newlines, without the two blanks that all begin with. */
std::string Lines(std::string_view body) {
    std::string out = "x";
    WireText_Append(&out, body);
    std::string lines;
    for (size_t at = 1; at < out.size();) {
        EXPECT_EQ("\n  ", out.substr(at, 3));
        const size_t end = std::min(out.find('\n', at + 1), out.size());
        lines.append(lines.empty() ? "" : "\n").append(out, at + 3, end - at - 3);
        at = end;
    }
    return lines;
}

struct Row {
    const char *body;
    const char *text;
};

TEST(WireText, OneElementOnALine) {
    const Row rows[] = {
        {"", ""},
        {"\xef\xbb\xbf<?xml version='1.0'?>\n<a xmlns:x='u'><b x='1'\n y=\"2\">t</b><c/>\n<d> u\n "
         "v </d></a>",
         "<a>\n  <b x=\"1\" y=\"2\">t</b>\n  <c/>\n  <d>u\\n v</d>\n</a>"},
        {"<a>b<!-- c --><d>&lt;<![CDATA[<e>]]></d></a>", "<a>b\n  <d>&lt;<e></d>\n</a>"},
        {"<obj type=\"AuthorizationManager\">AuthorizationManager</obj>",
         "<obj type=\"AuthorizationManager\">AuthorizationManager</obj>"},
        {"<authorizationManager>m</authorizationManager>",
         "<authorizationManager>m</authorizationManager>"},
        {"<a>\x1b[31m\xe2\x80\xae\xff</a>", "<a>\\x1b[31m\\u202e\\xff</a>"},
        /* cut at any place */
        {"<a><b>t</b>", "<a>\n  <b>t</b>"},
        {"<a>t</a", "<a>t"},
        {"<a><b x='1", "<a>\n  <b"},
        {"<a><bc", "<a>"},
        {"<a><", "<a>"},
        {"<a><!-", "<a>"},
        {"<a><![CDA", "<a>"},
        /* no XML */
        {"plain\r\ntext\x1b", "plain\ntext\\x1b"},
        {"<!DOCTYPE html><p>x<br></p>", "<!DOCTYPE html><p>x<br></p>"},
        {"<a></b>", "<a></b>"},
        {"<a b></a>", "<a b></a>"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(row.text, Lines(row.body)) << row.body;
}

TEST(WireText, SecretsAreHidden) {
    const Row rows[] = {
        {"<x><password>#</password><b/></x>",
         "<x>\n  <password>[redacted]</password>\n  <b/>\n</x>"},
        {"<o:Password xsi:type='s'>#</o:Password>", "<o:Password>[redacted]</o:Password>"},
        {"<n9:base64Token a='#'>#</n9:base64Token>", "<n9:base64Token>[redacted]</n9:base64Token>"},
        {"<passphrase>#</passphrase>", "<passphrase>[redacted]</passphrase>"},
        {"<sessionId>#</sessionId>", "<sessionId>[redacted]</sessionId>"},
        {"<licenseKey>#</licenseKey>", "<licenseKey>[redacted]</licenseKey>"},
        {"<token><token>#</token>#</token>", "<token>[redacted]</token>"},
        {"<token><token a='/>'>#</token>#</token>", "<token>[redacted]</token>"},
        {"<token><token/>#</token>", "<token>[redacted]</token>"},
        {"<token><![CDATA[</token>#]]></token>", "<token>[redacted]</token>"},
        {"<token><!--</token>-->#</token>", "<token>[redacted]</token>"},
        {"<token/>", "<token/>"},
        {"<x><cookie>#", "<x>\n  <cookie>[redacted]"},
        {"<cookie a='#", "<cookie"},
        {"<AcquireCloneTicketResponse><returnval>#</returnval></AcquireCloneTicketResponse>",
         "<AcquireCloneTicketResponse>[redacted]</AcquireCloneTicketResponse>"},
        {"<x a='1' password='#' b='2'/>", "<x a=\"1\" password=\"[redacted]\" b=\"2\"/>"},
        /* the name is a value itself */
        {"<x><name>currentSession.key</name><val>#</val></x>",
         "<x>\n  <name>currentSession.key</name>\n  <val>[redacted]</val>\n</x>"},
        {"<x><key>guestinfo.password</key><value>#</value></x>",
         "<x>\n  <key>[redacted]</key>\n  <value>[redacted]</value>\n</x>"},
        {"<x><val>#</val><name>currentSession.key</name></x>",
         "<x>\n  [redacted]\n  <name>currentSession.key</name>\n</x>"},
        {"<x><value>#</value><b/><key>guestinfo.password</key><value>#</value></x><y>z</y>",
         "<x>\n  [redacted]\n  <key>[redacted]</key>\n  <value>[redacted]</value>\n</x>\n<y>z</y>"},
        {"<x><val><a>#</a></val><name>guest1.password</name><val>#",
         "<x>\n  [redacted]\n  <name>guest1.password</name>\n  <val>[redacted]"},
        {"<x><name>pass<!-- - -->word</name><val>#</val></x>",
         "<x>\n  <name>password</name>\n  <val>[redacted]</val>\n</x>"},
        {"<x><name>pass<![CDATA[word]]></name><val>#</val></x>",
         "<x>\n  <name>password</name>\n  <val>[redacted]</val>\n</x>"},
        {"<x><key>pass<?a?>word</key><value>#</value></x>",
         "<x>\n  <key>[redacted]</key>\n  <value>[redacted]</value>\n</x>"},
        {"<x><key>guest.<![CDATA[password]]></key><value>#</value></x>",
         "<x>\n  <key>[redacted]</key>\n  <value>[redacted]</value>\n</x>"},
        /* alone in elements of its own, beside the value or after it */
        {"<x><password><a>#</a></password></x>", "<x>\n  <password>[redacted]</password>\n</x>"},
        {"<x><n><a>guest1.password</a></n><v>#</v></x>",
         "<x>\n  <n>\n    <a>guest1.password</a>\n  </n>\n  <v>[redacted]</v>\n</x>"},
        {"<x><n><a><key>password</key></a></n><v><b>#</b></v></x>",
         "<x>\n  <n>\n    <a>\n      <key>[redacted]</key>\n    </a>\n  </n>\n"
         "  <v>[redacted]</v>\n</x>"},
        {"<x><v>#</v><n><a>guest1.password", "<x>\n  [redacted]\n  <n>\n    <a>guest1.password"},
        {"<x><o><n>guest1.password</n><v>#</v></o><o><n>a</n><v>b</v></o></x>",
         "<x>\n  <o>\n    <n>guest1.password</n>\n    <v>[redacted]</v>\n  </o>\n  <o>\n"
         "    <n>a</n>\n    <v>b</v>\n  </o>\n</x>"},
        {"<item value='#' name='guest1.password'>#</item>",
         "<item value=\"[redacted]\" name=\"[redacted]\">[redacted]</item>"},
        {"<r xsi:type='LocalTicket' u='#'>#</r>",
         "<r xsi:type=\"LocalTicket\" u=\"[redacted]\">[redacted]</r>"},
        /* a text that quotes something */
        {"<m>Cookie: soap=#</m>", "<m>Cookie[redacted]</m>"},
        {"<m>&lt;password&gt;#&lt;/password&gt;</m>", "<m>&lt;password[redacted]</m>"},
        {"<m>&amp;lt;pass&#119;ord&amp;gt;#</m>", "<m>&amp;lt;pass&#119;ord[redacted]</m>"},
        {"<m>{\"apiKey\":\"#\"}</m>", "<m>{\"apiKey[redacted]</m>"},
        {"<m a='token=#'/>", "<m a=\"[redacted]\"/>"},
        {"<m>see https://u:S@h/x?S</m>", "<m>see https://[redacted]@h/x?[redacted]</m>"},
        {"<m a='https://u:S@h/x?a=1&amp;S'/>", "<m a=\"https://[redacted]@h/x?[redacted]\"/>"},
        {"to https://u:S@h/x?S", "to https://[redacted]@h/x?[redacted]"},
        {"<m><![CDATA[<password>#</password>]]></m>", "<m><password[redacted]</m>"},
        {"<html><i>pass</i><i>word</i>&gt;#</html>", "<html><i>pass</i><i>word[redacted]"},
        {"<m>pass&shy;word #</m>", "<m>pass&shy;word[redacted]</m>"},
        {"user=x&password=#", "user=x&password[redacted]"},
        {"<p>x<br></p><password>#</password>", "<p>x<br></p><password>[redacted]</password>"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(row.text, Lines(row.body)) << row.body;
}

/* Every cut of a login, since a limit may be anywhere. */
TEST(WireText, NoCutShowsASecret) {
    const std::string_view login =
        "<e:B><Login xmlns='u'><_this type='S'>S</_this><userName>u</userName>"
        "<password locale='#'>#</password></Login></e:B>";
    for (size_t length = 0; length <= login.size(); length++)
        EXPECT_EQ(std::string::npos, Lines(login.substr(0, length)).find('#')) << length;
}

/* A peer chooses the body: none takes long or becomes much longer. */
TEST(WireText, NoBodyTakesLong) {
    for (const char *part :
         {"<a>", "<key>", "<key/>", "<!--", "<![CDATA[", "<a b='&amp;'/>", "&amp;", "<a>key</a>",
          "<b/><n>key</n>", "a://", "a://@", "://?", "</", "<a ", "\1", "='"}) {
        std::string body = "<x>";
        while (body.size() < 256 * 1024)
            body += part;
        const clock_t start = clock();
        EXPECT_GT(64 * body.size(), Lines(body).size()) << part;
        EXPECT_GT(3 * kSanitizerFactor * CLOCKS_PER_SEC, clock() - start) << part;
    }
}

} // namespace
