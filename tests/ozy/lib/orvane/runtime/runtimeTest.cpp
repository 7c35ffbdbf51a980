#include "ozy/lib/orvane/runtime/orvaneRuntime.h"

#include <orvane/schema/qorm.h>

#include "tests/ozy/lib/orvane/soap/soapFixture.h"
#include "tests/support/logText.h"
#include "tests/support/testLoop.h"

namespace {

TEST(LookupType, FindsAWireNameBehindTheFirstColonOnly) {
    const GType task = orvane_lookup_type("Task");
    EXPECT_STREQ("SkemaOzyTask", g_type_name(task));
    EXPECT_EQ(task, orvane_lookup_type("ozy25:Task"));
    EXPECT_EQ(task, orvane_lookup_type(":Task"));
    for (const char *name : {"", "a:b:Task", "task", "Task ", "SkemaOzyTask", "Task:"})
        EXPECT_EQ(0u, orvane_lookup_type(name)) << name;
}

TEST(EnumByNick, FindsAWordAndIsSilentAboutAnUnknownOne) {
    const GType type = orvane_lookup_type("ObjectUpdateKind");
    EXPECT_EQ(1, orvane_enum_get_by_nick(type, "enter")->value);
    LogRing_Clear();
    EXPECT_EQ(nullptr, orvane_enum_get_by_nick(type, "Enter"));
    EXPECT_EQ("", LogText());
}

TEST(EnumByNick, WarnsOfATypeThatIsNoEnumeration) {
    LogRing_Clear();
    EXPECT_EQ(nullptr, orvane_enum_get_by_nick(G_TYPE_INT, "x"));
    EXPECT_EQ("W orvane_enum_get_by_nick: Attempted lookup 'x' on non-enum type\n", LogText());
}

/* Any object does for a listener: a binding is a matter of weak references alone. */
struct Binding : testing::Test {
    GObject *Bound() {
        return static_cast<GObject *>(g_object_get_qdata(object.get(), orvane_quark_listener()));
    }
    void Bind(const ObjectPtr<GObject> &listener) {
        orvane_bind_listener(object.get(), reinterpret_cast<OrvaneListener *>(listener.get()));
    }
    ObjectPtr<GObject> object{New("DataObject")};
    ObjectPtr<GObject> first{New("DataObject")};
    ObjectPtr<GObject> second{New("DataObject")};
};

TEST_F(Binding, EndsWithTheListenerOrWhenItIsUndone) {
    orvane_unbind_listener(object.get());
    Bind(first);
    EXPECT_EQ(first.get(), Bound());
    first.reset();
    EXPECT_EQ(nullptr, Bound());

    Bind(second);
    orvane_unbind_listener(object.get());
    EXPECT_EQ(nullptr, Bound());
    object.reset();
    second.reset(); /* must not reach for the object */
}

TEST_F(Binding, ALaterOneIsClearedByTheEndOfTheEarlierListener) {
    Bind(first);
    Bind(second);
    EXPECT_EQ(second.get(), Bound());
    first.reset();
    EXPECT_EQ(nullptr, Bound());
}

TEST(Init, RefusesALoopWithoutBothFunctions) {
    const Warnings warnings;
    EXPECT_FALSE(orvane_init(nullptr, testLoop::CallbackRemove));
    EXPECT_FALSE(orvane_init(testLoop::Callback, nullptr));
    EXPECT_EQ(2u, warnings.texts.size());
}

TEST(Init, KeepsTheLoopAndCanBeDoneAgainAfterAShutdown) {
    orvane_shutdown(); /* before the first start, too */
    for (int i = 0; i < 2; i++) {
        EXPECT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove));
        EXPECT_EQ(&testLoop::Callback, orvane_poll_callback);
        EXPECT_EQ(&testLoop::CallbackRemove, orvane_poll_callback_remove);
        const GType before = orvane_lookup_type("Task");
        orvane_shutdown();
        EXPECT_EQ(before, orvane_lookup_type("Task"));
        EXPECT_TRUE(testLoop::Registrations().empty());
    }
}

} // namespace
