/* Replies that are read in pieces: values, log lines, failed checks and proxies are those of reading all nodes at once. */
#include <algorithm>
#include <numeric>

#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "tests/ozy/lib/orvane/schema/filledObjects.h"
#include "tests/ozy/lib/orvane/soap/envelope.h"
#include "tests/ozy/lib/orvane/soap/keeper.h"
#include "tests/ozy/lib/orvane/soap/mutations.h"
#include "tests/support/logText.h"

namespace {

constexpr gsize kPieceBytes[] = {60, 200, 700, 3000};

using filledObjects::TellValue;

/* One value of each kind, as properties of a retrieved object or of an update. */
std::string Values(const char *element, const char *op) {
    std::string all;
    for (const char *value : {
             "<val xsi:type='xsd:string'>a&lt;b, which is longer than its first part</val>",
             "<val xsi:type='xsd:int'>7</val>",
             "<val xsi:type='ArrayOfManagedObjectReference'><ManagedObjectReference "
             "type='Datastore'>"
             "d-1</ManagedObjectReference><ManagedObjectReference type='Datastore'>d-2"
             "</ManagedObjectReference></val>",
             "<val xsi:type='UserSession'><userName>u</userName><key>k</key>"
             "<loginTime>2014-03-01T09:26:53Z</loginTime><key>second</key></val>",
             "<val xsi:type='LocalizedMethodFault'><fault xsi:type='NoPermission'><object "
             "type='Folder'>group-1</object></fault><localizedMessage>no</localizedMessage></val>",
             "<val "
             "xsi:type='ArrayOfPropertyChange'><PropertyChange><name>n</name><op>add</op></"
             "PropertyChange>"
             "<PropertyChange/></val>",
             "<val xsi:type='xsd:dateTime'>yesterday</val>",
             "<val type='Task'/>",
         })
        all += "<" + std::string(element) + "><name>p</name>" + op + value + "</" + element + ">\n";
    return all;
}

struct Reply {
    ReplyShape shape;
    std::string text;
};

std::vector<Reply> Replies() {
    const std::string properties = Values("propSet", "");
    const std::string changes = Values("changeSet", "<op>assign</op>");
    std::string objects;
    std::string contents;
    std::string updates;
    for (const char *id : {"vm-1", "vm-2", "vm-3"}) {
        const std::string object = std::string("<obj type='VirtualMachine'>") + id + "</obj>";
        objects += "<objects>" + object + properties + "</objects>";
        contents += "<returnval>" + properties + object + "</returnval>\n";
        updates += "<objectSet><kind>modify</kind>" + object + changes + "</objectSet>";
    }
    return {
        {{"RetrievePropertiesEx", orvane_lookup_type("RetrieveResult")},
         ResponseText("RetrievePropertiesEx",
                      "<returnval><token>7</token>" + objects + "</returnval>")},
        {{"RetrieveProperties", orvane_lookup_type("ObjectContent"), true},
         ResponseText("RetrieveProperties", contents)},
        {{"WaitForUpdatesEx", orvane_lookup_type("UpdateSet")},
         ResponseText("WaitForUpdatesEx",
                      "<returnval><filterSet><filter type='PropertyFilter'>f</filter>" + updates +
                          "<missingSet><obj type='Folder'>group-2</obj><path>x</path>"
                          "<fault><fault xsi:type='NoPermission'/></fault></missingSet>"
                          "</filterSet><version>8</version></returnval>")},
    };
}

/* Everything that reading a reply leaves behind, as text. */
struct Outcome {
    std::string value = "refused";
    std::string lines;
    std::vector<std::string> checks;
    std::vector<std::string> proxies; /* while the value exists, and when it is released */
    bool isInBlocks = false;

