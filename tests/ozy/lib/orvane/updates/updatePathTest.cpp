// Paths and operations of updates, applied to objects of classes that an application registered itself:
// one property per kind of value, and elements with every kind of key.
#include "ozy/lib/orvane/updates/orvaneUpdatePath.h"

#include <map>
#include <sstream>

#include <orvane/schema/ozy.h>

#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "tests/ozy/lib/orvane/soap/keeper.h"

namespace {

constexpr gint kAdd = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ADD;
constexpr gint kRemove = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_REMOVE;
constexpr gint kAssign = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ASSIGN;
constexpr gint kIndirectRemove = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_INDIRECTREMOVE;

GType BoxType();
GType ItemType();

std::vector<Kept> BoxProperties() {
    const auto object = [](const char *name, GType type) {
        return Kept{g_param_spec_object(name, "", "", type, G_PARAM_READWRITE)};
    };
    const auto array = [](const char *name, GType elementType) {
        return Kept{g_param_spec_boxed(name, "", "", G_TYPE_VALUE_ARRAY, G_PARAM_READWRITE),
                    elementType};
    };
    return {
        {g_param_spec_string("text", "", "", "", G_PARAM_READWRITE)},
        {g_param_spec_int("number", "", "", -100, 100, 0, G_PARAM_READWRITE)},
        {g_param_spec_enum("state", "", "", skema_ozy_task_info_state_get_type(), 0,
                           G_PARAM_READWRITE)},
        {g_param_spec_boxed("any", "", "", G_TYPE_VALUE, G_PARAM_READWRITE)},
        object("box", BoxType()),
        object("machine", skema_ozy_managed_entity_get_type()),
        array("texts", G_TYPE_STRING),
        array("numbers", G_TYPE_INT),
        array("boxes", BoxType()),
        array("items", ItemType()),
        array("entries", skema_qorm_key_any_value_get_type()),
        array("machines", skema_ozy_virtual_machine_get_type()),
    };
}

GType BoxType() {
    static const GType type =
        RegisterKeeper(skema_qorm_data_object_get_type(), "TestBox", BoxProperties);
    return type;
}

/* A box with a number as its key. */
GType ItemType() {
    static const GType type = RegisterKeeper(BoxType(), "TestItem", [] {
        return std::vector<Kept>{
            {g_param_spec_int("key", "", "", G_MININT, G_MAXINT, 0, G_PARAM_READWRITE)}};
    });
    return type;
}

/* ---- what an object holds, as a text ---- */

std::string Shown(const GValue *value);

std::string ShownObject(GObject *object) {
    if (object == nullptr)
        return "";
    if (g_type_is_a(G_OBJECT_TYPE(object), skema_qorm_managed_object_get_type()))
        return reinterpret_cast<SkemaQormManagedObject *>(object)->id;
    std::string text;
    guint count;
    GPtr<GParamSpec *[]> pspecs(g_object_class_list_properties(G_OBJECT_GET_CLASS(object), &count));
    for (guint i = 0; i < count; i++) {
        Value value(pspecs[i]->value_type);
        g_object_get_property(object, pspecs[i]->name, value.get());
        const std::string shown = Shown(value.get());
        if (!shown.empty())
            text += (text.empty() ? "" : " ") + std::string(pspecs[i]->name) + "=" + shown;
    }
    return "{" + text + "}";
}

/* Empty for a default. */
std::string Shown(const GValue *value) {
    if (!G_IS_VALUE(value))
        return "";
    if (G_VALUE_HOLDS_STRING(value))
        return g_value_get_string(value) != nullptr ? g_value_get_string(value) : "";
    if (G_VALUE_HOLDS_INT(value))
        return g_value_get_int(value) != 0 ? std::to_string(g_value_get_int(value)) : "";
    if (G_VALUE_HOLDS_ENUM(value))
        return g_value_get_enum(value) != 0 ? std::to_string(g_value_get_enum(value)) : "";
    if (G_VALUE_HOLDS_OBJECT(value))
        return ShownObject(static_cast<GObject *>(g_value_get_object(value)));
    if (G_VALUE_HOLDS(value, G_TYPE_VALUE)) {
        const auto *inner = static_cast<const GValue *>(g_value_get_boxed(value));
        return inner != nullptr ? Shown(inner) : "";
    }
    if (!G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY))
        return "?";
    const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(value));
    if (array == nullptr)
        return "";
    std::string text;
    for (guint i = 0; i < array->n_values; i++)
        text += (i == 0 ? "" : ",") + Shown(&array->values[i]);
    return "[" + text + "]";
}

