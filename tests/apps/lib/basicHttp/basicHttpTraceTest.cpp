// The trace: when it is on, what it shows, and what it hides.
#include "tests/apps/lib/basicHttp/httpFixture.h"

#include <regex>

#include "tests/support/sanitized.h"

namespace {

using BasicHttpTrace = BasicHttpFixture;

TEST_F(BasicHttpTrace, IsOnByAnyValueButZero) {
    const std::pair<const char *, bool> rows[] = {{nullptr, false}, {"", true},  {"0", false},
                                                  {"00", true},     {"1", true}, {"no", true}};
    for (const auto &[value, isOn] : rows) {
        if (value)
            g_setenv("HALDEN_BASICHTTP_TRACE", value, TRUE);
        else
            g_unsetenv("HALDEN_BASICHTTP_TRACE");
        InitAgain();
        EXPECT_EQ(isOn, basicHttpTrace) << (value ? value : "not set");
    }
}

TEST_F(BasicHttpTrace, ShowsATransferWithoutItsSecrets) {
    g_setenv("HALDEN_BASICHTTP_TRACE", "1", TRUE);
    InitAgain();
    const std::string reply = "<reply><cloneTicket>HIDDEN4</cloneTicket><name>shown</name></reply>";
    AnswerAll(
        HttpReply(reply, 200, "text/xml", {"Set-Cookie: soap=HIDDEN1; Path=/", "X-Own: shown"}));
    BasicHttpCookieJar *jar = NewJar();
    for (int i = 0; i < 2; i++) {
        BasicHttpRequest *request =
            Request("/x", BASICHTTP_METHOD_POST, "<password>HIDDEN2</password>", jar);
        BasicHttp_SetRequestNameAndPassword(request, BASICHTTP_AUTH_BASIC, "u", "HIDDEN3");
        Run(request);
    }
    const std::string log = LogText();
    for (const std::string &text :
         {std::string("BasicHTTP: SENDING SENDING SENDING SENDING SENDING SENDING"),
          "  URL: " + server.Url("/x"),
          std::string("BasicHTTP: RECEIVED RECEIVED RECEIVED RECEIVED RECEIVED RECEIVED"),
          "  Content-Length: " + std::to_string(reply.size()) + ".",
          std::string("  Content: <reply><cloneTicket>[redacted]</cloneTicket><name>shown</name>"),
          std::string("BasicHTTP: curl (TEXT) on request "),
          std::string("BasicHTTP: curl (HEADER_IN) on request "),
          std::string("BasicHTTP: curl (HEADER_OUT) on request "), std::string("X-Own: shown"),
          std::string("Cookie: [redacted]"), std::string("Authorization: [redacted]"),
          std::string(": 28 bytes of data.")})
        EXPECT_NE(std::string::npos, log.find(text)) << text;
    for (const char *secret : {"HIDDEN", "dTpISURERU4z"})
        EXPECT_EQ(std::string::npos, log.find(secret)) << log;
}

/* In a marked text braces are around each part that must not be shown. */
void ExpectHidden(std::string (*redact)(std::string_view), const std::string &marked) {
    const std::string text = std::regex_replace(marked, std::regex("[{}]"), "");
    EXPECT_EQ(std::regex_replace(marked, std::regex("\\{[^}]*\\}"), "[redacted]"), redact(text));
}

TEST_F(BasicHttpTrace, SecretHeadersAreHidden) {
    for (const char *marked :
         {"X: 1\r\n", "cookie: {a=b\r}\n",
          "GET / HTTP/1.1\r\nProxy-Authorization: {Basic x\r}\nHost: h\r\n\r\n",
          "X-Cookie{: a}\n{ folded}\nX: 1\n", "GET /?sessionId{=1 HTTP/1.1\r}\n",
          "Location: https://h/sdk\r\n", "location:https://{u:p}@h/sdk?{t=1#f}",
          "Location: //{u:p}@h/sdk", "Location: /sdk?{sid=1}", "Content-Location: x?{sid=1}",
          "Refresh: 0; url=/sdk?{sid=1}", "Link: <http://h/a?{sid=1>; rel=x}",
          "X: see http://{u}@h/a?{b} c"})
        ExpectHidden(BasicHttpRedactHeaders, marked);
    EXPECT_EQ("SET-COOKIE: [redacted]", BasicHttpRedactHeaders("SET-COOKIE:a=b"));
}

TEST_F(BasicHttpTrace, SecretsInRemarksAreHidden) {
    for (const char *marked : {"Connected to h (1.2.3.4) port 80 (#0)\n",
                               "Replaced cookie soap={\"abc\" for domain h, path /, expire 0}\n",
                               "h2h3 [cookie:{ soap=abc]}\n", "h2h3 [authorization:{ Basic x]}\n",
                               "Issue another request to this URL: 'http://h/?{ticket=1}'\n"})
        ExpectHidden(BasicHttpRedactText, marked);
}

TEST_F(BasicHttpTrace, SecretsInUrlsAreHidden) {
    for (const char *marked :
         {"<a>http://h:80/x 12:34:56 a://b</a>", "(https://{u:p}@h/)",
          "\"https://{u:p/w}@h/\" 'http://h?{q}' http://h#{f}", "http://{u:p?w@h/}",
          "https:\\/\\/{u:p}@h\\/x?{q}", "<a>http://h/?{a=1&amp;b=}&lt;&#64;2</a>"})
        ExpectHidden(BasicHttpRedactContent, marked);
    EXPECT_EQ("https%3A%2F%2F[redacted]@h%2Fx%[redacted]",
              BasicHttpRedactContent("https%3A%2F%2Fu%3Ap%40h%2Fx%3Fq"));
    EXPECT_EQ("http&#58;//[redacted]@h/&#x26;a",
              BasicHttpRedactContent("http&#58;//u&#x40;h/&#x26;a"));
    const std::pair<const char *, const char *> urls[] = {
        {"https://u:p@host:443/sdk?x#y", "https://host:443/sdk"},
        {"host/sdk", "host/sdk"},
        {"http://[fe80::1%25eth0]/sdk", "http://[fe80::1%25eth0]/sdk"},
        {"http://h/a?b@c", "http://[redacted]"},
        {"http://h/\x1b[0m", "http://h/\\x1b[0m"},
    };
    for (const auto &[text, shown] : urls)
        EXPECT_STREQ(shown, GPtr<char>(BasicHttp_RedactUrl(text)).get());
}

TEST_F(BasicHttpTrace, SecretElementsAreHidden) {
    for (const char *marked : {"<a>b</a>",
                               "<password>{p}</password><b/>",
                               "<o:Password{ xsi:type=\"s\">p}</o:Password>",
                               "<password{ a='/>'>p}</password><password{ value='p'/>}",
                               "<token>{<token>a</token>b}</token>c",
                               "<password>{a&lt;/password&gt;b}</password>",
                               "<a-b.password>{p}</a-b.password>c",
                               "<localTicket>{<file>f</file>}</localTicket>c",
                               "<base64Token>{t}</base64Token><cookie>{c}</cookie>",
                               "<token/><a>b</a><token></token>",
                               "<password>{cut}",
                               "<password>{<![CDATA[<x>]]>}</password>",
                               "<password",
                               "<password{ x}",
                               "<passphrase>{p}</passphrase><key>{k}</key><keys>1</keys>",
                               "<token/><a>b</a><token{ x='1' />}",
                               "<token>{a</tokens>b}",
                               "<pre>&lt;password&gt;{p}&lt;/password&gt;</pre>",
                               "&LT;n1:Password{ xsi:type=&quot;s&quot;&GT;p}&LT;/n1:Password&GT;c",
                               "&amp;lt;password&amp;gt;{p}&amp;lt;/password&amp;gt;",
                               "&#60;password&#062;{p}&#60;&#x2f;password&#x03E;",
                               "%3Cpassword%3E{p}%3C%2Fpassword%3E",
                               "%253Cpassword%253E{p}%253C/password",
                               R"(\u003cpassword\u003E{p}\u003C\/password>)",
                               R"(\u003cpassword\u003E{p<\/password>})",
                               R"(\\x3cpassword\\x3e{p}\\x3c\\/password)",
                               "&lt;token/&gt;&lt;a&gt;b",
                               "<pre>POST /\nCookie{: soap=1\nX: 1</pre>}",
                               "<b>Authorization{: Basic eDp5</b>}",
                               "<i>pass</i><i>word{</i>&gt;p}",
                               "&lt;i&gt;pass&lt;/i&gt;word{ p}",
                               "pas&Tab;sword{ p}",
                               "pas&shy;sw&ZeroWidthSpace;ord{ p}",
                               "a &lt;b&gt; &copy; c",
                               "no <",
                               ""})
        ExpectHidden(BasicHttpRedactContent, marked);
}

/* Forms that nobody foresaw: what follows the name of a secret is not shown. */
TEST_F(BasicHttpTrace, WhatFollowsASecretsNameIsHidden) {
    const std::pair<const char *, const char *> names[] = {
        {"the name itself", "password"},
        {"upper case", "PASSWORD"},
        {"within another", "user_newPassword"},
        {"another", "ticket"},
        {"another", "base64Token"},
        {"another", "Cookie"},
        {"another", "passphrase"},
        {"another", "sessionId"},
        {"another", "apiKey"},
        {"a line end", "pass\nword"},
        {"a line end of a mail", "pass=\r\nword"},
        {"a line end as JSON has it", R"(pass\r\n  word)"},
        {"a soft hyphen", "pass\xc2\xadword"},
        {"a control byte", "pass\1word"},
        {"numbers", "&#112;&#x00000000000061;&#0000000115;sword"},
        {"numbers of a URL", "%70a%73sword"},
        {"numbers of JSON", R"(\u0070\x61\u{73}\163word)"},
        {"numbers of a mail", "=70a=73sword"},
        {"escaped twice", "&amp;#37;70assword"},
        {"escaped thrice", R"(\u0025252570assword)"},
    };
    const char *forms[] = {"=#p&x",         "\":\"#p\"}",          ":#p",
                           "</b><i>#p</i>", "\\76#p\\74/password", "+AD4-#p+ADw-/password",
                           "%26gt%3B#p",    "&#00000000062;#p"};
    for (const auto &[what, name] : names) {
        for (const char *form : forms) {
            const std::string before = "<b>shown " + std::string(name);
            EXPECT_EQ(before + "[redacted]", BasicHttpRedactContent(before + form).substr(0, 99))
                << what;
        }
    }
    for (const char *shown :
         {"<p>passing words</p>", "keys, keyboards", R"(ke\u{79}s)", "50% =a &#"})
        EXPECT_EQ(shown, BasicHttpRedactContent(shown));
}

/* A peer chooses the text: none takes longer than a plain one, but for a factor. */
TEST_F(BasicHttpTrace, NoTextTakesLong) {
    for (const char *part : {"<", "<key ", "<key x/>", "&amp;", "\\", "%25", "<key>", "</key",
                             "&#0", "ke y", "\\u{0"}) {
        std::string text;
        while (text.size() < 32 * 1024)
            text += part;
        const clock_t start = clock();
        for (const char *tail : {"", ">", "/>", "</key>"})
            BasicHttpRedactContent(text.substr(0, 32 * 1024 - 6) + tail);
        EXPECT_GT(kSanitizerFactor * CLOCKS_PER_SEC, clock() - start) << part;
    }
    EXPECT_EQ(nullptr, BasicHttp_Redact(nullptr));
    const GPtr<char> cut(BasicHttp_Redact(std::string(1 << 20, 'x').c_str()));
    EXPECT_EQ(32u * 1024, strlen(cut.get()));
}

} // namespace
