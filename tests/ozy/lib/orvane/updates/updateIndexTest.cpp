/* A list that is searched by an index ends up with the same elements as one that is walked, and as one that is changed in a
 * copy. */
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

#include <algorithm>
#include <random>

#include <orvane/schema/ozy.h>

#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

constexpr gint kAdd = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ADD;
constexpr gint kRemove = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_REMOVE;
constexpr gint kAssign = SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ASSIGN;
constexpr int kNumKeys = 90; /* fewer than elements, so that some have the same key */
constexpr int kNumElements = 110;

enum class Way { Walk, Copy, Index };

struct Row {
    const char *holder, *property, *key;
    Value (*make)(OrvaneMOMgr *momgr, int number);
};

std::string Name(int number) {
    return "k" + std::to_string(number);
}

const Row kRows[] = {
    {"PropertySpec", "pathSet", "[\"k%d\"]",
     [](OrvaneMOMgr *, int number) { return StringValue(Name(number).c_str()); }},
    {"VirtualMachine", "effectiveRole", "[%d]",
     [](OrvaneMOMgr *, int number) { return IntValue(number); }},
    {"SessionManager", "sessionList", "[\"k%d\"]",
     [](OrvaneMOMgr *, int number) {
         const ObjectPtr<GObject> user = New("UserSession");
         g_object_set(user.get(), "key", Name(number).c_str(), nullptr);
         return ObjectValue(user);
     }},
    {"VirtualMachine", "datastore", "[\"k%d\"]",
     [](OrvaneMOMgr *momgr, int number) {
         return ObjectValue(orvane_momgr_lookup_or_create(momgr, Name(number).c_str(),
                                                          skema_ozy_datastore_get_type()));
     }},
};

std::string ShownKey(GObject *object) {
    if (g_type_is_a(G_OBJECT_TYPE(object), skema_qorm_managed_object_get_type()))
        return reinterpret_cast<SkemaQormManagedObject *>(object)->id;
    const auto key = OrvaneUpdateIndex_KeyOf(ObjectValue(MOMgrHold(object)).get());
    return key->isText ? key->text : std::to_string(key->number);
}

/* A list that is changed at random. What it is after each change is recorded, with what was notified meanwhile. */
class ChangedList {
public:
    ChangedList(const Row &of, Way way) : row(of), random(7) {
        session->priv->moMgr = momgr = orvane_momgr_new(session.get());
        const GType type = orvane_lookup_type(row.holder);
        if (g_type_is_a(type, skema_qorm_managed_object_get_type()))
            holder = Own(G_OBJECT(orvane_momgr_lookup_or_create(momgr, "holder", type)));
        else
            holder = NewObject(type);
        if (way == Way::Copy)
            On(holder.get(), "array_notify", [] {});
        On(holder.get(), "notify", [this](GObject *, GParamSpec *pspec) { Note(pspec->name); });
        if (way == Way::Index)
            scope.emplace();
        for (int i = 0; i < kNumElements; i++)
            Apply(kAdd, "", row.make(momgr, Any(kNumKeys)));
    }

    void Change() {
        isChangedInHandler = Any(20) == 0;
        const GPtr<char> key(g_strdup_printf(row.key, Any(kNumKeys)));
        const int what = Any(30);
        if (what < 8)
            Apply(kAdd, "", row.make(momgr, Any(kNumKeys)));
        else if (what < 20)
            Apply(kRemove, key.get(), Value());
        else if (what < 28)
            Apply(kAssign, key.get() + std::string(".key"),
                  StringValue(Name(Any(kNumKeys)).c_str()));
        else if (Any(10) == 0)
            Apply(kAssign, "", Copy());
        if (Any(4) == 0) /* others leave empty places behind, which a read removes */
            Record();
    }

    /* Whether the object has the list as data under its name. */
    bool IsData() const { return IsMarked(holder.get(), row.property); }

    std::vector<std::string> record;

private:
    int Any(int limit) { return int(random() % unsigned(limit)); }