Value Make(GType type) {
    return ObjectValue(NewObject(type));
}

Value Item(gint key, const char *text) {
    Value item = Make(ItemType());
    g_object_set(item.Object(), "key", key, "text", text, nullptr);
    return item;
}

Value Entry(const char *key) {
    Value entry = Make(skema_qorm_key_any_value_get_type());
    g_object_set(entry.Object(), "key", key, nullptr);
    return entry;
}

Value Enum(gint number) {
    Value value(skema_ozy_task_info_state_get_type());
    g_value_set_enum(value.get(), number);
    return value;
}

struct UpdatePath : testing::Test {
    void SetUp() override {
        object = NewObject(BoxType());
        const Value four = IntValue(4);
        const Value y = StringValue("y");
        const Value one = Item(1, "a");
        const Value two = Item(2, "b");
        const Value a = Entry("a.b");
        const Value b = Entry("c");
        Give("texts", ArrayValue({&x, &y}));
        Give("numbers", ArrayValue({&three, &four}));
        Give("items", ArrayValue({&one, &two}));
        Give("entries", ArrayValue({&a, &b}));
        for (const char *id : {"vm-1", "vm-2"})
            machines.push_back(Own(orvane_momgr_lookup_or_create(
                momgr.get(), id, skema_ozy_virtual_machine_get_type())));
        const Value first = Machine(0);
        const Value second = Machine(1);
        Give("machines", ArrayValue({&first, &second}));
        before = Fields();
        On(object.get(), "notify", [this](GObject *, GParamSpec *pspec) {
            signals.push_back(std::string("notify ") + pspec->name);
        });
        On(object.get(), "array_notify",
           [this](GObject *, GParamSpec *pspec, gboolean isAdded, const GValue *element) {
               signals.push_back(std::string(isAdded ? "+ " : "- ") + pspec->name + " " +
                                 Shown(element) + " of " + Held(pspec->name));
           });
    }

    Value Machine(size_t index) { return ObjectValue(machines[index].get()); }

    void Give(const char *name, const Value &value) {
        g_object_set_property(object.get(), name, value.get());
    }

    static std::string HeldBy(GObject *object, const char *name) {
        const GParamSpec *pspec = g_object_class_find_property(G_OBJECT_GET_CLASS(object), name);
        Value value(pspec->value_type);
        g_object_get_property(object, name, value.get());
        return Shown(value.get());
    }
    std::string Held(const char *name) { return HeldBy(object.get(), name); }

    std::map<std::string, std::string> Fields() {
        std::map<std::string, std::string> fields;
        for (const char *name : {"text", "number", "state", "any", "box", "machine", "texts",
                                 "numbers", "boxes", "items", "entries", "machines"})
            fields[name] = Held(name);
        return fields;
    }

    /* Which fields have another content than at the start. */
    std::string Changes() {
        std::string text;
        for (const auto &[name, shown] : Fields()) {
            if (shown != before[name])
                text += (text.empty() ? "" : " ") + name + "=" + shown;
        }
        return text;
    }

    /* Applies one change to an object as SetUp() made it. */
    std::string Apply(gint op, const std::string &path, const Value &value) {
        TearDown();
        SetUp();
        orvane_momgr_update_property(momgr.get(), object.get(), path.c_str(), value.get(), op);
        return Changes();
    }

    void TearDown() override {
        object.reset();
        machines.clear();
        signals.clear();
    }

    Value none;
    Value x = StringValue("x");
    Value three = IntValue(3);
    ObjectPtr<OrvaneSession> session{orvane_session_new()};
    ObjectPtr<OrvaneMOMgr> momgr{orvane_momgr_new(session.get())};
    ObjectPtr<GObject> object;
    std::vector<ObjectPtr<SkemaQormManagedObject>> machines;
    std::map<std::string, std::string> before;
    std::vector<std::string> signals;
};

