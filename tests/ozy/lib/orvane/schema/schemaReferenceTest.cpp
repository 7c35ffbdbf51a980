// Managed objects in fields: what is stored, and when a proxy without an owner is destroyed.
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaSession.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "tests/ozy/lib/orvane/schema/schemaKinds.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"

namespace {

using schemaKinds::Get;
using schemaKinds::Set;

/* The fields that a managed object can be stored in, one of each way of keeping it. */
struct FieldRow {
    const char *holder, *property;
    enum { REFERENCE, LIST, ANY } shape;
};

constexpr FieldRow kFields[] = {
    {"ObjectSpec", "obj", FieldRow::REFERENCE},  {"TestFault", "proxy", FieldRow::REFERENCE},
    {"TestProxy", "proxy", FieldRow::REFERENCE}, {"TestProxy", "proxies", FieldRow::LIST},
    {"DynamicArray", "val", FieldRow::LIST},     {"TestProxy", "value", FieldRow::ANY},
    {"DynamicProperty", "val", FieldRow::ANY},
};

std::string Named(const FieldRow &row) {
    return std::string(row.holder) + "." + row.property;
}

/* The session pointer of any kind of object. */
OrvaneSession *&SessionOf(GObject *object) {
    if (SKEMA_IS_QORM_METHOD_FAULT(object))
        return SKEMA_QORM_METHOD_FAULT(object)->session;
    if (SKEMA_IS_QORM_MANAGED_OBJECT(object))
        return SKEMA_QORM_MANAGED_OBJECT(object)->session;
    return SKEMA_QORM_DATA_OBJECT(object)->session;
}

Value ProxyValue(SkemaQormManagedObject *proxy) {
    Value value(proxy != nullptr ? G_OBJECT_TYPE(proxy) : SKEMA_TYPE_QORM_MANAGED_OBJECT);
    g_value_set_object(value.get(), proxy);
    return value;
}

/* The proxy as the field takes it: itself, in a list of one, or boxed. */
Value In(const FieldRow &row, const Value &proxy) {
    if (row.shape == FieldRow::ANY)
        return AnyValue(proxy);
    if (row.shape == FieldRow::LIST)
        return ArrayValue({&proxy});
    Value value(SKEMA_TYPE_QORM_MANAGED_OBJECT);
    g_value_set_object(value.get(), proxy.Object());
    return value;
}

std::string ShownIn(const FieldRow &row, const std::string &proxy) {
    if (row.shape == FieldRow::ANY)
        return "any(" + proxy + ")";
    return row.shape == FieldRow::LIST ? "[" + proxy + "]" : proxy;
}

struct SchemaReference : SessionTest {
    void SetUp() override { ASSERT_EQ("success", Connect()); }

    /* A proxy that only the registry knows of: floating, unless somebody sinks it. */
    SkemaQormManagedObject *Proxy(const char *id, const char *wireName = "TestProxyBelow") {
        return orvane_momgr_lookup_or_create(Manager(), id, orvane_lookup_type(wireName));
    }
    bool IsKnown(const char *id) { return orvane_momgr_lookup(Manager(), id) != nullptr; }
    OrvaneMOMgr *Manager() { return orvane_session_get_momgr(session); }