    void Apply(gint op, const std::string &rest, const Value &value) {
        orvane_momgr_update_property(momgr, holder.get(), (row.property + rest).c_str(),
                                     value.get(), op);
    }

    /* The list with an element more. */
    Value Copy() {
        Value list(G_TYPE_VALUE_ARRAY);
        g_object_get_property(holder.get(), row.property, list.get());
        g_value_array_append(list.Array(), row.make(momgr, Any(kNumKeys)).get());
        return list;
    }

    /* A handler gives an element another key, or sets the list. */
    void Note(const char *name) {
        notified += name;
        if (!std::exchange(isChangedInHandler, false))
            return;
        if (Any(2) == 0) {
            g_object_set_property(holder.get(), name, Copy().get());
            return;
        }
        const auto array = GetList(holder.get(), row.property);
        if (row.property != std::string("sessionList") || array->n_values == 0)
            return;
        const GValue *element = &array->values[random() % array->n_values];
        g_object_set(g_value_get_object(element), "key", Name(Any(kNumKeys)).c_str(), nullptr);
    }

    void Record() {
        std::string text = std::exchange(notified, {});
        const auto array = GetList(holder.get(), row.property);
        for (const GValue &element : std::span(array->values, array->n_values)) {
            text += " ";
            if (GObject *object = MOMgrGetObject(&element, G_TYPE_OBJECT))
                text += ShownKey(object);
            else if (G_VALUE_HOLDS_STRING(&element))
                text += g_value_get_string(&element);
            else
                text += std::to_string(g_value_get_int(&element));
        }
        for (const std::string &warning : std::exchange(warnings.texts, {}))
            text += "; " + warning;
        record.push_back(text);
    }

    Row row;
    std::mt19937 random;
    Warnings warnings;
    const ObjectPtr<OrvaneSession> session{orvane_session_new()};
    OrvaneMOMgr *momgr;
    ObjectPtr<GObject> holder;
    std::optional<UpdateIndexScope> scope;
    std::string notified;
    bool isChangedInHandler = false;
};

TEST(UpdateIndex, ListsAreTheSameAfterAWalkACopyAndASearch) {
    for (const Row &row : kRows) {
        std::vector<std::string> wanted;
        for (Way way : {Way::Walk, Way::Copy, Way::Index}) {
            ChangedList list(row, way);
            for (int step = 0; step < 800; step++)
                list.Change();
            EXPECT_EQ(row.holder != std::string("VirtualMachine"), list.IsData()) << row.property;
            if (way == Way::Walk)
                wanted = list.record;
            for (gsize step = 0; step < wanted.size(); step++)
                ASSERT_EQ(wanted[step], list.record[step])
                    << row.property << " step " << step << " way " << int(way);
        }
    }
}

/* An index exists where many keys are searched, and not where the application's code may change keys unnoticed. */
TEST(UpdateIndex, IsBuiltWhereItIsExactAndPays) {
    const auto isFound = [](guint numElements, int numSearches, GType elements) {
        const UpdateIndexScope scope;
        const ObjectPtr<GObject> manager = New("SessionManager");
        const SchemaField *field = SchemaClass_FindFieldByName(manager.get(), "sessionList");
        const ValueArrayPtr array(g_value_array_new(numElements));
        for (guint i = 0; i < numElements; i++) {
            const Value element = ObjectValue(
                ObjectPtr<GObject>(G_OBJECT(g_object_new(elements, "key", "k", nullptr))));
            g_value_array_append(array.get(), element.get());
        }
        const UpdateKeys *keys = nullptr;
        for (int i = 0; i < numSearches; i++)
            keys = OrvaneUpdateIndex_Search(manager.get(), field, array.get());
        return keys != nullptr;
    };
    const GType user = orvane_lookup_type("UserSession");
    const GType ofApplication = RegisterSubclass(user, "TestUserOfApplication");
    EXPECT_TRUE(isFound(100, 20, user));
    EXPECT_FALSE(isFound(10, 20, user));
    EXPECT_FALSE(isFound(100, 3, user));
    EXPECT_FALSE(isFound(100, 20, ofApplication));
}