TEST_F(UpdatePath, LeadsToThePropertyItNames) {
    const struct {
        gint op;
        const char *path;
        Value value;
        const char *changes;
    } rows[] = {
        {kAssign, "text", StringValue("new"), "text=new"},
        {kAssign, "number", IntValue(7), "number=7"},
        {kAssign, "state", Enum(2), "state=2"},
        {kAssign, "any", IntValue(7), "any=7"},
        {kAssign, "texts", {}, "texts="},
        {kAssign, "machine", {}, ""},
        {kAssign, "machine", Machine(0), "machine=vm-1"},
        {kAssign, "box", Make(ItemType()), "box={}"},
        {kAssign, "box", Value(BoxType()), ""},
        /* through objects that are made on the way */
        {kAssign, "box.number", IntValue(7), "box={number=7}"},
        {kAssign, "box.box.box.text", StringValue("deep"), "box={box={box={text=deep}}}"},
        {kAdd, "box.texts", StringValue("z"), "box={texts=[z]}"},
        /* through elements, by every kind of key */
        {kAssign, "items[2].text", StringValue("new"), "items=[{text=a key=1},{text=new key=2}]"},
        {kAssign, "entries[\"a.b\"].value", IntValue(7), "entries=[{key=a.b value=7},{key=c}]"},
        {kAssign, "entries[\"c\"].value", IntValue(7), "entries=[{key=a.b},{key=c value=7}]"},
        {kAssign, "items[1].box.text", StringValue("new"),
         "items=[{text=a box={text=new} key=1},{text=b key=2}]"},
        /* a key that is missing falls on the first object, and on no text or number */
        {kAssign, "items[9].text", StringValue("new"), "items=[{text=new key=1},{text=b key=2}]"},
        {kAssign, "entries[\"?\"].value", IntValue(7), "entries=[{key=a.b value=7},{key=c}]"},
        {kAssign, "texts[\"?\"].text", StringValue("new"), ""},
        {kAssign, "numbers[3].text", StringValue("new"), ""},
        /* arrays */
        {kAdd, "texts", StringValue("z"), "texts=[x,y,z]"},
        {kAdd, "texts[\"z\"]", StringValue("z"), "texts=[x,y,z]"},
        {kAdd, "boxes", Make(BoxType()), "boxes=[{}]"},
        {kAdd, "items[2].entries", Entry("n"),
         "items=[{text=a key=1},{text=b entries=[{key=n}] key=2}]"},
        {kRemove, "texts[\"x\"]", {}, "texts=[y]"},
        {kRemove, "numbers[4]", {}, "numbers=[3]"},
        {kRemove, "items[2]", {}, "items=[{text=a key=1}]"},
        {kIndirectRemove, "entries[\"a.b\"]", {}, "entries=[{key=c}]"},
        {kRemove, "entries[\"?\"]", {}, "entries=[{key=c}]"},
        {kAdd, "machines", Machine(0), "machines=[vm-1,vm-2,vm-1]"},
        {kRemove, "machines[\"vm-1\"]", {}, "machines=[vm-2]"},
        {kRemove, "machines[\"vm-2\"]", {}, "machines=[vm-1]"},
        {kRemove, "machines[\"vm-9\"]", {}, ""},
        /* a bracket that is never closed takes all the rest into its key */
        {kAdd, "texts[", StringValue("z"), "texts=[x,y,z]"},
        {kRemove, "items[2", {}, "items=[{text=a key=1}]"},
        {kRemove, "items[2.text.and.more", {}, "items=[{text=a key=1}]"},
        {kAssign, "items[2.text", StringValue("z"), ""},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.changes, Apply(row.op, row.path, row.value)) << row.op << " " << row.path;
}