    bool operator==(const Outcome &) const = default;
};

void AddProxies(OrvaneMOMgr *momgr, std::vector<std::string> *to) {
    const gsize first = to->size();
    GHashTableIter all;
    gpointer id = nullptr;
    gpointer proxy = nullptr;
    g_hash_table_iter_init(&all, momgr->priv->objectsById);
    while (g_hash_table_iter_next(&all, &id, &proxy))
        to->push_back(std::string(static_cast<char *>(id)) + " " + G_OBJECT_TYPE_NAME(proxy) + " " +
                      std::to_string(G_OBJECT(proxy)->ref_count));
    std::sort(to->begin() + std::ptrdiff_t(first), to->end());
}

Outcome Read(const std::string &text, const ReplyShape &shape, const SoapTreeLimits &limits) {
    const ObjectPtr<OrvaneSession> session(orvane_session_new());
    session->priv->moMgr = orvane_momgr_new(session.get());
    Outcome outcome;
    Warnings warnings;
    Value value;
    LogRing_Clear();
    SoapTreePtr tree(OrvaneSoapTree_ParsePieces(text.data(), text.size(), "reply", limits));
    if (tree != nullptr) {
        outcome.isInBlocks = OrvaneSoapTree_IsInBlocks(tree.get());
        xmlNode *body = FindElement(OrvaneSoapTree_Root(tree.get()), "Body");
        const bool isRead =
            body != nullptr && OrvaneSoap_ReadBody(session.get(), shape.method, tree.get(), body,
                                                   shape.type, shape.isArray, value.get());
        outcome.value = isRead ? "read " : "not read ";
    }
    tree.reset();
    outcome.lines = LogText();
    outcome.checks = warnings.texts;
    AddProxies(session->priv->moMgr, &outcome.proxies);
    if (value.IsSet())
        outcome.value += TellValue(value.get());
    value = Value();
    AddProxies(session->priv->moMgr, &outcome.proxies);
    return outcome;
}

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    out << outcome.value << "\n" << outcome.lines;
    for (const auto *list : {&outcome.checks, &outcome.proxies}) {
        for (const std::string &text : *list)
            out << text << "; ";
    }
    return out;
}

TEST(SoapPieces, AreReadAsAllNodesAtOnce) {
    const std::vector<Reply> replies = Replies();
    /* with --gtest_shuffle, each repetition has faults of its own */
    std::mt19937 random(unsigned(testing::UnitTest::GetInstance()->random_seed()));
    int numInBlocks = 0;
    int numChecks = 0;
    for (int i = 0; i < 1200; i++) {
        const auto &[shape, whole] = replies[gsize(i) % replies.size()];
        std::string text = i % 4 == 0 ? Mutated(whole, &random) : Restructured(whole, &random);
        if (i % 2 == 0)
            text = Changed(text, &random);
        const Outcome wanted = Read(text, shape, {});
        const Outcome pieces = Read(text, shape, {.pieceBytes = kPieceBytes[gsize(i) % 4]});
        ASSERT_EQ(wanted, pieces) << text;
        numInBlocks += wanted.isInBlocks;
        numChecks += !wanted.checks.empty();
    }
    EXPECT_LT(600, numInBlocks); // or the test has not looked at much
    EXPECT_LT(300, numChecks);
}

TEST(SoapPieces, ATextThatIsNotWellFormedHasNoEffect) {
    for (const auto &[shape, whole] : Replies()) {
        for (gsize length = whole.size() - 60; length < whole.size(); length++) {
            const Outcome outcome = Read(whole.substr(0, length), shape, {.pieceBytes = 200});
            EXPECT_EQ("refused", outcome.value);
            EXPECT_THAT(outcome.checks, IsEmpty());
            EXPECT_THAT(outcome.proxies, IsEmpty());
        }
    }
}

std::vector<Kept> TwoTexts() {
    constexpr auto kFlags =
        static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT | G_PARAM_STATIC_STRINGS);
    return {{g_param_spec_string("one", "", "", "", kFlags)},
            {g_param_spec_string("two", "", "", "", kFlags)}};
}

TEST(SoapPieces, TextsOfAnObjectOfTheApplicationOutliveTheirPieces) {
    static const GType type =
        RegisterKeeper(orvane_lookup_type("DataObject"), "TestTwoTexts", TwoTexts);
    const std::string text =
        ResponseText("Get", "<returnval><one>" + std::string(100, 'a') + "</one><two>" +
                                std::string(100, 'b') + "</two></returnval>");
    EXPECT_EQ(Read(text, {"Get", type}, {}), Read(text, {"Get", type}, {.pieceBytes = 150}));
}