/* An object among texts is not found by its own key, with or without an index. */
TEST(UpdateIndex, ListsOfTextsAndObjectsAreWalked) {
    const Warnings warnings;
    const ObjectPtr<OrvaneSession> session(orvane_session_new());
    OrvaneMOMgr *momgr = session->priv->moMgr = orvane_momgr_new(session.get());
    const ObjectPtr<GObject> holder = New("PropertySpec");
    const ObjectPtr<GObject> user = New("UserSession");
    g_object_set(user.get(), "key", "own", nullptr);
    const ValueArrayPtr array(g_value_array_new(0));
    for (int i = 0; i < kNumElements; i++)
        g_value_array_append(array.get(), StringValue(Name(i).c_str()).get());
    g_value_array_append(array.get(), ObjectValue(user).get());
    g_object_set(holder.get(), "pathSet", array.get(), nullptr);

    const UpdateIndexScope scope;
    for (int i = 0; i < 20; i++)
        orvane_momgr_update_property(momgr, holder.get(), "pathSet[\"own\"]", nullptr, kRemove);
    const auto *held = *MOMgrPeek<GValueArray *>(holder.get(), "pathSet");
    EXPECT_EQ(held->n_values, guint(kNumElements) + 1);
}

/* A handler of the log sets the list while a key of the wrong form is warned about. */
TEST(UpdateIndex, ListsMayBeSetWhileAKeyIsWarnedAbout) {
    const struct {
        const char *holder, *property, *wrong;
        gint op;
        const char *rest;
    } rows[] = {
        {"VirtualMachine", "effectiveRole", "[x]", kRemove, ""},
        {"PropertySpec", "pathSet", "[x]", kRemove, ""},
        {"SessionManager", "sessionList", "[x]", kAssign, ".key"},
    };
    for (const auto &row : rows) {
        const ObjectPtr<OrvaneSession> session(orvane_session_new());
        OrvaneMOMgr *momgr = session->priv->moMgr = orvane_momgr_new(session.get());
        const ObjectPtr<GObject> holder = New(row.holder);
        const Row *of = std::ranges::find(kRows, std::string(row.property),
                                          [](const Row &known) { return known.property; });
        for (bool hasIndex : {false, true}) {
            std::optional<UpdateIndexScope> scope;
            if (hasIndex)
                scope.emplace();
            const std::string path = row.property + std::string(row.wrong) + row.rest;
            for (int i = 0; i < kNumElements; i++)
                orvane_momgr_update_property(momgr, holder.get(), row.property,
                                             of->make(momgr, i).get(), kAdd);
            for (int i = 0; i < 20; i++) {
                const GPtr<char> key(g_strdup_printf(of->key, kNumElements + i));
                orvane_momgr_update_property(momgr, holder.get(),
                                             (row.property + std::string(key.get()) + ".x").c_str(),
                                             nullptr, kAssign);
            }
            {
                Warnings warnings;
                warnings.then = [&] { g_object_set(holder.get(), row.property, nullptr, nullptr); };
                orvane_momgr_update_property(momgr, holder.get(), path.c_str(),
                                             StringValue("x").get(), row.op);
            }
            EXPECT_EQ(*MOMgrPeek<GValueArray *>(holder.get(), row.property), nullptr)
                << row.property;
        }
    }
}

/* An application may have made objects that hold each other. */
TEST(MOMgrProxies, ObjectsThatHoldEachOtherAreVisitedOnce) {
    const ObjectPtr<GObject> property = New("DynamicProperty");
    orvane_object_set_any(property.get(), "val", ObjectValue(property).get());
    {
        MOMgrProxies proxies;
        proxies.Note(ObjectValue(property).get());
    }
    const GValue none = G_VALUE_INIT;
    orvane_object_set_any(property.get(), "val", &none);
    EXPECT_EQ(property->ref_count, 1U);
}

} // namespace