TEST_F(UpdatePath, NothingHappensWhereThePathLeadsNowhere) {
    const std::string deep(100000, '.');
    std::vector<std::string> paths = {"", "machines[\"vm-9\"].name", std::string(1 << 20, 'x'),
                                      deep, Times(100000, "box.") + "text"};
    std::istringstream words(
        ". .. text. .text nothing nothing.text text.number number.text any.text "
        "texts.text machine.name box.nothing.x [ ] [] a[b].c text[\"x\"] "
        "text[0].x box[1].text boxes[1].text \xff\xfe a::b TestBox::nothing "
        "%s%n");
    for (std::string word; words >> word;)
        paths.push_back(word);
    Warnings warnings;
    for (const std::string &path : paths) {
        for (gint op : {kAssign, kAdd, kRemove, kIndirectRemove, 17, -1}) {
            const std::string changes = Apply(op, path, x);
            const bool hasMadeBoxes = path.starts_with("box.");
            EXPECT_TRUE(changes.empty() || hasMadeBoxes) << op << " " << path.substr(0, 40);
        }
    }
    EXPECT_TRUE(warnings.texts.empty()) << warnings.texts[0];
}

TEST_F(UpdatePath, KeysOfAnotherFormWarnAndFindNothing) {
    const struct {
        const char *path;
        const char *changes;
        const char *warning; /* NULL: none */
    } rows[] = {
        {"texts[]", "", "len >= 3"},
        {"texts[\"\"]", "", "len >= 3"},
        {"entries[]", "entries=[{key=c}]", "len >= 3"},
        {"numbers[x]", "", "numScanned == 1"},
        {"items[\"a\"]", "items=[{text=b key=2}]", "numScanned == 1"},
        {"items[-1]", "items=[{text=b key=2}]", nullptr},
        {"texts[\"?\"]", "", "n_values"}, /* the array refuses the index -1 */
        {"numbers[9]", "", "n_values"},
    };
    for (const auto &row : rows) {
        Warnings warnings;
        EXPECT_EQ(row.changes, Apply(kRemove, row.path, none)) << row.path;
        EXPECT_EQ(row.warning == nullptr, warnings.texts.empty()) << row.path;
        if (row.warning != nullptr) {
            EXPECT_THAT(warnings.texts, Contains(HasSubstr(row.warning))) << row.path;
        }
    }
}

TEST_F(UpdatePath, ValuesThatDoNotFitAreDropped) {
    const Value item = Make(ItemType());
    const Value noItem(ItemType());
    const Value machine = Machine(0);
    const Value texts = ArrayValue({&x});
    const Value numbers = ArrayValue({&three, &x});
    const Value far = IntValue(101);
    const Value unknown = Enum(99);
    const struct {
        gint op;
        const Value &value;
        std::vector<const char *> paths;
    } rows[] = {
        {kAssign, x, {"number", "state", "box", "texts"}},
        {kAssign, item, {"number", "text", "machine"}},
        {kAssign, texts, {"number", "text", "numbers", "boxes", "machines"}},
        {kAssign, machine, {"box"}},
        {kAssign, numbers, {"numbers"}},
        {kAssign, far, {"number"}},
        {kAssign, unknown, {"state"}},
        {kAdd, three, {"texts"}},
        {kAdd, x, {"numbers", "boxes", "text"}},
        {kAdd, noItem, {"boxes"}},
        {kAdd, none, {"boxes", "machines"}},
        {kAdd, item, {"machines"}},
        {kAdd, machine, {"items"}},
    };
    const Warnings warnings;
    for (const auto &row : rows) {
        for (const char *path : row.paths)
            EXPECT_EQ("", Apply(row.op, path, row.value)) << row.op << " " << path;
    }
    EXPECT_TRUE(warnings.texts.empty()) << warnings.texts[0];
}

TEST_F(UpdatePath, SignalsComeInTheOrderThatHandlersNeed) {
    const struct {
        gint op;
        const char *path;
        Value value;
        std::vector<std::string> signals;
    } rows[] = {
        {kAdd, "texts", StringValue("z"), {"+ texts z of [x,y]", "notify texts"}},
        {kRemove, "texts[\"x\"]", {}, {"- texts x of [x,y]", "notify texts"}},
        {kAdd, "boxes", Make(BoxType()), {"+ boxes {} of ", "notify boxes"}},
        {kAssign, "text", StringValue("new"), {"notify text"}},
        {kAssign, "box.text", StringValue("new"), {"notify box"}},
        /* the element is the array's own, and notifies by itself */
        {kAssign, "items[1].text", StringValue("new"), {}},
        {kRemove, "texts[\"?\"]", {}, {}},
    };
    const Warnings warnings;
    for (const auto &row : rows) {
        Apply(row.op, row.path, row.value);
        EXPECT_EQ(row.signals, signals) << row.path;
    }
}

