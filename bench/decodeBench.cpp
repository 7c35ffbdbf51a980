// How long does a big reply take from its text to typed objects and back to nothing, compared with
// merely parsing that text into a tree and freeing it?
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <libxml/parser.h>

#include <orvane/orvane.h>

#include "bench/ratio.h"
#include "bench/replyText.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

namespace {

constexpr int kNumObjects = 10000;

/* A list of sessions: 12 properties each, of five kinds. */
const std::string &SessionsText() {
    static const std::string text = [] {
        std::string all;
        for (int i = 0; i < kNumObjects; i++) {
            all += fmt::format(
                "<returnval><dynamicType>UserSession</dynamicType><key>52b5395a-{0}</key>"
                "<userName>operator-{0}</userName><fullName>Operator {0}</fullName>"
                "<loginTime>2014-03-01T09:26:53.589793Z</loginTime>"
                "<lastActiveTime>2014-03-01T10:11:12.131415Z</lastActiveTime>"
                "<locale>en</locale><messageLocale>en</messageLocale>"
                "<extensionSession>false</extensionSession><ipAddress>192.0.2.17</ipAddress>"
                "<userAgent>Orvane/1.0</userAgent><callCount>{0}</callCount></returnval>\n",
                i);
        }
        return ReplyText("ListSessions", all);
    }();
    return text;
}

void Ours(benchmark::State &state) {
    const std::string &text = SessionsText();
    const GType type = orvane_lookup_type("UserSession");
    for (auto _ : state) {
        SoapTreePtr tree(OrvaneSoapTree_Parse(text.data(), text.size(), "noname.xml", 0));
        GValue value = G_VALUE_INIT;
        orvane_soap_deserialize(nullptr, "ListSessions", BodyOf(OrvaneSoapTree_Root(tree.get())),
                                type, TRUE, &value);
        tree.reset();
        const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(&value));
        if (array->n_values != kNumObjects)
            state.SkipWithError("objects are missing");
        g_value_unset(&value);
    }
}

void Peer(benchmark::State &state) {
    const std::string &text = SessionsText();
    for (auto _ : state)
        xmlFreeDoc(
            xmlReadMemory(text.data(), static_cast<int>(text.size()), "noname.xml", nullptr, 0));
}

BENCHMARK(Ours)->Name("decode/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Peer)->Name("decode/peer")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv) {
    constexpr RatioRow kRows[] = {
        {"decode", "10,000 objects of 12 properties read and released, against parsing", 1.2}};
    return Ratio_Main(argc, argv, kRows);
}
