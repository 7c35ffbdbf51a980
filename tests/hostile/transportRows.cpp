#include "tests/hostile/rows.h"

namespace hostile {

namespace {

using namespace std::string_literals;

constexpr char kCallFails[] =
    "connect success ozy25.6.0, call failure InvalidResponse .*, disconnect .*";
constexpr char kCallEnds[] = "connect success ozy25.6.0, call (success|failure.*), disconnect .*";
constexpr char kTooLarge[] = "connect success ozy25.6.0, call failure InvalidResponse 48.*";
constexpr char kThere[] = "http://127.0.0.1:@PORT@/sdk";

std::string Moved(const std::string &location) {
    return "HTTP/1.1 307 Moved\r\nContent-Length: 0\r\n" + location + "\r\n\r\n";
}

/* No login reaches another host, however the redirect is written; the forms of URLs are in basicHttpRedirectTest. */
void AddRedirects(std::vector<Row> *rows) {
    for (int status : {300, 301, 302, 303, 305, 307, 308})
        rows->push_back({"status " + std::to_string(status), kFails, "Login",
                         "HTTP/1.1 " + std::to_string(status) +
                             " x\r\nContent-Length: 0\r\nLocation: " + kThere + "\r\n\r\n"});
    for (const char *scheme : {"ftp", "file", "gopher", "dict", "ldap", "smb", "scp", "telnet"})
        rows->push_back({"redirect to "s + scheme, "connect failure InvalidResponse 48.*", "Login",
                         Moved("Location: "s + scheme + "://127.0.0.1:@PORT@/etc/passwd")});

    const std::string rest = "\r\nContent-Length: 0\r\nLocation: "s + kThere + "\r\n\r\n";
    const std::string early = "HTTP/1.1 100 Continue\r\n\r\n";
    const std::pair<const char *, std::string> lines[] = {
        {"two blanks", "HTTP/1.1  307 x" + rest},
        {"a tab", "HTTP/1.1\t307 x" + rest},
        {"an old version", "HTTP/1.0  307 x" + rest},
        {"no reason", "HTTP/1.1 307" + rest},
        {"three blanks and no reason", "HTTP/1.1   307" + rest},
        {"a leading zero", "HTTP/1.1 0307 x" + rest},
        {"a newer version", "HTTP/2 307 x" + rest},
        {"bare line feeds", "HTTP/1.1 307 x\nLocation: "s + kThere + "\nContent-Length: 0\n\n"},
        {"a status before", early + "HTTP/1.1  307 x" + rest},
        {"a location too early",
         "HTTP/1.1 103 x\r\nLocation: "s + kThere + "\r\n\r\nHTTP/1.1 307 x" + rest},
    };
    for (const auto &[name, answer] : lines)
        rows->push_back({"status line with "s + name, kFails, "Login", answer});

    const std::pair<const char *, std::string> headers[] = {
        {"no blank", "Location:"s + kThere},
        {"a tab", "Location:\t"s + kThere},
        {"capitals", "LOCATION: "s + kThere},
        {"a blank before the colon", "Location : "s + kThere},
        {"a folded line", "Location:\r\n "s + kThere},
        {"a second one", "Location: /sdk\r\nLocation: "s + kThere},
        {"a second one that is harmless", "Location: "s + kThere + "\r\nLocation: /sdk"},
        {"a carriage return", "Location: /sdk\rLocation: "s + kThere},
    };
    for (const auto &[name, header] : headers) {
        rows->push_back({"location with "s + name, kFails, "Login", Moved(header)});
        rows->back().maxAttacks = 12;
    }
    rows->push_back({"redirect to itself", "connect failure InvalidResponse 47.*", "Login",
                     Moved("Location: /sdk")});
    rows->back().maxAttacks = 11;
    const std::string moved = Moved("Location: "s + kThere);
    rows->push_back({"redirect of a cookie", kFails, "RetrieveServiceContent", moved});
    rows->back().login = Login::kCookie;
    for (const auto &[name, answer] : lines) {
        rows->push_back({"from TLS, status line with "s + name, kFails, "Login", answer});
        rows->back().isTls = true;
    }
    rows->push_back({"from TLS to the clear", kFails, "ozyServiceVersions.xml", moved});
    rows->back().isTls = true;
}

void AddLengths(std::vector<Row> *rows) {
    const std::string body = Reply("CurrentTime").bytes;
    const std::string document = body.substr(body.find("\r\n\r\n") + 4);
    const std::string ok = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n";
    const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
    const auto length = [&](const std::string &text) {
        return ok + "Content-Length: " + text + "\r\n\r\n" + document;
    };
    const struct {
        const char *name;
        std::string answer;
        const char *steps = kCallFails;
    } once[] = {
        {"length -1", length("-1")},
        {"length of 2^31", length("2147483648"), kCallEnds},
        {"length of 2^32", length("4294967296"), kCallEnds},
        {"length of 2^63", length("9223372036854775808")},
        {"length of 2^63 - 1", length("9223372036854775807"), kCallEnds},
        {"length of 2^64", length("18446744073709551616")},
        {"length of 40 digits", length(std::string(40, '9'))},
        {"length 1e3", length("1e3")},
        {"length in hexadecimal", length("0x40")},
        {"length of nothing", length(""), kCallEnds},
        {"length that is short", length("10")},
        {"length that is long", length("100000"), kCallEnds},
        {"two lengths", ok + "Content-Length: 10\r\nContent-Length: 9999\r\n\r\n" + document,
         kCallEnds},
        {"length and chunks",
         ok + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"},
        {"a folded line with nothing before it", "HTTP/1.1 200 OK\r\n folded: a\r\n\r\n" + document,
         kCallEnds},
        {"no status line", document},
        {"nothing", ""},
        {"noise", std::string(5000, '\x93')},
        {"zeros", std::string(5000, '\0')},
        {"half a head", "HTTP/1.1 200 OK\r\nContent-Le"},
        {"NUL in a header", "HTTP/1.1 200 OK\r\nX-A: b\0c\r\nContent-Length: 0\r\n\r\n"s},
        {"NUL in the status", "HTTP/1.1 2\0000 OK\r\nContent-Length: 0\r\n\r\n"s},
        {"status 204 with a body", "HTTP/1.1 204 x\r\nContent-Length: 5\r\n\r\n<a/>\n"},
        {"status 999", "HTTP/1.1 999 x\r\nContent-Length: 0\r\n\r\n"},
        {"gzip unasked", ok + "Content-Encoding: gzip\r\n\r\n\x1f\x8b\x08", kCallEnds},
        {"chunk of size -1", chunked + "-1\r\nabc\r\n0\r\n\r\n"},
        {"chunk of 2^64", chunked + "10000000000000000\r\nabc\r\n0\r\n\r\n"},
        {"chunk of no number", chunked + "zz\r\nabc\r\n0\r\n\r\n"},
        {"chunk without an end", chunked + "3\r\nabcdef\r\n0\r\n\r\n"},
        {"chunks cut short", chunked + "ff\r\nabc"},
        {"range of 40 digits",
         "HTTP/1.1 206 x\r\nContent-Range: bytes " + std::string(40, '9') + "-1/1\r\n\r\n",
         kCallEnds},
        {"range backwards", "HTTP/1.1 206 x\r\nContent-Range: bytes 9-1/1\r\n\r\n", kCallEnds},
        {"an upgrade", "HTTP/1.1 101 x\r\nUpgrade: h2c\r\n\r\n"},
    };
    for (const auto &row : once) {
        rows->push_back({row.name, row.steps, "CurrentTime", row.answer});
        rows->back().isClosed = true;
        rows->back().maxAttacks = 2;
    }

    const std::string line(1000, 'h');
    const auto endless = [&](const char *name, const std::string &start, const std::string &piece,
                             int times) {
        rows->push_back({name, kCallFails, "CurrentTime", start, piece, times, "\r\n\r\n", true});
        rows->back().maxBytes = 16 << 20;
    };
    endless("header line of 1 MB", "HTTP/1.1 200 OK\r\nX-A: ", line, 1000);
    endless("headers of 64 MB", ok, "X-A: " + line + "\r\n", 64000);
    endless("short headers of 64 MB", ok, "X: y\r\n", 11 << 20);
    endless("status 100 of 64 MB", "", "HTTP/1.1 100 x\r\n\r\n", 4 << 20);
    endless("status 100 with headers of 64 MB", "", "HTTP/1.1 100 x\r\nX-A: " + line + "\r\n\r\n",
            64000);
    endless("trailers of 64 MB", chunked + "5\r\nplain\r\n0\r\n", "X-A: " + line + "\r\n", 64000);
    endless("short trailers of 64 MB", chunked + "5\r\nplain\r\n0\r\n", "X: y\r\n", 11 << 20);
    for (Row *row : {&rows->back(), &rows->back() - 1})
        row->steps = kTooLarge;
    endless("chunk extension of 64 MB", chunked + "5;", line, 64000);
    rows->back().maxBytes = UINT64_MAX; /* costs time alone */
    /* with the element around it: below, at and above the limit */
    for (int size : {999, 1000, 1001}) {
        rows->push_back(
            {"body of " + std::to_string(size) + " of 1000 KB",
             size > 1000 ? kTooLarge : "connect success ozy25.6.0, call failure, disconnect .*",
             "CurrentTime", ok + "\r\n<x>", std::string(1000, 'b'), size, "</x>", true});
        rows->back().bodyLimit = 1000000 + 7;
    }
    rows->push_back({"body without end", kTooLarge, "CurrentTime", ok + "\r\n", line, 64000});
    rows->back().maxBytes = 16 << 20;
    rows->back().bodyLimit = 1 << 20;
}

void AddSecrets(std::vector<Row> *rows) {
    const auto page = [](const std::string &echo) {
        return HttpReply("<html><body>Bad gateway. You sent:<br>" + echo + "<p></html>", 502,
                         "text/html")
            .bytes;
    };
    const struct {
        const char *name;
        const char *echo;
        Login login = Login::kPassword;
        const char *method = "Login";
    } echoes[] = {
        {"as it was", "<userName>root</userName><password>canary-password</password>"},
        {"with attributes", "<password xsi:type='xsd:string'>canary-password</password>"},
        {"with a prefix", "<a:password>canary-password</a:password>"},
        {"escaped", "&lt;password&gt;canary-password&lt;/password&gt;"},
        {"escaped by numbers", "&#60;password&#62;canary-password&#60;/password&#62;"},
        {"without its end", "<password>canary-password"},
        {"a ticket", "<cloneTicket>canary-ticket</cloneTicket>", Login::kTicket, "CloneSession"},
        {"a cookie", "Cookie: session=canary-cookie", Login::kCookie, "RetrieveServiceContent"},
    };
    for (bool hasTrace : {false, true}) {
        for (const auto &row : echoes) {
            rows->push_back(
                {"a page repeats the login, "s + row.name + (hasTrace ? ", traced" : ""), kFails,
                 row.method, page(row.echo)});
            rows->back().hasTrace = hasTrace;
            rows->back().login = row.login;
        }
    }
    rows->push_back(
        {"a cookie is set, traced", kAllWell, "ozyServiceVersions.xml",
         HttpReply(kVersions, 200, "text/xml", {"Set-Cookie: session=canary-cookie; Path=/"})
             .bytes});
    rows->back().hasTrace = true;
    rows->push_back({"a URL that looks like a format", kFails, "Login", page("")});
    rows->back().logged = rows->back().path = "/sdk%s%n%s%n";
}

void AddConnections(std::vector<Row> *rows) {
    /* libcurl sends again automatically what was sent over a connection that had been used before */
    for (const char *method : {"Login", "CreateFilter"})
        rows->push_back({.name = "closes after "s + method + " was read",
                         .steps = "connect .*",
                         .method = method,
                         .isClosed = true,
                         .isEndedBySelf = method == "CreateFilter"s});
    /* the application disconnects while its roles are loaded: each listener still ends */
    rows->push_back({.name = "says nothing while the roles are loaded",
                     .steps = "connect failure RequestCanceled, disconnect success",
                     .method = "CreateFilter",
                     .isEndedBySelf = true});
}

} // namespace

std::vector<Row> TransportRows() {
    std::vector<Row> rows;
    AddRedirects(&rows);
    AddLengths(&rows);
    AddSecrets(&rows);
    AddConnections(&rows);
    return rows;
}

} // namespace hostile