/*
 * However the bytes of a reply are spread over long and short elements, pieces and faults: nodes and open pieces together
 * take no more than the nodes of the whole text would, apart from unused parts of the blocks.
 */
TEST(SoapPieces, TheLimitOfTheTreeIsThatOfAllMemory) {
    constexpr gsize kLength = 1 << 20;
    constexpr gsize kUnused = 2 << 20; /* a block that is left for a longer text, too */
    constexpr guint64 kStep = 1 << 17;
    const auto repeat = [](const std::string &what) {
        std::string all;
        while (all.size() < kLength)
            all += what;
        return all;
    };
    const std::string change = "<PropertyChange><name>n</name><op>add</op><val "
                               "xsi:type='UserSession'><key>k</key></val></PropertyChange>";
    const std::string list = "xsi:type='ArrayOfPropertyChange'>" + repeat(change);
    const std::string fault =
        "<fault xsi:type='NoPermission'>" +
        repeat("<faultMessage><key>k</key><message>m</message></faultMessage>") +
        "<object type='Folder'>g</object></fault>";
    const struct {
        const char *name;
        std::string text;
        ReplyShape shape;
    } rows[] = {
        {"results",
         repeat(
             "<returnval><obj type='Folder'>f</obj><propSet><name>n</name><val xsi:type='xsd:int'>"
             "7</val></propSet></returnval>"),
         {"RetrieveProperties", orvane_lookup_type("ObjectContent"), true}},
        {"a value",
         "<returnval><name>n</name><val " + list + "</val></returnval>",
         {"Get", orvane_lookup_type("PropertyChange")}},
        {"a fault",
         "<returnval><name>n</name><val xsi:type='LocalizedMethodFault'>" + fault +
             "<localizedMessage>m</localizedMessage></val></returnval>",
         {"Get", orvane_lookup_type("PropertyChange")}},
        {"a text",
         "<returnval><name>" + repeat("a&lt;b") + "</name></returnval>",
         {"Get", orvane_lookup_type("PropertyChange")}},
    };
    for (const auto &row : rows) {
        const std::string text = ResponseText(row.shape.method, row.text);
        const auto parse = [&](guint64 maxBytes) {
            return SoapTreePtr(
                OrvaneSoapTree_ParsePieces(text.data(), text.size(), row.name, {maxBytes, 16384}));
        };
        guint64 least = 0;
        for (guint64 step = 1 << 24; step >= kStep; step /= 2)
            least += parse(least + step) != nullptr ? 0 : step;
        least += kStep;

        SoapBlocks_ReleaseKept();
        const ObjectPtr<OrvaneSession> session(orvane_session_new());
        session->priv->moMgr = orvane_momgr_new(session.get());
        const SoapTreePtr tree = parse(least);
        ASSERT_NE(nullptr, tree) << row.name;
        Value value;
        EXPECT_TRUE(OrvaneSoap_ReadBody(session.get(), row.shape.method, tree.get(),
                                        FindElement(OrvaneSoapTree_Root(tree.get()), "Body"),
                                        row.shape.type, row.shape.isArray, value.get()));
        EXPECT_GE(least + kUnused, OrvaneSoapTree_HeldBytes(tree.get())) << row.name;
    }
}

/* The names of the elements below a node that exist. */
std::string Names(const xmlNode *node) {
    std::string names;
    for (; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE)
            names += std::string(names.empty() ? "" : " ") +
                     reinterpret_cast<const char *>(node->name) +
                     (node->children != nullptr ? "(" + Names(node->children) + ")" : "");
    }
    return names;
}