TEST_F(UpdatePath, AnArrayThatIsSetAgainAfterAChangeInsideNotifies) {
    Value array(G_TYPE_VALUE_ARRAY);
    g_object_get_property(object.get(), "items", array.get());
    g_object_set(static_cast<GObject *>(g_value_get_object(&array.Array()->values[0])), "text",
                 "new", nullptr);
    EXPECT_EQ("items=[{text=new key=1},{text=b key=2}]", Changes());
    orvane_momgr_update_property(momgr.get(), object.get(), "items", array.get(), kAssign);
    EXPECT_EQ(std::vector<std::string>{"notify items"}, signals);
}

/* Lets everything go from inside a handler of the change. */
TEST_F(UpdatePath, ObjectAndManagerMayGoInAHandler) {
    for (gint op : {kAssign, kAdd, kRemove}) {
        ObjectPtr<OrvaneMOMgr> other(orvane_momgr_new(session.get()));
        ObjectPtr<GObject> doomed = NewObject(BoxType());
        const Value texts = ArrayValue({&x});
        g_object_set_property(doomed.get(), "texts", texts.get());
        for (const char *signal : {"array_notify", "notify"})
            On(doomed.get(), signal, [&] {
                doomed.reset();
                other.reset();
            });
        const char *path = op == kRemove ? "texts[\"x\"]" : op == kAdd ? "texts" : "box.text";
        orvane_momgr_update_property(other.get(), doomed.get(), path, x.get(), op);
        EXPECT_EQ(nullptr, doomed);
        EXPECT_EQ(nullptr, other);
    }
}

/* The handler's array gives way to the one from before its signal, with the change. */
TEST_F(UpdatePath, AHandlerMayChangeTheArrayOfItsSignal) {
    const struct {
        gint op;
        const char *path, *expected;
    } rows[] = {
        {kAdd, "pathSet", "[x]"}, {kAdd, "pathSet", "[x,x]"}, {kRemove, "pathSet[\"x\"]", "[x]"}};
    for (const char *signal : {"array_notify::pathSet", "array_notify"}) {
        const ObjectPtr<GObject> spec = New("PropertySpec");
        On(spec.get(), signal,
           [&] { g_object_set_property(spec.get(), "pathSet", ArrayValue({}).get()); });
        for (const auto &row : rows) {
            orvane_momgr_update_property(momgr.get(), spec.get(), row.path, x.get(), row.op);
            EXPECT_EQ(row.expected, HeldBy(spec.get(), "pathSet")) << signal << " " << row.path;
        }
    }
}

/* What a handler of "notify" makes of an array that was changed in place stays. */
TEST_F(UpdatePath, AHandlerOfNotifyMayChangeTheArray) {
    const struct {
        gint op;
        const char *path, *expected;
        int numChanges;
    } rows[] = {{kAdd, "pathSet", "[x]", 0},
                {kAdd, "pathSet", "[]", 1},
                {kAdd, "pathSet", "[x]", 0},
                {kAdd, "pathSet", "[x,x]", 0},
                {kRemove, "pathSet[\"x\"]", "[]", 1}};
    const ObjectPtr<GObject> spec = New("PropertySpec");
    int numChanges = 0;
    On(spec.get(), "notify::pathSet", [&] {
        if (numChanges-- > 0)
            g_object_set_property(spec.get(), "pathSet", ArrayValue({}).get());
    });
    for (const auto &row : rows) {
        numChanges = row.numChanges;
        orvane_momgr_update_property(momgr.get(), spec.get(), row.path, x.get(), row.op);
        EXPECT_EQ(row.expected, HeldBy(spec.get(), "pathSet")) << row.path;
    }
}

} // namespace
