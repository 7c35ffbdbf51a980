// Methods by name: their descriptions, and calls that are sent as those of the stubs are.
#include <orvane/method.h>

#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

using MethodPtr = std::unique_ptr<OrvaneMethodInfo, Release<orvane_method_info_free>>;

std::string TypeText(GType type, GType elementType) {
    return elementType != 0 ? std::string(g_type_name(elementType)) + "[]" : g_type_name(type);
}

/* "ManagedEntity: newName gchararray r -> SkemaOzyTask"; r, o, l and u for the flags. */
std::string Describe(const char *className, const char *name) {
    const MethodPtr method(orvane_method_info_new(orvane_lookup_type(className), name));
    if (!method)
        return "none";
    std::string text =
        static_cast<const char *>(g_type_get_qdata(method->owner, orvane_quark_wsdlname()));
    text += ":";
    for (guint i = 0; i < method->numArguments; i++) {
        const OrvaneArgumentInfo &argument = method->arguments[i];
        text += std::string(i > 0 ? ", " : " ") + argument.name + " " +
                TypeText(argument.type, argument.elementType) + " ";
        for (int bit = 0; bit < 4; bit++)
            text += argument.flags & (1 << bit) ? "rolu"[bit] : '-';
    }
    return text + " -> " + TypeText(method->resultType, method->resultElementType);
}

TEST(MethodInfo, SaysWhatTheTablesSay) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"VirtualMachine", "ReconfigVM_Task",
         "VirtualMachine: spec SkemaOzyVirtualMachineConfigSpec r-l- -> SkemaOzyTask"},
        {"VirtualMachine", "Destroy_Task", "ManagedEntity: -> SkemaOzyTask"},
        {"VirtualMachine", "SetScreenResolution",
         "VirtualMachine: width gint r---, height gint r--- -> void"},
        {"VirtualMachine", "RemoveAllSnapshots_Task",
         "VirtualMachine: consolidate gboolean -o-- -> SkemaOzyTask"},
        {"VirtualMachine", "SetDisplayTopology", "VirtualMachine: displays GValue[] ---u -> void"},
        {"VirtualMachine", "QueryUnownedFiles", "VirtualMachine: -> gchararray[]"},
        {"VirtualMachine", "PowerOnVM_Task",
         "VirtualMachine: host SkemaOzyHostSystem ---- -> SkemaOzyTask"},
        {"Folder", "PowerOnVM_Task", "none"},
        {"VirtualMachine", "PowerOnVM", "none"},
        {"TaskInfo", "PowerOnVM_Task", "none"},
    };
    for (const auto &[className, name, description] : rows)
        EXPECT_EQ(description, Describe(className, name)) << name;
}

TEST(MethodInfo, EveryListedMethodOfEveryClassHasADescription) {
    const SchemaTables *tables = SchemaEngine_Tables();
    guint numMethods = 0;
    guint numArguments = 0;
    for (guint i = 0; i < tables->numTypes; i++) {
        if (tables->types[i].kind != SCHEMA_KIND_MANAGED)
            continue;
        const GType type = orvane_schema_get_type(i);
        const StrvPtr names(orvane_type_list_methods(type));
        for (char **name = names.get(); *name != nullptr; name++) {
            const MethodPtr method(orvane_method_info_new(type, *name));
            ASSERT_TRUE(method) << g_type_name(type) << " " << *name;
            EXPECT_TRUE(name[1] == nullptr || std::string_view(name[0]) < name[1]) << *name;
            numMethods += method->owner == type;
            numArguments += method->owner == type ? method->numArguments : 0;
        }
    }
    EXPECT_EQ(tables->numMethods, numMethods);
    EXPECT_EQ(tables->numArguments, numArguments);
}

class MethodCall : public SessionTest {
protected:
    void SetUp() override {
        ASSERT_EQ("success", Connect());
        machine.reset(SKEMA_OZY_VIRTUAL_MACHINE(Owned("vm-1").release()));
    }
    MethodPtr Method(const char *name) {
        return MethodPtr(orvane_method_info_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, name));
    }
    SkemaQormManagedObject *Object() { return SKEMA_QORM_MANAGED_OBJECT(machine.get()); }

    ObjectPtr<SkemaOzyVirtualMachine> machine;
};

TEST_F(MethodCall, SendsWhatTheStubSends) {
    skema_ozy_virtual_machine_create_snapshot(machine.get(), "s", nullptr, TRUE, FALSE, nullptr);
    const std::string wanted = Sent("CreateSnapshot_Task");
    service->Forget();
    ScopedValue values[4];
    g_value_set_static_string(g_value_init(&values[0].value, G_TYPE_STRING), "s");
    g_value_set_boolean(g_value_init(&values[2].value, G_TYPE_BOOLEAN), TRUE);
    g_value_init(&values[3].value, G_TYPE_BOOLEAN);
    static_assert(sizeof(ScopedValue) == sizeof(GValue));
    orvane_method_invoke(Method("CreateSnapshot_Task").get(), Object(), &values[0].value, 4,
                         nullptr);
    EXPECT_EQ(wanted, Sent("CreateSnapshot_Task"));
}

TEST_F(MethodCall, ReadsTheResultByItsType) {
    service->answers["QueryUnownedFiles"] =
        Reply("QueryUnownedFiles", "a", "xsi:type=\"xsd:string\"");
    service->answers["RebootGuest"] = Reply("RebootGuest");
    Ending list;
    list.keeps = true;
    orvane_method_invoke(Method("QueryUnownedFiles").get(), Object(), nullptr, 0, list.listener);
    Wait(list);
    ScopedValue result;
    EXPECT_TRUE(orvane_listener_get_result(list.listener, &result.value));
    ASSERT_EQ(G_TYPE_VALUE_ARRAY, G_VALUE_TYPE(&result.value));
    EXPECT_EQ(1u, static_cast<GValueArray *>(g_value_get_boxed(&result.value))->n_values);
    EXPECT_EQ("success", Run([&](auto *l) {
                  orvane_method_invoke(Method("RebootGuest").get(), Object(), nullptr, 0, l);
              }));
}

TEST_F(MethodCall, TheTextOfARequestHasNoSecretAndSendsNothing) {
    service->Forget();
    ScopedValue key(G_TYPE_STRING);
    g_value_set_static_string(&key.value, "sesame");
    const GPtr<char> text(
        orvane_method_format_request(Method("UnlockVM").get(), Object(), &key.value, 1));
    EXPECT_THAT(text.get(), testing::StartsWith("  <soapenv:Envelope"));
    EXPECT_THAT(text.get(), HasSubstr("<_this type=\"VirtualMachine\">vm-1</_this>"));
    EXPECT_THAT(text.get(), HasSubstr("<key>[redacted]</key>"));
    EXPECT_THAT(text.get(), Not(HasSubstr("sesame")));
    testLoop::Settle();
    EXPECT_EQ(0u, service->Count("UnlockVM"));
    g_clear_object(&session);
    EXPECT_EQ(nullptr,
              orvane_method_format_request(Method("UnlockVM").get(), Object(), nullptr, 0));
}

} // namespace