TEST(SoapPieces, OnlyWhatRepeatsInAResultIsAPiece) {
    const std::string item = "<i a='1'>" + std::string(50, 'x') + "</i>";
    const std::string object = "<o>" + item + item + item + "</o>";
    const auto reply = [](const std::string &inner) {
        return "<E><B><R>" + inner + "</R></B></E>";
    };
    const struct {
        const char *name;
        std::string text;
        const char *left;
    } rows[] = {
        {"one small result", reply("<returnval>" + object + "</returnval>"), "E(B(R(returnval)))"},
        {"results",
         reply("<returnval>" + object + "</returnval><returnval>" + object + "</returnval>"),
         "E(B(R(returnval returnval)))"},
        {"objects of a result", reply("<returnval>" + object + object + "<t>1</t></returnval>"),
         "E(B(R(returnval(o o t))))"},
        {"no result", reply("<other>" + object + "</other>"), "E(B(R(other(o(i i i)))))"},
        {"a result elsewhere", "<E><B><returnval>" + object + "</returnval></B></E>",
         "E(B(returnval(o(i i i))))"},
        {"deep",
         reply("<returnval><b><c><d><e><f><g><h><j>" + object + object + object +
               "</j></h></g></f></e></d></c></b></returnval>"),
         "E(B(R(returnval(b(c(d(e(f(g(h(j(o(i i i) o(i i i) o(i i i)))))))))))))"},
        {"elements of a change's value",
         reply("<returnval><filterSet><objectSet><changeSet><val>" + object + object +
               "</val></changeSet></objectSet></filterSet></returnval>"),
         "E(B(R(returnval(filterSet(objectSet(changeSet(val(o o))))))))"},
        {"a fault",
         reply("<returnval><e><fault>" + object + object + "</fault><localizedMessage>" +
               std::string(300, 'x') + "</localizedMessage></e></returnval>"),
         "E(B(R(returnval(e(fault(o o) localizedMessage)))))"},
        {"a long text", reply("<returnval>" + std::string(900, 'x') + "</returnval>"),
         "E(B(R(returnval)))"},
    };
    for (const auto &row : rows) {
        const SoapTreePtr tree(OrvaneSoapTree_ParsePieces(row.text.data(), row.text.size(),
                                                          row.name, {.pieceBytes = 400}));
        std::string left = Names(OrvaneSoapTree_Root(tree.get()));
        left.erase(std::remove_if(left.begin(), left.end(), [](char c) { return c == '\n'; }),
                   left.end());
        /* a text is a child, too */
        for (gsize at; (at = left.find("()")) != left.npos;)
            left.erase(at, 2);
        EXPECT_EQ(row.left, left) << row.name;
    }
}

TEST(SoapPieces, OnlyALongReplyHasThem) {
    for (const gsize length : {gsize(1000), gsize(1040000), gsize(1050000)}) {
        std::string results;
        while (results.size() < length)
            results += "<returnval>" + std::string(300, 'x') + "<a/></returnval>";
        const std::string text = "<E><B><R>" + results + "</R></B></E>";
        const SoapTreePtr tree(OrvaneSoapTree_ParseReply(text.data(), text.size(), 0));
        const xmlNode *result = FindElement(OrvaneSoapTree_Root(tree.get()), "returnval");
        EXPECT_EQ(length > 1 << 20, result->children == nullptr) << length;
    }
}

TEST(SoapPieces, LimitsAreTheSame) {
    const Reply reply = Replies()[2];
    const auto isRead = [&](const std::string &text, guint64 maxBytes, gsize pieceBytes) {
        return SoapTreePtr(OrvaneSoapTree_ParsePieces(text.data(), text.size(), "reply",
                                                      {maxBytes, pieceBytes})) != nullptr;
    };
    guint64 least = 0;
    for (guint64 step = 1 << 20; step > 0; step /= 2)
        least += isRead(reply.text, least + step, 0) ? 0 : step;
    least++;
    for (gsize pieceBytes : kPieceBytes) {
        EXPECT_TRUE(isRead(reply.text, least, pieceBytes)) << pieceBytes;
        EXPECT_FALSE(isRead(reply.text, least - 1, pieceBytes)) << pieceBytes;
    }
    for (int depth : {190, 196, 197, 198, 300}) {
        const std::string deep = Times(depth, "<a>") + Times(depth, "</a>");
        const std::string text = ResponseText("X", "<returnval>" + deep + "</returnval>");
        EXPECT_EQ(isRead(text, 0, 0), isRead(text, 0, 3000)) << depth;
    }
}

} // namespace