    ObjectPtr<GObject> HolderOf(const FieldRow &row, const char *id) {
        ObjectPtr<GObject> holder = New(row.holder);
        Set(holder.get(), row.property, In(row, ProxyValue(Proxy(id))));
        return holder;
    }
};

TEST_F(SchemaReference, KeepsIdClassAndSessionAndNotTheProxy) {
    for (const FieldRow &row : kFields) {
        const auto owner = Own(G_OBJECT(Proxy("p")));
        const ObjectPtr<GObject> holder = HolderOf(row, "p");
        EXPECT_EQ(1u, owner->ref_count) << Named(row);
        EXPECT_EQ(session, SessionOf(holder.get())) << Named(row);
        EXPECT_EQ(ShownIn(row, "a TestProxyBelow p"), Get(holder.get(), row.property))
            << Named(row);
    }
}

TEST_F(SchemaReference, TheEndOfTheHolderEndsAProxyThatNobodyOwns) {
    for (const FieldRow &row : kFields) {
        ObjectPtr<GObject> holder = HolderOf(row, "p");
        EXPECT_TRUE(IsKnown("p")) << Named(row);
        holder.reset();
        EXPECT_FALSE(IsKnown("p")) << Named(row);

        holder = HolderOf(row, "owned");
        const auto owner = Own(G_OBJECT(Proxy("owned")));
        holder.reset();
        EXPECT_TRUE(IsKnown("owned")) << Named(row);
        EXPECT_EQ(1u, owner->ref_count) << Named(row);
    }
}

TEST_F(SchemaReference, AnotherStoreEndsThePreviousProxyButNeverTheOneThatIsStored) {
    for (const FieldRow &row : kFields) {
        const ObjectPtr<GObject> holder = HolderOf(row, "p");
        SkemaQormManagedObject *proxy = Proxy("p");
        Set(holder.get(), row.property, In(row, ProxyValue(proxy)));
        ASSERT_TRUE(IsKnown("p")) << Named(row);
        EXPECT_EQ(proxy, Proxy("p")) << Named(row);
        EXPECT_TRUE(g_object_is_floating(proxy)) << Named(row);
        EXPECT_EQ(1u, G_OBJECT(proxy)->ref_count) << Named(row);

        Set(holder.get(), row.property, In(row, ProxyValue(Proxy("q"))));
        EXPECT_FALSE(IsKnown("p")) << Named(row);
        EXPECT_TRUE(IsKnown("q")) << Named(row);
    }
}

TEST_F(SchemaReference, ANullProxyEmptiesTheField) {
    const std::pair<FieldRow, const char *> rows[] = {
        {kFields[0], "NULL"}, {kFields[3], "[]"}, {kFields[4], "[]"}, {kFields[5], "any(NULL)"}};
    for (const auto &[row, shown] : rows) {
        const ObjectPtr<GObject> holder = HolderOf(row, "p");
        Set(holder.get(), row.property, In(row, ProxyValue(nullptr)));
        EXPECT_FALSE(IsKnown("p")) << Named(row);
        EXPECT_EQ(shown, Get(holder.get(), row.property)) << Named(row);
        EXPECT_EQ(session, SessionOf(holder.get())) << Named(row);
    }
}

TEST_F(SchemaReference, AListSkipsNullElementsAndTakesTheSessionOfItsFirstOnly) {
    const Value none = ProxyValue(nullptr);
    const Value first = ProxyValue(Proxy("a"));
    const Value second = ProxyValue(Proxy("b", "Task"));

    const ObjectPtr<GObject> holder = New(kFields[3].holder);
    Set(holder.get(), "proxies", ArrayValue({&none, &first}));
    EXPECT_EQ(nullptr, SessionOf(holder.get()));
    const Warnings warnings;
    EXPECT_EQ("NULL", Get(holder.get(), "proxies"));
    EXPECT_EQ(std::vector<std::string>{"Failed to get the OrvaneMOMgr to get an array\n"},
              warnings.texts);

    Set(holder.get(), "proxies", ArrayValue({&first, &none, &second, &first}));
    EXPECT_EQ("[a TestProxyBelow a a Task b a TestProxyBelow a]", Get(holder.get(), "proxies"));
    Set(holder.get(), "proxies", Value(G_TYPE_VALUE_ARRAY));
    EXPECT_EQ("NULL", Get(holder.get(), "proxies"));
}

TEST_F(SchemaReference, AListOfAnyIsOfManagedObjectsIfItsFirstElementIsOne) {
    const ObjectPtr<GObject> holder = New("DynamicArray");
    const Value number = IntValue(7);
    const Value proxy = ProxyValue(Proxy("a"));
    const Value boxed = AnyValue(proxy);
    Set(holder.get(), "val", ArrayValue({}));
    EXPECT_EQ("[]", Get(holder.get(), "val"));
    Set(holder.get(), "val", ArrayValue({&boxed, &number}));
    EXPECT_EQ("[a TestProxyBelow a]", Get(holder.get(), "val"));
    Set(holder.get(), "val", ArrayValue({&number, &boxed}));
    EXPECT_EQ("[7 any(a TestProxyBelow a)]", Get(holder.get(), "val"));
}

TEST_F(SchemaReference, WithoutAManagerAReadWarnsAndLeavesTheValueAlone) {
    const struct {
        FieldRow row;
        const char *shown, *warning;
    } rows[] = {
        {kFields[0], "NULL", "property p of type SkemaQormTestProxyBelow.\n"},
        {kFields[3], "NULL", "an array\n"},
        {kFields[5], "any(NULL)", "property p of type SkemaQormTestProxyBelow.\n"},
    };
    std::vector<ObjectPtr<GObject>> holders;
    for (const auto &row : rows)
        holders.push_back(HolderOf(row.row, "p"));
    EXPECT_EQ("success", Disconnect());
    for (const bool isSessionGone : {false, true}) {
        if (isSessionGone)
            g_clear_object(&session);
        for (gsize i = 0; i < holders.size(); i++) {
            const Warnings warnings;
            EXPECT_EQ(rows[i].shown, Get(holders[i].get(), rows[i].row.property));
            EXPECT_EQ(
                std::vector<std::string>{std::string("Failed to get the OrvaneMOMgr to get ") +
                                         rows[i].warning},
                warnings.texts);
        }
    }
    holders.clear(); /* with a session that has gone, releases no more than ids */
}

TEST_F(SchemaReference, AnAnyTakesTheClassThatTheRegistryKnowsTheIdBy) {
    const ObjectPtr<GObject> holder = HolderOf(kFields[5], "p");
    Own(Proxy("p"));
    const auto owner = Own(G_OBJECT(Proxy("p", "TestProxy")));
    EXPECT_EQ("any(a TestProxy p)", Get(holder.get(), "value"));
}

/* An application may release more while a proxy is finalised. */
TEST_F(SchemaReference, TheEndOfAProxyMayStoreIntoTheSameField) {
    for (const FieldRow &row : kFields) {
        const ObjectPtr<GObject> holder = HolderOf(row, "p");
        std::function<void()> again = [&, other = Proxy("other")] {
            Set(holder.get(), row.property, In(row, ProxyValue(other)));
        };
        const auto onEnd = [](gpointer data, GObject *) {
            (*static_cast<std::function<void()> *>(data))();
        };
        g_object_weak_ref(G_OBJECT(Proxy("p")), onEnd, &again);
        Set(holder.get(), row.property, In(row, ProxyValue(Proxy("q"))));
        EXPECT_EQ(ShownIn(row, "a TestProxyBelow other"), Get(holder.get(), row.property))
            << Named(row);
    }
}

/* Whatever an earlier read has found. */
TEST_F(SchemaReference, EachReadFindsTheProxyThatIsRegisteredByThen) {
    const ObjectPtr<OrvaneSession> other(orvane_session_new());
    other->priv->moMgr = orvane_momgr_new(other.get());
    for (const FieldRow &row : std::span(kFields).first(3)) {
        const ObjectPtr<GObject> holder = HolderOf(row, "p");
        const auto read = [&] {
            Value value(SKEMA_TYPE_QORM_MANAGED_OBJECT);
            g_object_get_property(holder.get(), row.property, value.get());
            return value;
        };
        const Value first = read();
        EXPECT_EQ(G_OBJECT(Proxy("p")), first.Object()) << Named(row);
        EXPECT_EQ(first.Object(), read().Object()) << Named(row);

        orvane_momgr_discard_by_id(Manager(), "p");
        const Value second = read();
        EXPECT_NE(first.Object(), second.Object()) << Named(row);
        EXPECT_EQ(G_OBJECT(Proxy("p")), second.Object()) << Named(row);

        const ObjectPtr<GObject> third = New("TestProxyBelow");
        SKEMA_QORM_MANAGED_OBJECT(third.get())->id = g_strdup("p");
        orvane_momgr_insert(Manager(), SKEMA_QORM_MANAGED_OBJECT(third.get()));
        EXPECT_EQ(third.get(), read().Object()) << Named(row);

        SessionOf(holder.get()) = other.get();
        const Value fourth = read();
        EXPECT_EQ(G_OBJECT(orvane_momgr_lookup(other->priv->moMgr, "p")), fourth.Object())
            << Named(row);
        EXPECT_NE(third.get(), fourth.Object()) << Named(row);
        SessionOf(holder.get()) = session;
        EXPECT_EQ(third.get(), read().Object()) << Named(row);
    }
}

/* A new session may have the address of one that was finalised. */
TEST_F(SchemaReference, AReusedAddressIsNotTheOldSession) {
    for (const FieldRow &row : kFields) {
        const auto owner = Own(G_OBJECT(Proxy("p")));
        ObjectPtr<GObject> holder = HolderOf(row, "p");
        const SchemaSession of = SchemaSession_Of(holder.get());
        EXPECT_EQ(OrvaneSession_GetNumber(session), of.number) << Named(row);
        SchemaSession_Set(holder.get(), SchemaSession{session, of.number - 1});
        EXPECT_EQ(session, SessionOf(holder.get()));
        EXPECT_EQ(nullptr, SchemaSession_GetLive(holder.get())) << Named(row);
        const Warnings ofNoManager;
        EXPECT_EQ(std::string::npos, Get(holder.get(), row.property).find(" p")) << Named(row);
    }
    const ObjectPtr<OrvaneSession> other(orvane_session_new());
    EXPECT_NE(OrvaneSession_GetNumber(session), OrvaneSession_GetNumber(other.get()));
}

} // namespace
