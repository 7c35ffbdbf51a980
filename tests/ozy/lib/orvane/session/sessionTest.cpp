// The session as an object: states, properties, roles, versions.
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"
#include "tests/ozy/lib/orvane/updates/updateTexts.h"

namespace {

struct Session : SessionTest {
    ObjectPtr<GObject> Property(const char *name) const { return GetObject(session, name); }
    /* Whether the user has a privilege on a folder on which it has these roles. */
    bool Has(const char *privilege, const std::vector<int> &roleIds) {
        const auto folder = Owned("group-d1", SKEMA_TYPE_OZY_FOLDER);
        const ValueArrayPtr roles(g_value_array_new(0));
        for (int roleId : roleIds)
            g_value_array_append(roles.get(), IntValue(roleId).get());
        g_object_set(folder.get(), "effectiveRole", roles.get(), nullptr);
        return orvane_session_query_privilege(session, folder.get(), privilege);
    }
};

TEST_F(Session, KnowsWhatItsVersionIncludes) {
    ASSERT_EQ("success", Connect());
    const std::pair<const char *, bool> rows[] = {
        {"", true},           {"ozy25/6.0", true},   {"ozy25/4.1", true}, {"ozy2/2.0", true},
        {"ferry/1.0", false}, {"ozy25/dev2", false}, {"ozy25", false},
    };
    for (const auto &[version, has] : rows)
        EXPECT_EQ(has, orvane_session_has_version(session, version)) << version;
    EXPECT_EQ(12u, orvane_session_get_all_versions(session)->len);
}

TEST_F(Session, LoadsTheRolesOfItsUser) {
    int numChanges = 0;
    On(session, "roles-changed", [&] { numChanges++; });
    ASSERT_EQ("success", Connect());
    EXPECT_EQ(1, numChanges);
    EXPECT_TRUE(Has("Folder.Create", {5, -1}));
    EXPECT_TRUE(Has("Folder.Rename", {5, -1}));
    EXPECT_FALSE(Has("Folder.Move", {5, -1}));
    EXPECT_FALSE(Has("Folder.Create", {5}));
    EXPECT_FALSE(Has("Folder.Create", {}));

    service->Update(Object("modify", "AuthorizationManager", "AuthorizationManager",
                           Change("assign", "roleList")));
    testLoop::Settle();
    EXPECT_EQ(2, numChanges) << "also for none at all";
    EXPECT_FALSE(Has("Folder.Create", {-1}));
}

TEST_F(Session, ShowsWhatItIsConnectedTo) {
    ASSERT_EQ("success", Connect());
    EXPECT_STREQ("SkemaOzyServiceInstance", G_OBJECT_TYPE_NAME(Property("serviceInstance").get()));
    EXPECT_STREQ("SkemaOzyServiceInstanceContent",
                 G_OBJECT_TYPE_NAME(Property("serviceInstanceContent").get()));
    EXPECT_STREQ("AuthorizationManager", orvane_session_get_authorization_manager(session)->id);
    ASSERT_EQ("success", Disconnect());
    EXPECT_THAT(states, ElementsAre(2, 4, 8, 1));
    EXPECT_EQ(nullptr, Property("serviceInstance"));
    EXPECT_EQ(nullptr, Property("serviceInstanceContent"));
    EXPECT_EQ(nullptr, orvane_session_get_authorization_manager(session));
    EXPECT_EQ(nullptr, orvane_session_get_version(session));
    EXPECT_EQ(nullptr, orvane_session_get_all_versions(session));
    EXPECT_FALSE(orvane_session_has_version(session, ""));
    EXPECT_EQ("failure", Disconnect());
}

TEST_F(Session, IsInterruptedWhenTheServiceIsGone) {
    ASSERT_EQ("success", Connect());
    orvane_session_set_interrupted(session);
    EXPECT_EQ(16, State());
    EXPECT_EQ(16, GetNumber<gint>(session, "state"));
    EXPECT_EQ("success", Disconnect()) << "a logout is sent all the same";
    EXPECT_EQ(1u, service->Count("Logout"));
}

TEST_F(Session, IsDisconnectedByAFailedLogoutToo) {
    const std::pair<CannedAnswer, const char *> rows[] = {
        {Fault("NotAuthenticated"), "failure NotAuthenticated"},
        {HttpReply("<html/>", 503), "failure Unexpected"},
        {{.bytes = "", .reset = true}, "failure InvalidResponse 48 0"},
    };
    for (const auto &[answer, text] : rows) {
        ASSERT_EQ("success", Connect());
        service->answers["Logout"] = answer;
        EXPECT_EQ(text, Disconnect());
        EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    }
}

TEST_F(Session, IsDisconnectedAtOnceIfTheLogoutCannotBeSent) {
    ASSERT_EQ("success", Connect());
    orvane_shutdown();
    EXPECT_EQ("failure Unexpected", Disconnect());
    EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
    orvane_init(testLoop::Callback, testLoop::CallbackRemove);
    EXPECT_EQ("success", Connect());
}

/* A wrong type is refused with a warning and a neutral result. */
TEST_F(Session, RefusesWhatIsOfAnotherType) {
    const auto object = NewObject(G_TYPE_OBJECT);
    auto *other = reinterpret_cast<OrvaneSession *>(object.get());
    auto *proxy = reinterpret_cast<SkemaQormManagedObject *>(object.get());
    auto *listener = reinterpret_cast<OrvaneListener *>(object.get());
    const auto folder = NewObject<SkemaQormManagedObject>(SKEMA_TYPE_OZY_FOLDER);
    const ValueArrayPtr owner(orvane_filter_spec_set_new(TRUE, nullptr));
    GValueArray *set = owner.get();
    GObject *data = G_OBJECT(folder.get());
    const std::function<bool()> calls[] = {
        [&] { return orvane_session_get_state(other) == ORVANE_SESSION_DISCONNECTED; },
        [&] { return orvane_session_get_version(other) == nullptr; },
        [&] { return orvane_session_get_namespace(other) == nullptr; },
        [&] { return orvane_session_get_all_versions(other) == nullptr; },
        [&] { return !orvane_session_has_version(other, ""); },
        [&] { return !orvane_session_has_version(session, nullptr); },
        [&] { return orvane_session_get_authorization_manager(other) == nullptr; },
        [&] { return orvane_session_get_object(other, "x", SKEMA_TYPE_OZY_FOLDER) == nullptr; },
        [&] { return orvane_session_get_object(session, nullptr, 0) == nullptr; },
        [&] { return orvane_session_get_object(session, "x", 0) == nullptr; },
        [&] { return !orvane_session_query_privilege(other, folder.get(), "x"); },
        [&] { return !orvane_session_query_privilege(session, proxy, "x"); },
        [&] { return !orvane_session_query_privilege(session, folder.get(), nullptr); },
        [&] { return !orvane_session_target_is_ferry(other); },
        [&] { return orvane_session_load_object(other, FALSE, folder.get(), nullptr), true; },
        [&] { return orvane_session_load_object(session, FALSE, proxy, nullptr), true; },
        [&] { return orvane_session_load_object(session, FALSE, folder.get(), listener), true; },
        [&] { return orvane_session_unload_object(other, folder.get(), FALSE), true; },
        [&] { return orvane_session_unload_object(session, proxy, FALSE), true; },
        [&] { return orvane_session_unload_object(session, folder.get(), FALSE), true; },
        [&] { return orvane_session_retrieve_contents(other, set, nullptr), true; },
        [&] { return orvane_session_retrieve_contents(session, nullptr, nullptr), true; },
        [&] { return orvane_session_retrieve_contents(session, set, listener), true; },
        [&] { return orvane_session_load_properties(session, proxy, nullptr, TRUE, NULL), true; },
        [&] { return orvane_session_set_useragent(other, "x"), true; },
        [&] { return orvane_session_set_use_fresh_connection(other, TRUE), true; },
        [&] { return orvane_session_set_bandwidth_limit(other, 1, 1), true; },
        [&] { return orvane_session_set_ssl_certificate_location(other, "x", "x"), true; },
        [&] { return orvane_session_set_verify_certificate_func(other, nullptr, nullptr), true; },
        [&] { return orvane_session_set_strict_tls(other, TRUE), true; },
        [&] { return orvane_session_target_ferry(other), true; },
        [&] { return orvane_session_connect(other, "x", "u", "p", nullptr), true; },
        [&] { return orvane_session_connect(nullptr, "x", "u", "p", nullptr), true; },
        [&] { return orvane_session_connect(session, "x", "u", nullptr, nullptr), true; },
        [&] { return orvane_session_connect(session, "x", "u", "p", listener), true; },
        [&] { return orvane_session_hijack(session, "x", nullptr, nullptr), true; },
        [&] { return orvane_session_invoke_method(nullptr, data, "X", nullptr, nullptr), true; },
        [&] { return orvane_session_invoke_method(session, nullptr, "X", nullptr, NULL), true; },
        [&] {
            return orvane_session_invoke_method(session, G_OBJECT(session), "X", NULL, NULL), true;
        },
        [&] { return orvane_session_invoke_method(session, data, nullptr, nullptr, NULL), true; },
        [&] { return orvane_session_disconnect(other, nullptr), true; },
        [&] { return orvane_session_disconnect(session, listener), true; },
        [&] { return orvane_session_cancel_listener(other, nullptr), true; },
        [&] { return orvane_session_cancel_listener(session, listener), true; },
        [&] { return orvane_listener_get_state(listener) == ORVANE_LISTENER_UNUSED; },
        [&] { return orvane_listener_get_operation_count(listener) == 0; },
        [&] { return !orvane_listener_is_task(listener); },
        [&] { return orvane_listener_get_progress(listener) == G_MININT32; },
        [&] { return !orvane_listener_is_cancellable(listener); },
        [&] { return !orvane_listener_cancel(listener); },
        [&] { return orvane_listener_get_fault(listener) == nullptr; },
        [&] { return !orvane_listener_get_result(listener, nullptr); },
    };
    for (const auto &call : calls) {
        SCOPED_TRACE(&call - calls);
        g_test_expect_message(nullptr, G_LOG_LEVEL_CRITICAL, "*failed");
        EXPECT_TRUE(call());
        g_test_assert_expected_messages();
    }
    EXPECT_EQ(1u, object->ref_count);
    EXPECT_THAT(states, IsEmpty());
}

} // namespace
