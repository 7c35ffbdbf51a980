// The stubs that applications call, as the service sees them: every method once with nothing but NULL
// and zero.
#include "ozy/lib/orvane/listener/orvaneListener.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"
#include "tests/ozy/lib/orvane/schema/shippedSchema.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

/* A request's text, taken apart. */
struct Call {
    std::string method;
    std::string id;
    std::string arguments;
};

std::string Between(const std::string &text, const std::string &from, const std::string &to) {
    const size_t start = text.find(from);
    const size_t end = start == std::string::npos ? start : text.find(to, start + from.size());
    return end == std::string::npos ? "none in " + text
                                    : text.substr(start + from.size(), end - start - from.size());
}

Call Parse(const std::string &body) {
    Call call;
    call.method = Between(body, "<soapenv:Body>\n<", " ");
    call.id = Between(Between(body, "<_this type=\"", "/_this>"), "\">", "<");
    call.arguments = Between(body, "</_this>", "</" + call.method + ">\n");
    return call;
}

class StubRows : public SessionTest {
protected:
    void SetUp() override {
        ASSERT_EQ("success", Connect());
        service->server.Answer([](const CannedRequest &) { return ::Fault("NotSupported"); });
        numBefore = service->server.Requests().size();
    }

    /* A proxy of a class, kept until the end of the test. */
    template <class T> T *Proxy(GType type, const std::string &id) {
        SkemaQormManagedObject *proxy =
            orvane_momgr_lookup_or_create(orvane_session_get_momgr(session), id.c_str(), type);
        proxies.emplace_back(G_OBJECT(g_object_ref_sink(proxy)));
        return reinterpret_cast<T *>(proxy);
    }

    std::vector<Call> Calls() const {
        std::vector<Call> calls;
        const auto &requests = service->server.Requests();
        for (size_t i = numBefore; i < requests.size(); i++)
            calls.push_back(Parse(requests[i].body));
        return calls;
    }
    std::vector<ObjectPtr<GObject>> proxies;
    size_t numBefore = 0;
};

/* ---- every method, with NULL and zero only ---- */

bool IsWord(const TableArgument &argument, std::initializer_list<const char *> words) {
    return std::ranges::find(words, argument.type.name) != words.end();
}

/* What is passed by value goes out as zero. */
std::string Zero(const TableArgument &argument) {
    const auto element = [&](const std::string &type, const std::string &text) {
        return "<" + argument.name + " xsi:type=\"" + type + "\">" + text + "</" + argument.name +
               ">";
    };
    if (argument.type.isArray || argument.type.isOptional)
        return "";
    if (IsWord(argument, {"int", "short"}))
        return element("xsd:int", "0");
    if (IsWord(argument, {"boolean", "byte", "long"}))
        return element("xsd:" + argument.type.name, "0");
    const TableType *type = Shipped().Find(argument.type.name);
    if (type != nullptr && type->form == SCHEMA_FORM_ENUM)
        return element(type->name, type->words[0].word);
    return "";
}

std::string Expected(const TableMethod &method, size_t *numNullTexts) {
    std::string text;
    for (const TableArgument &argument : method.arguments) {
        const std::string zero = Zero(argument);
        if (zero.empty() && argument.type.isRequired) {
            if (argument.type.name != "string" || argument.type.isArray)
                break; /* what is required and cannot be written ends the arguments */
            text += "<" + argument.name + " xsi:type=\"xsd:string\">(null)</" + argument.name + ">";
            ++*numNullTexts;
        }
        text += zero;
    }
    return text;
}

GType ResultOf(const TableMethod &method) {
    static const std::map<std::string, GType> kSimple = {
        {"", G_TYPE_NONE},           {"string", G_TYPE_STRING},
        {"boolean", G_TYPE_BOOLEAN}, {"int", G_TYPE_INT},
        {"long", G_TYPE_INT64},      {"any", G_TYPE_VALUE},
        {"short", G_TYPE_INT},       {"dateTime", ORVANE_TYPE_TIMEVAL},
        {"byte", G_TYPE_CHAR},       {"binary", ORVANE_TYPE_BYTE_ARRAY}};
    const auto simple = kSimple.find(method.result.name);
    return simple != kSimple.end()
               ? simple->second
               : g_type_from_name(Shipped().TypeName(method.result.name).c_str());
}

TEST_F(StubRows, EveryMethodSendsItsNameAndNoMoreThanItMust) {
    if (!kIsShippedAlone)
        GTEST_SKIP() << "the library has an overlay's methods as well";
    for (guint i = 0; i < SchemaEngine_Tables()->numTypes; i++)
        orvane_schema_get_type(i); /* also those that no name leads to */
    const Warnings warnings;       /* one for each required text that is NULL */
    size_t numNullTexts = 0;
    guint index = 0;
    std::map<std::string, Call> expected;
    std::vector<std::unique_ptr<Ending>> outcomes;
    for (const TableType &type : Shipped().model.types) {
        for (const TableMethod &method : type.methods) {
            const std::string id = "m-" + std::to_string(index);
            expected[id] = {method.wireName, id, Expected(method, &numNullTexts)};
            outcomes.push_back(std::make_unique<Ending>());
            OrvaneListener *listener = outcomes.back()->listener;
            auto *proxy = Proxy<void>(g_type_from_name(Shipped().NamesOf(type).type.c_str()), id);
            /* zero in a register or on the stack is any kind of argument that the schema has */
            orvane_schema_invoke(index++, proxy, listener, nullptr, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
            gboolean isArray = 7;
            const GType result = orvane_listener_get_return_type(listener, &isArray);
            EXPECT_STREQ(g_type_name(ResultOf(method) == G_TYPE_NONE ? 0 : ResultOf(method)),
                         g_type_name(result == G_TYPE_NONE ? 0 : result))
                << method.wireName;
            EXPECT_EQ(method.result.isArray, isArray) << method.wireName;
            if (index % 32 == 0)
                testLoop::RunUntil([&] { return outcomes.back()->times > 0; });
        }
    }
    testLoop::RunUntil([&] {
        return std::ranges::all_of(outcomes, [](const auto &ending) { return ending->times > 0; });
    });
    for (const auto &ending : outcomes)
        EXPECT_EQ("failure NotSupported", ending->text);

    const std::vector<Call> calls = Calls();
    EXPECT_EQ(1191u, calls.size());
    for (const Call &call : calls) {
        EXPECT_EQ(expected[call.id].method, call.method) << call.id;
        EXPECT_EQ(expected[call.id].arguments, call.arguments) << call.method;
        expected.erase(call.id);
    }
    EXPECT_TRUE(expected.empty()) << expected.begin()->second.method << " never came";
    EXPECT_EQ(numNullTexts, warnings.texts.size());
}

} // namespace
