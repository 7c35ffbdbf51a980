// Paths into an object: what they lead to, as a text, and what leads to nothing.
#include <orvane/objectPath.h>

#include <ctime>

#include <orvane/schema/ozy.h>

#include "tests/ozy/lib/orvane/soap/keeper.h"

#include "tests/support/sanitized.h"

namespace {

GType NodeType();

std::vector<Kept> NodeProperties() {
    const auto array = [](const char *name, GType type) {
        return Kept{g_param_spec_boxed(name, "", "", G_TYPE_VALUE_ARRAY, G_PARAM_READWRITE), type};
    };
    return {
        {g_param_spec_string("key", "", "", nullptr, G_PARAM_READWRITE)},
        {g_param_spec_double("number", "", "", -10, 10, 0, G_PARAM_READWRITE)},
        {g_param_spec_boolean("truth", "", "", FALSE, G_PARAM_READWRITE)},
        {g_param_spec_enum("state", "", "", skema_ozy_task_info_state_get_type(), 0,
                           G_PARAM_READWRITE)},
        {g_param_spec_boxed("any", "", "", G_TYPE_VALUE, G_PARAM_READWRITE)},
        {g_param_spec_boxed("time", "", "", ORVANE_TYPE_TIMEVAL, G_PARAM_READWRITE)},
        {g_param_spec_boxed("bytes", "", "", ORVANE_TYPE_BYTE_ARRAY, G_PARAM_READWRITE)},
        {g_param_spec_object("node", "", "", NodeType(), G_PARAM_READWRITE)},
        {g_param_spec_object("machine", "", "", skema_ozy_managed_entity_get_type(),
                             G_PARAM_READWRITE)},
        array("nodes", NodeType()),
        array("texts", G_TYPE_STRING),
        array("numbers", G_TYPE_INT),
        array("machines", skema_ozy_virtual_machine_get_type()),
    };
}

GType NodeType() {
    static const GType type =
        RegisterKeeper(skema_qorm_data_object_get_type(), "TestPathNode", NodeProperties);
    return type;
}

using Node = ObjectPtr<GObject>;

template <class... Properties> Node MakeNode(Properties... properties) {
    return Node(G_OBJECT(g_object_new(NodeType(), properties..., nullptr)));
}

/* Sets an array of objects. */
void SetObjects(const Node &node, const char *property, std::initializer_list<GObject *> objects) {
    const ValueArrayPtr array(g_value_array_new(0));
    for (GObject *object : objects)
        g_value_array_append(array.get(), ObjectValue(object).get());
    g_object_set(node.get(), property, array.get(), nullptr);
}

void SetTexts(const Node &node, std::initializer_list<const char *> texts) {
    const ValueArrayPtr array(g_value_array_new(0));
    for (const char *text : texts)
        g_value_array_append(array.get(), StringValue(text).get());
    g_object_set(node.get(), "texts", array.get(), nullptr);
}

Node Machine(const char *id) {
    Node machine = NewObject(skema_ozy_virtual_machine_get_type());
    SKEMA_QORM_MANAGED_OBJECT(machine.get())->id = g_strdup(id);
    return machine;
}

struct ObjectPath : testing::Test {
    Node root = MakeNode("number", 0.5, "truth", TRUE, "state", 2);
    Node machine1 = Machine("vm-1");
    Node machine2 = Machine("vm-2");

    ObjectPath() {
        const Node a = MakeNode("key", "a.b", "number", 1.0), b = MakeNode("key", "x]y"),
                   c = MakeNode("key", "7", "node", a.get());
        SetObjects(a, "machines", {machine1.get(), machine2.get()});
        SetObjects(c, "machines", {machine2.get()});
        SetObjects(root, "nodes", {a.get(), b.get(), c.get()});
        SetObjects(root, "machines", {machine1.get(), machine2.get()});
        g_object_set(root.get(), "node", a.get(), "machine", machine1.get(), nullptr);
        orvane_object_set_any(root.get(), "any", IntValue(-4).get());
        const GTimeVal time = {1767323045, 0};
        const GPtr<guint8> bytes(static_cast<guint8 *>(g_memdup2("\0\1", 2)));
        GByteArray array{bytes.get(), 2};
        g_object_set(root.get(), "time", &time, "bytes", &array, nullptr);
        SetTexts(root, {"one", "two"});
        SetTexts(a, {"p\"]q", "*", "#0", "a.b[\"c"});
    }

