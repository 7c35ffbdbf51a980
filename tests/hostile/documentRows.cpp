#include "tests/hostile/rows.h"

namespace hostile {

namespace {

using namespace std::string_literals;

constexpr char kCallFails[] = "connect success ozy25.6.0, call failure.*, disconnect success";
constexpr char kCallEnds[] =
    "connect success ozy25.6.0, call (success|failure.*), disconnect success";
/* what is no document of versions leaves the version of services that have none */
constexpr char kHasOldVersion[] = "connect success ozy2.2.0, .*";
constexpr char kEnds[] = "connect .*";

const std::string kHead = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n\r\n";
const std::string kTime = "<returnval xsi:type=\"xsd:dateTime\">2026-01-02T03:04:05Z</returnval>";

/* The reply to the call, with more in it. */
std::string TimeReply(const std::string &before, const std::string &after = "") {
    return Envelope("<CurrentTimeResponse xmlns=\"urn:ozy25\">" + before + kTime + after +
                    "</CurrentTimeResponse>");
}

/* A row whose body is "start", "times" pieces and "end". Without a length, so that the row stays small. */
Row Body(const std::string &name, const std::string &steps, const std::string &start,
         const std::string &piece = "", int times = 0, const std::string &end = "") {
    return {name, steps, "CurrentTime", kHead + start, piece, times, end, true};
}

/* The body of a row with "start", pieces and "end" before the reply's result. */
Row Inside(const std::string &name, const std::string &steps, const std::string &start,
           const std::string &piece = "", int times = 0, const std::string &end = "") {
    const std::string reply = TimeReply("@HERE@");
    const size_t at = reply.find("@HERE@");
    return Body(name, steps, reply.substr(0, at) + start, piece, times, end + reply.substr(at + 6));
}

std::string Utf16(const std::string &text) {
    std::string wide = "\xff\xfe";
    for (char c : text)
        wide += {c, '\0'};
    return wide;
}

void AddTypes(std::vector<Row> *rows) {
    std::string laughs = "<!DOCTYPE x [<!ENTITY a \"ha\">";
    for (char name = 'b'; name < 'n'; name++)
        laughs += "<!ENTITY "s + name + " \"" + Repeated("&"s + char(name - 1) + ";", 10) + "\">";
    const std::pair<const char *, std::string> types[] = {
        {"laughs", laughs + "]>"},
        {"quadratic", "<!DOCTYPE x [<!ENTITY a \"" + std::string(100000, 'a') + "\">]>"},
        {"empty", "<!DOCTYPE x>"},
        {"a file", "<!DOCTYPE x SYSTEM \"file:///etc/passwd\">"},
        {"an entity of a file", "<!DOCTYPE x [<!ENTITY a SYSTEM \"file:///etc/passwd\">]>"},
        {"a stranger", "<!DOCTYPE x SYSTEM \"http://127.0.0.1:@PORT@/a.dtd\">"},
        {"a parameter entity",
         "<!DOCTYPE x [<!ENTITY % a SYSTEM \"http://127.0.0.1:@PORT@/a.dtd\"> %a;]>"},
        {"default attributes",
         "<!DOCTYPE x [<!ATTLIST x " + Repeated("a CDATA \"b\" ", 1000) + ">]>"},
    };
    const std::string used = Repeated("&a;", 10000) + Repeated("&m;", 100);
    for (const auto &[name, type] : types) {
        std::string text = TimeReply("<x>" + used + "</x>");
        text.insert(text.find("?>") + 2, type);
        rows->push_back(Body("document type, "s + name, kCallFails, text));
        rows->push_back(Body("document type in UTF-16, "s + name, kCallFails,
                             Utf16(type + text.substr(text.find("?>") + 2 + type.size()))));
        rows->push_back(
            Body("document type of the versions, "s + name, kHasOldVersion, type + kVersions));
        rows->back().method = "ozyServiceVersions.xml";
    }
}

void AddBroken(std::vector<Row> *rows) {
    const std::string good = TimeReply("");
    const size_t start = good.find("<CurrentTimeResponse");
    const auto with = [&](const std::string &text) { return TimeReply(text); };
    const std::string texts[] = {
        // clang-format off
        "", " \n ", "\xef\xbb\xbf", "\xff\xfe\0\0"s, "\0\0\xfe\xff"s, "plain text, %s%n%s%n", "<", "<a", "<a b",
        "<a b='", "<?xml", "<?xml version='1.0' encoding='nonsense'?><a/>",
        "<?xml version='1.0' encoding='UTF-16'?><a/>", "<?xml version='9.9'?><a/>", "<a/><b/>", "<a></b>",
        "<a b='1' b='2'/>", "<a:b/>", "<a xmlns:a='' />", "<a>&nothing;</a>", "<a>&#0;</a>", "<a>&#x110000;</a>",
        "<a>&#xd800;</a>", "<a>&#99999999999999999999;</a>", "<a><![CDATA[</a>", "<a><!-- -- --></a>", "<a><?pi</a>",
        "<a>]]></a>", "<a>\x01\x02\x1b[31m</a>", "<a>\xc3</a>", "<a>\xc0\x80</a>", "<a>\xed\xa0\x80</a>",
        "<a>\xf5\x80\x80\x80</a>", "\x1f\x8b\x08",
        // clang-format on
        good.substr(0, start),
        good.substr(0, good.size() - 1),
        good.substr(0, good.size() / 2),
        good + "x",
        with("<a:b/>"),
        with("<a xsi:type=''/>"),
        with("<a xsi:type='nothing:Nothing'/>"),
    };
    int number = 0;
    for (const std::string &text : texts)
        rows->push_back(Body("broken document " + std::to_string(number++), kCallEnds, text));
    for (size_t at : {size_t(0), start, good.size() - 1}) {
        std::string text = good;
        text.insert(at, 1, '\0');
        rows->push_back(Body("NUL at " + std::to_string(at), kCallFails, text));
    }
    rows->push_back(Body("NUL at the end", kAllWell, good + '\0'));
    rows->push_back(Body("NULs at the end and text", kCallFails, good + "\0\0x"s));
}

void AddLarge(std::vector<Row> *rows) {
    for (const auto &[depth, steps] :
         {std::pair(250, kAllWell), {300, kCallFails}, {100000, kCallFails}, {2000000, kCallFails}})
        rows->push_back(Inside("elements of depth " + std::to_string(depth), steps, "", "<a>",
                               depth, depth < 1000 ? Repeated("</a>", depth) : ""));
    /* what cannot be decided at a glance must not be read twice at each level */
    for (int depth : {30, 80}) {
        const std::string faults = Repeated("<fault xsi:type='LocalizedMethodFault'>", depth) +
                                   "<fault xsi:type='xsd:int'>1</fault>" +
                                   Repeated("</fault>", depth);
        const std::string name = "faults of depth " + std::to_string(depth);
        const std::string text =
            Envelope("<soapenv:Fault><detail>" + faults + "</detail></soapenv:Fault>");
        rows->push_back(Body(name, kCallFails, text));
        rows->push_back(Body(name + " before the login", kFails, text));
        rows->back().method = "RetrieveServiceContent";
    }
    std::string attributes;
    std::string names;
    for (int i = 0; i < 50000; i++) {
        attributes += " a" + std::to_string(i) + "=''";
        names += " xmlns:a" + std::to_string(i) + "='b'";
    }
    for (const auto &[name, text] : {std::pair("attributes", attributes), {"namespaces", names}}) {
        rows->push_back(Inside("50,000 "s + name, kCallFails, "<x" + text + "/>"));
        const std::string reply = TimeReply("<x" + text + "/>");
        rows->push_back(Body("50,000 "s + name + " in UTF-16", kCallFails,
                             Utf16(reply.substr(reply.find("?>") + 2))));
        rows->push_back(Body("50,000 "s + name + " in the versions", kHasOldVersion,
                             "<namespaces" + text + "/>"));
        rows->back().method = "ozyServiceVersions.xml";
    }
    rows->push_back(Inside("16 MB of small elements", kCallEnds, "", "<a/>", 4 << 20));
    rows->push_back(Inside("a tree above its limit", kCallFails, "", "<a/>", 1 << 20));
    rows->back().treeLimit = 16 << 20;
    rows->push_back(Body("a tree above its limit in UTF-16",
                         "connect success ozy25.6.0, call failure InvalidResponse .*", Utf16("<x>"),
                         Utf16("<a/>").substr(2), 1 << 20, Utf16("</x>").substr(2)));
    rows->back().treeLimit = 16 << 20;
    rows->push_back(Inside("16 MB of small texts", kCallEnds, "", "<a>b</a>", 2 << 20));
    rows->push_back(
        Inside("16 MB of one text", kCallEnds, "<a>", std::string(1000, 'b'), 16000, "</a>"));
    rows->push_back(Inside("2 MB of references", kCallEnds, "<a>", "&#65;", 400000, "</a>"));
    rows->push_back(Inside("2 MB of comments", kCallEnds, "", "<!---->", 300000));
    rows->push_back(Inside("2 MB of sections", kCallEnds, "", "<![CDATA[a]]>", 150000));
    rows->push_back(
        Inside("an attribute of 16 MB", kCallEnds, "<a b='", std::string(1000, 'c'), 16000, "'/>"));
    rows->push_back(Inside("a name of 1 MB", kCallEnds, "<", std::string(1000, 'c'), 1000, "/>"));
    rows->push_back(
        Inside("a type of 1 MB", kCallEnds, "<a xsi:type='", std::string(1000, 'c'), 1000, "'/>"));
    rows->push_back(
        Body("many versions", kEnds,
             "<namespaces version='1.0'><namespace><name>urn:ozy25</name><priorVersions>",
             "<version>6.0</version>", 200000, "</priorVersions></namespace></namespaces>"));
    rows->back().method = "ozyServiceVersions.xml";
}

/* Numbers and classes that do not fit. */
void AddValues(std::vector<Row> *rows) {
    const auto reply = [](const std::string &value) {
        return Envelope("<CurrentTimeResponse xmlns=\"urn:ozy25\">" + value +
                        "</CurrentTimeResponse>");
    };
    int number = 0;
    for (const char *text :
         {"", "0", "-1", "99999999999999999999-01-01T00:00:00Z", "2026-99-99T99:99:99Z",
          "2026-01-02T03:04:05.9999999999999999999999Z", "2026-01-02T03:04:05+99:99",
          "-2026-01-02T03:04:05Z", "1e9", "2026-01-02"})
        rows->push_back(
            Body("time " + std::to_string(number++), kCallEnds,
                 reply("<returnval xsi:type='xsd:dateTime'>"s + text + "</returnval>")));
    for (const char *type :
         {"xsd:int", "Nothing", "ManagedEntity", "UserSession", "ArrayOfInt", "Task"})
        rows->push_back(Body("a result of type "s + type, kCallEnds,
                             reply("<returnval xsi:type='"s + type + "'>1</returnval>")));
    const std::pair<const char *, const char *> classes[] = {
        {"rootFolder", "Task"},           {"rootFolder", "Nothing"},
        {"rootFolder", "ManagedEntity"},  {"rootFolder", "HostSystem"},
        {"propertyCollector", "Folder"},  {"sessionManager", "Folder"},
        {"authorizationManager", "Task"},
    };
    for (const auto &[property, type] : classes) {
        std::string content;
        for (const auto &[name, its] : {std::pair("rootFolder", "Folder"),
                                        {"propertyCollector", "PropertyCollector"},
                                        {"sessionManager", "SessionManager"},
                                        {"authorizationManager", "AuthorizationManager"}})
            content += Reference(name, name == std::string(property) ? type : its, its);
        rows->push_back(
            {property + " of class "s + type, kEnds, "RetrieveServiceContent",
             Reply("RetrieveServiceContent", content, "xsi:type=\"ServiceContent\"").bytes});
    }
    /* one object under two classes: the first makes the proxy */
    rows->push_back({"one object of two classes", kEnds, "RetrieveServiceContent",
                     Reply("RetrieveServiceContent",
                           Reference("rootFolder", "Folder", "one") +
                               Reference("propertyCollector", "PropertyCollector", "one") +
                               Reference("sessionManager", "SessionManager", "one") +
                               Reference("authorizationManager", "AuthorizationManager", "one"),
                           "xsi:type=\"ServiceContent\"")
                         .bytes});
}

} // namespace

std::vector<Row> DocumentRows() {
    std::vector<Row> rows;
    AddTypes(&rows);
    AddBroken(&rows);
    AddLarge(&rows);
    AddValues(&rows);
    return rows;
}

} // namespace hostile