    std::string Text(const std::string &path) {
        const GPtr<char> text(orvane_object_get_path_text(root.get(), path.c_str()));
        return text ? text.get() : "(nothing)";
    }
};

TEST_F(ObjectPath, LeadsThroughObjectsAndLists) {
    const std::pair<const char *, const char *> rows[] = {
        {"number", "0.5"},
        {"truth", "true"},
        {"state", "success"},
        {"any", "-4"},
        {"time", "2026-01-02T03:04:05Z"},
        {"bytes", "AAE="},
        {"machine", "vm-1"},
        {"node", "DataObject"},
        {"node.key", "a.b"},
        {"nodes[\"a.b\"].number", "1"},
        {"nodes[a.b].number", "1"},
        {"nodes[\"x]y\"].key", "x]y"},
        {"nodes[7].node.key", "a.b"},
        {"nodes[#0].key", "a.b"},
        {"nodes[#2].key", "7"},
        {"texts[two]", "two"},
        {"texts[\"one\"]", "one"},
        {"texts[#1]", "two"},
        {"node.texts[\"p\"]q\"]", "p\"]q"},
        {"node.texts[\"*\"]", "*"},
        {"node.texts[\"#0\"]", "#0"},
        {"node.texts[\"a.b[\"c\"]", "a.b[\"c"},
        {"machines[vm-2]", "vm-2"},
        {"texts", "one, two"},
        {"nodes[*].key", "a.b, x]y, 7"},
        {"nodes[*].machines[*]", "vm-1, vm-2, vm-2"},
        {"nodes[*].machines[#0]", "vm-1, vm-2"},
        {"nodes[*].node.key", "a.b"},
        {"nodes[*].none", ""},
        {"numbers[*]", ""},
    };
    for (const auto &[path, text] : rows)
        EXPECT_EQ(text, Text(path)) << path;
}

TEST_F(ObjectPath, GivesTheValueItself) {
    ScopedValue state, list;
    ASSERT_TRUE(orvane_object_get_path(root.get(), "state", &state.value));
    EXPECT_EQ(skema_ozy_task_info_state_get_type(), G_VALUE_TYPE(&state.value));
    ASSERT_TRUE(orvane_object_get_path(root.get(), "nodes[*].number", &list.value));
    const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(&list.value));
    ASSERT_EQ(3u, array->n_values);
    EXPECT_EQ(1.0, g_value_get_double(&array->values[0]));
}

TEST_F(ObjectPath, LeadsToNothing) {
    const char *paths[] = {
        // clang-format off
        "", ".", "none", "key", "node.", ".node", "node..key", "node.none", "number.x", "node[0]", "nodes[8]",
        "nodes[#3]", "nodes[#-1]", "nodes[#]", "nodes[#4294967296]", "nodes[#99999999999999999999]", "nodes[",
        "nodes[]", "nodes]", "nodes[\"a.b]", "nodes[\"a.b\"", "nodes[7]x", "\"node\"", "numbers", "[#0]", "texts[#0].x",
        "texts[#0][#0]", "node.node.key", "machines[#0].name"
        // clang-format on
    };
    for (const char *path : paths)
        EXPECT_EQ("(nothing)", Text(path)) << path;
}

/* Hostile paths and objects: none takes long, and none is followed without end. */
TEST_F(ObjectPath, IsBounded) {
    root = MakeNode("key", "k");
    SetObjects(root, "nodes", {root.get(), root.get(), root.get()});
    g_object_set(root.get(), "node", root.get(), nullptr);
    const std::pair<std::string, bool> rows[] = {
        {Times(99, "node.") + "key", true},
        {Times(100, "node.") + "key", false},
        {"nodes" + Times(40, "[#0].nodes") + "[#0].key", true},
        {"nodes" + Times(10000, "["), false},
        {"nodes" + Times(10000, "[#0]"), false},
        {"nodes" + Times(7, "[*].nodes") + "[*].key", true},   /* 3^8 elements */
        {"nodes" + Times(40, "[*].nodes") + "[*].key", false}, /* 3^41 */
        {"nodes" + Times(40, "[*].nodes") + "[*].none", false},
        {std::string(1 << 20, 'x'), false},
        {"nodes[\"" + std::string(1 << 20, 'x') + "\"]", false},
    };
    for (const auto &[path, isThere] : rows) {
        const clock_t start = clock();
        EXPECT_EQ(isThere, Text(path) != "(nothing)") << path.substr(0, 60);
        EXPECT_GT(2 * kSanitizerFactor * CLOCKS_PER_SEC, clock() - start) << path.substr(0, 60);
    }
    g_object_set(root.get(), "nodes", nullptr, "node", nullptr, nullptr); /* the circle */
}

} // namespace
